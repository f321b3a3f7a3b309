#include "platform/FolderItem.h"

#include "platform/FileSystemDetail.h"
#include "platform/Text.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryFile>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace FileSystemDetail {

long long StampNs(const struct stat& st) {
#ifdef Q_OS_MACOS
    return (long long)st.st_mtimespec.tv_sec * 1000000000LL + st.st_mtimespec.tv_nsec;
#else
    return (long long)st.st_mtim.tv_sec * 1000000000LL + st.st_mtim.tv_nsec;
#endif
}

long long NowNs() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return (long long)now.tv_sec * 1000000000LL + now.tv_nsec;
}

} // namespace FileSystemDetail

using namespace FileSystemDetail;

namespace {

// Modification time in nanoseconds since the epoch, and whether the path is a folder; one stat.
bool StatFolder(const QString& path, long long* stampNs) {
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return false;
    *stampNs = StampNs(st);
    return true;
}

} // namespace

struct FolderItem::Listing {
    long long stamp = -1;
    QStringList names;
};

FolderItem::FolderItem(const QString& path) : mPath(path.isNull() ? QStringLiteral("") : path) {}

FolderItem FolderItem::Child(const QString& name) const {
    if (IsNil())
        return FolderItem();
    if (name.isEmpty())
        return *this;
    return FolderItem(QDir::cleanPath(mPath + QLatin1Char('/') + name));
}

namespace {

// True for an absolute path that cleaning would leave as it is.
bool CleanAbsolute(const QString& path) {
    if (path.size() < 2 || path.at(0) != QLatin1Char('/') || path.endsWith(QLatin1Char('/')))
        return false;
    for (qsizetype i = 0; i < path.size(); ++i) {
        if (path.at(i) != QLatin1Char('/'))
            continue;
        const QStringView rest = QStringView(path).mid(i + 1);
        if (rest.startsWith(QLatin1Char('/')) || rest == QLatin1String(".") || rest == QLatin1String("..") ||
            rest.startsWith(QLatin1String("./")) || rest.startsWith(QLatin1String("../")))
            return false;
    }
    return true;
}

} // namespace

FolderItem FolderItem::Parent() const {
    if (IsNil())
        return FolderItem();
    // The common case, asked once for every manifest, without building file infos.
    if (CleanAbsolute(mPath)) {
        const qsizetype slash = mPath.lastIndexOf(QLatin1Char('/'));
        return FolderItem(slash == 0 ? QStringLiteral("/") : mPath.left(slash));
    }
    const QString clean = QDir::cleanPath(QFileInfo(mPath).absoluteFilePath());
    if (clean == QLatin1String("/"))
        return FolderItem();
    return FolderItem(QFileInfo(clean).absolutePath());
}

// Plain stat calls: a catalogue walk asks these for every entry.
bool FolderItem::Exists() const {
    struct stat st {};
    return !IsNil() && ::stat(QFile::encodeName(mPath).constData(), &st) == 0;
}

bool FolderItem::Directory() const {
    struct stat st {};
    return !IsNil() && ::stat(QFile::encodeName(mPath).constData(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool FolderItem::Visible() const {
    if (IsNil())
        return false;
    const QString name = Name();
    if (name.startsWith(QLatin1Char('.')))
        return false;
#ifdef Q_OS_MACOS
    return !QFileInfo(mPath).isHidden();
#else
    return true;
#endif
}

QString FolderItem::Name() const {
    if (IsNil())
        return QString();
    const qsizetype slash = mPath.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? mPath : mPath.mid(slash + 1);
}

QString FolderItem::NativePath() const {
    return IsNil() ? QString() : QDir::toNativeSeparators(QFileInfo(mPath).absoluteFilePath());
}

QString FolderItem::ShellPath() const {
    return IsNil() ? QString() : ShellWord(QFileInfo(mPath).absoluteFilePath());
}

QString FolderItem::CanonicalPath() const {
    return IsNil() ? QString() : QFileInfo(mPath).canonicalFilePath();
}

QDateTime FolderItem::ModificationDate() const {
    return IsNil() ? QDateTime() : QFileInfo(mPath).lastModified().toLocalTime();
}

const QStringList& FolderItem::Entries() const {
    static const QStringList none;
    if (!mListing)
        mListing = std::make_shared<Listing>();
    long long stamp = 0;
    if (IsNil() || !StatFolder(mPath, &stamp)) {
        mListing->stamp = -1;
        mListing->names.clear();
        return none;
    }
    // A folder's time stamp moves whenever an entry comes or goes, so a listing is kept while
    // it stands still: Count can be asked on every pass of a walk at the cost of one stat.
    // The stamp is coarse, so a folder changed a moment ago is always listed anew.
    const bool settled = NowNs() - stamp > kSettledNs;
    if (!settled || stamp != mListing->stamp) {
        mListing->stamp = stamp;
        mListing->names =
            QDir(mPath).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    }
    return mListing->names;
}

int FolderItem::Count() const {
    return int(Entries().size());
}

FolderItem FolderItem::Item(int i) const {
    const QStringList& names = Entries();
    if (i < 1 || i > names.size())
        return FolderItem();
    return FolderItem(mPath + QLatin1Char('/') + names.at(i - 1));
}

namespace FileSystemDetail {

QByteArray ReadCapped(int fd, bool* ok) {
    QByteArray bytes;
    struct stat st {};
    bool good = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size <= kMaxManifestBytes;
    if (good) {
        // One read for a file whose size is known: asked for one byte more, it comes back short
        // at the end. A file that reports no size (as /proc's do) is read until it ends.
        const qint64 size = qint64(st.st_size);
        bytes.resize(qsizetype(size > 0 ? size + 1 : 65536));
        qint64 have = 0;
        for (;;) {
            if (have == bytes.size())
                bytes.resize(qsizetype(std::min<qint64>(have * 2, kMaxManifestBytes + 1)));
            const ssize_t n = ::read(fd, bytes.data() + have, size_t(bytes.size() - have));
            if (n > 0) {
                have += n;
                if (have > kMaxManifestBytes) {
                    good = false;
                    break;
                }
                if (size > 0 && have == size && have < bytes.size())
                    break;
            } else if (n == 0) {
                break;
            } else if (errno != EINTR) {
                good = false;
                break;
            }
        }
        bytes.resize(qsizetype(have));
    }
    ::close(fd);
    *ok = good;
    return good ? bytes : QByteArray();
}

QByteArray ReadCappedRegular(int fd, bool* ok) {
    // A regular file's read comes back short only at its end, so the first short read ends it:
    // one read for any manifest under the first block.
    QByteArray bytes(65536, Qt::Uninitialized);
    qint64 have = 0;
    bool good = true;
    for (;;) {
        const ssize_t n = ::read(fd, bytes.data() + have, size_t(bytes.size() - have));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            good = false;
            break;
        }
        have += n;
        if (have > kMaxManifestBytes) {
            good = false;
            break;
        }
        if (n == 0 || have < bytes.size())
            break;
        bytes.resize(qsizetype(std::min<qint64>(have * 2, kMaxManifestBytes + 1)));
    }
    ::close(fd);
    *ok = good;
    if (!good)
        return QByteArray();
    bytes.resize(qsizetype(have));
    return bytes;
}

} // namespace FileSystemDetail

QByteArray ReadManifestBytes(const FolderItem& item, bool* ok) {
    *ok = false;
    if (item.IsNil())
        return QByteArray();
    // Only regular files: a FIFO would block, a device read for ever. Opened without blocking and
    // tested on the open descriptor, so nothing can swap the file in between.
    const int fd = ::open(QFile::encodeName(item.mPath).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    return fd < 0 ? QByteArray() : ReadCapped(fd, ok);
}

bool FolderItem::CreateAsFolder() const {
    return !IsNil() && QDir().mkpath(mPath);
}

bool FolderItem::CopyFileTo(const FolderItem& folder, const QString& name) const {
    if (IsNil() || folder.IsNil() || !folder.Directory())
        return false;
    const QString target = folder.mPath + QLatin1Char('/') + (name.isEmpty() ? Name() : name);
    // Copying a file onto itself has nothing to do; replacing "the old copy" would lose it.
    const QString source = QFileInfo(mPath).canonicalFilePath();
    if (!source.isEmpty() && source == QFileInfo(target).canonicalFilePath())
        return true;

    // Only a regular file: a FIFO would block, a device read for ever.
    const int in = ::open(QFile::encodeName(mPath).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (in < 0)
        return false;
    struct stat st {};
    if (::fstat(in, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(in);
        return false;
    }
    // The new copy is written beside the old one and renamed over it, so a copy that can't be
    // completed (a full disk, a name that is a folder) leaves the old one as it was.
    QTemporaryFile out(folder.mPath + QStringLiteral("/.corvane-copy-XXXXXX"));
    bool good = out.open();
    char buffer[65536];
    while (good) {
        const ssize_t n = ::read(in, buffer, sizeof buffer);
        if (n == 0)
            break;
        if (n < 0) {
            good = errno == EINTR;
            continue;
        }
        good = out.write(buffer, qint64(n)) == qint64(n);
    }
    ::close(in);
    good = good && out.flush();
    if (!good)
        return false;
    out.setPermissions(QFileDevice::Permissions(QFile::permissions(mPath)) | QFileDevice::WriteOwner);
    if (::rename(QFile::encodeName(out.fileName()).constData(), QFile::encodeName(target).constData()) != 0)
        return false;
    out.setAutoRemove(false);
    return true;
}

bool FolderItem::Delete() const {
    if (IsNil())
        return false;
    const QFileInfo info(mPath);
    if (info.isDir() && !info.isSymLink())
        return QDir().rmdir(mPath);
    return QFile::remove(mPath);
}

FolderItem GetFolderItem(const QString& path) {
    QString base = QCoreApplication::applicationDirPath();
#ifdef Q_OS_MACOS
    // Inside a bundle the program lies in Name.app/Contents/MacOS: the folder that holds the bundle counts.
    if (base.endsWith(QLatin1String(".app/Contents/MacOS")))
        base = QDir::cleanPath(base + QLatin1String("/../../.."));
#endif
    if (path.isEmpty())
        return FolderItem(base);
    return FolderItem(QDir::isAbsolutePath(path) ? path : QDir::cleanPath(base + QLatin1Char('/') + path));
}

namespace SpecialFolder {
FolderItem Documents() {
    const QString docs = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    return docs.isEmpty() ? FolderItem() : FolderItem(docs);
}
} // namespace SpecialFolder

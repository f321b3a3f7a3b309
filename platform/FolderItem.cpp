#include "platform/FolderItem.h"

#include "platform/Text.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTemporaryFile>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Modification time in nanoseconds since the epoch, and whether the path is a folder; one stat.
bool StatFolder(const QString& path, long long* stampNs) {
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0 || !S_ISDIR(st.st_mode))
        return false;
#ifdef Q_OS_MACOS
    *stampNs = (long long)st.st_mtimespec.tv_sec * 1000000000LL + st.st_mtimespec.tv_nsec;
#else
    *stampNs = (long long)st.st_mtim.tv_sec * 1000000000LL + st.st_mtim.tv_nsec;
#endif
    return true;
}

long long NowNs() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return (long long)now.tv_sec * 1000000000LL + now.tv_nsec;
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

FolderItem FolderItem::Parent() const {
    if (IsNil())
        return FolderItem();
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
    const bool settled = NowNs() - stamp > 200'000'000LL;
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

QByteArray ReadFileBytes(const FolderItem& item, bool* ok, qint64 maxBytes) {
    if (ok)
        *ok = false;
    if (item.IsNil())
        return QByteArray();
    // Only regular files: a FIFO would block, a device read for ever. Opened without blocking
    // and tested on the open descriptor, so nothing can swap the file in between.
    const int fd = ::open(QFile::encodeName(item.NativePath()).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return QByteArray();
    QByteArray bytes;
    struct stat st {};
    bool good = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    // The size is only a hint: files under /proc say 0 and go on far longer.
    if (good && maxBytes >= 0 && st.st_size > maxBytes)
        good = false;
    if (good) {
        bytes.reserve(qsizetype(maxBytes >= 0 ? std::min<qint64>(st.st_size, maxBytes) : st.st_size));
        char buffer[65536];
        for (;;) {
            const ssize_t n = ::read(fd, buffer, sizeof buffer);
            if (n > 0) {
                bytes.append(buffer, qsizetype(n));
                if (maxBytes >= 0 && bytes.size() > maxBytes) {
                    good = false;
                    break;
                }
            } else if (n == 0) {
                break;
            } else if (errno != EINTR) {
                good = false;
                break;
            }
        }
    }
    ::close(fd);
    if (ok)
        *ok = good;
    return good ? bytes : QByteArray();
}

std::unique_ptr<TextInputStream> TextInputStream::Open(const FolderItem& item) {
    bool ok = false;
    QByteArray bytes = ReadFileBytes(item, &ok, kMaxManifestBytes);
    if (!ok)
        return nullptr;
    return std::unique_ptr<TextInputStream>(new TextInputStream(QString::fromUtf8(bytes)));
}

QString TextInputStream::ReadLine() {
    const qsizetype size = mText.size();
    if (mPos >= size)
        return QString();
    const QChar* data = mText.constData();
    qsizetype end = mPos;
    while (end < size && data[end] != QLatin1Char('\n') && data[end] != QLatin1Char('\r'))
        ++end;
    QString line = mText.mid(mPos, end - mPos);
    if (end < size && data[end] == QLatin1Char('\r') && end + 1 < size && data[end + 1] == QLatin1Char('\n'))
        ++end;
    mPos = end < size ? end + 1 : end;
    return line;
}

QString TextInputStream::ReadAll() {
    QString rest = mText.mid(mPos);
    mPos = mText.size();
    return rest;
}

struct TextOutputStream::File {
    QSaveFile file;
};

TextOutputStream::TextOutputStream(std::unique_ptr<File> file) : mFile(std::move(file)) {}

TextOutputStream::~TextOutputStream() = default;

// The text goes to a new file beside the old one, which replaces it only once it is whole:
// a write that fails half way leaves the old file as it was.
std::unique_ptr<TextOutputStream> TextOutputStream::Create(const FolderItem& item) {
    if (item.IsNil() || item.Directory())
        return nullptr;
    auto file = std::make_unique<File>();
    file->file.setFileName(item.NativePath());
    if (!file->file.open(QIODevice::WriteOnly))
        return nullptr;
    return std::unique_ptr<TextOutputStream>(new TextOutputStream(std::move(file)));
}

void TextOutputStream::Write(const QString& text) {
    if (mFile && mFile->file.isOpen())
        mFile->file.write(text.toUtf8());
}

bool TextOutputStream::Close() {
    if (!mFile || !mFile->file.isOpen())
        return false;
    return mFile->file.commit();
}

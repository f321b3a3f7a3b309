#include "platform/FolderListing.h"

#include "platform/FileSystemDetail.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#ifdef Q_OS_LINUX
#include <sys/syscall.h>
#endif
#include <unistd.h>

using namespace FileSystemDetail;

FolderListing::FolderListing(const FolderItem& folder) : mFolder(folder) {
    mOpen = !folder.IsNil() && List();
    // A listed name holds no slash and is no dot name, so the parent does not depend on it: it
    // is worked out once, from a stand-in name.
    if (mOpen)
        mItemsParent = FolderItem(mFolder.mPath + QLatin1String("/-")).Parent();
}

namespace {

// Names and d_type values of a folder's entries, "." and ".." left out; false if unreadable.
bool ReadEntries(int fd, std::vector<std::pair<QByteArray, int>>& out) {
#ifdef Q_OS_LINUX
    // getdents64 straight on the descriptor: readdir's set-up costs three more system calls.
    alignas(8) char buffer[32768];
    for (;;) {
        const long n = ::syscall(SYS_getdents64, fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0)
            return true;
        for (long at = 0; at < n;) {
            const auto* d = reinterpret_cast<const dirent64*>(buffer + at);
            at += d->d_reclen;
            if (d->d_name[0] == '.' && (d->d_name[1] == 0 || (d->d_name[1] == '.' && d->d_name[2] == 0)))
                continue;
            out.emplace_back(QByteArray(d->d_name), int(d->d_type));
        }
    }
#else
    DIR* dir = ::fdopendir(::dup(fd));
    if (!dir)
        return false;
    while (const dirent* d = ::readdir(dir)) {
        if (d->d_name[0] == '.' && (d->d_name[1] == 0 || (d->d_name[1] == '.' && d->d_name[2] == 0)))
            continue;
        out.emplace_back(QByteArray(d->d_name), int(d->d_type));
    }
    ::closedir(dir);
    return true;
#endif
}

} // namespace

FolderListing::~FolderListing() {
    Release();
}

void FolderListing::Release() {
    if (mFd >= 0)
        ::close(mFd);
    mFd = -1;
}

bool FolderListing::List() {
    Release();
    mEntries.clear();
    const int fd = ::open(QFile::encodeName(mFolder.mPath).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat st {};
    std::vector<std::pair<QByteArray, int>> entries;
    const bool good = ::fstat(fd, &st) == 0 && ReadEntries(fd, entries);
    if (!good) {
        ::close(fd);
        return false;
    }
    mFd = fd;
    mDevice = quint64(st.st_dev);
    mInode = quint64(st.st_ino);
    mStamp = StampNs(st);
    mListedAt = NowNs();
    mEntries.reserve(entries.size());
    for (const auto& [name, type] : entries)
        mEntries.push_back({QFile::decodeName(name), name, type, -1});
    // The order of QDir's listing by name, which Item gives too.
    std::sort(mEntries.begin(), mEntries.end(),
              [](const Entry& a, const Entry& b) { return a.name.compare(b.name) < 0; });
    return true;
}

// The folder open again after Release, found by its path as a read by the entry's path would.
bool FolderListing::Reopen() {
    mFd = ::open(QFile::encodeName(mFolder.mPath).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return mFd >= 0;
}

bool FolderListing::Refresh() {
    if (!mOpen)
        return false;
    struct stat st {};
    const bool same = ::stat(QFile::encodeName(mFolder.mPath).constData(), &st) == 0 && quint64(st.st_ino) == mInode &&
                      quint64(st.st_dev) == mDevice;
    if (!same || StampNs(st) != mStamp || mListedAt - mStamp <= kSettledNs)
        mOpen = List();
    return mOpen;
}

QString FolderListing::Name(int i) const {
    return i < 1 || i > Count() ? QString() : mEntries[std::size_t(i - 1)].name;
}

FolderItem FolderListing::Item(int i) const {
    if (i < 1 || i > Count())
        return FolderItem();
    return FolderItem(mFolder.mPath + QLatin1Char('/') + mEntries[std::size_t(i - 1)].name);
}

bool FolderListing::Visible(int i) const {
    if (i < 1 || i > Count() || mEntries[std::size_t(i - 1)].name.startsWith(QLatin1Char('.')))
        return false;
#ifdef Q_OS_MACOS
    return Item(i).Visible();
#else
    return true;
#endif
}

FolderListing::Kind FolderListing::KindOf(int i) {
    if (i < 1 || i > Count())
        return Kind::Missing;
    Entry& e = mEntries[std::size_t(i - 1)];
    // Only a link or an unknown kind needs the path, for its stat.
    if (e.kind < 0)
        e.kind =
            int(e.type == DT_LNK || e.type == DT_UNKNOWN ? KindOf(Item(i).mPath, e.type) : KindOf(QString(), e.type));
    return Kind(e.kind);
}

FolderListing::Kind FolderListing::KindOf(const QString& path, int direntType) {
    switch (direntType) {
    case DT_DIR:
        return Kind::Directory;
    case DT_REG:
        return Kind::File;
    case DT_LNK:
    case DT_UNKNOWN: {
        struct stat st {};
        if (::stat(QFile::encodeName(path).constData(), &st) != 0)
            return Kind::Missing;
        return S_ISDIR(st.st_mode) ? Kind::Directory : S_ISREG(st.st_mode) ? Kind::File : Kind::Other;
    }
    default:
        return Kind::Other;
    }
}

QByteArray FolderListing::ReadEntry(int i, bool* ok) {
    *ok = false;
    if (i < 1 || i > Count())
        return QByteArray();
    // A path spells only names that decode; the listed bytes reach every entry.
    if (mFd < 0 && !Reopen())
        return ReadManifestBytes(Item(i), ok);
    // What the listing (or its one stat) found to be no regular file is not opened at all.
    if (KindOf(i) != Kind::File)
        return QByteArray();
    const int fd = ::openat(mFd, mEntries[std::size_t(i - 1)].native.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    return fd < 0 ? QByteArray() : ReadCappedRegular(fd, ok);
}

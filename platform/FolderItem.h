#pragma once

#include <QDateTime>
#include <QPair>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

// The most a manifest may hold. A larger one, or one that never ends (a file of size 0 that
// keeps giving bytes), is passed over after at most one byte more has been read.
constexpr qint64 kMaxManifestBytes = 64 * 1024 * 1024;

// A file or folder named by path. A default-constructed item is nil; every other item
// names a path, whether or not anything exists there.
class FolderItem {
public:
    FolderItem() = default;
    explicit FolderItem(const QString& path);

    bool IsNil() const { return mPath.isNull(); }
    explicit operator bool() const { return !IsNil(); }
    bool operator==(const FolderItem& other) const { return mPath == other.mPath; }

    FolderItem Child(const QString& name) const;
    FolderItem Parent() const;

    bool Exists() const;
    bool Directory() const;
    bool Visible() const;
    QString Name() const;
    QString NativePath() const;
    QString ShellPath() const;
    QString CanonicalPath() const;
    QDateTime ModificationDate() const;

    // Entries of a folder, 1-based, sorted by name; Count is read anew on each call.
    int Count() const;
    FolderItem Item(int i) const;

    bool CreateAsFolder() const;
    // Into folder under name (its own when empty), replacing a file there only once the copy is whole.
    bool CopyFileTo(const FolderItem& folder, const QString& name = QString()) const;
    bool Delete() const;

private:
    friend class FolderListing;
    friend QByteArray ReadManifestBytes(const FolderItem& item, bool* ok);
    struct Listing;
    const QStringList& Entries() const;

    QString mPath;
    mutable std::shared_ptr<Listing> mListing;
};

// One folder listed once for a walk: its entries in Item's order, each entry's kind taken from
// the listing itself where the file system gives it there, else from one stat of the entry.
class FolderListing {
public:
    enum class Kind { Missing, File, Directory, Other };

    explicit FolderListing(const FolderItem& folder);

    bool IsOpen() const { return mOpen; }
    // The folder on disk, whatever path leads to it: device and inode.
    QPair<quint64, quint64> Id() const { return {mDevice, mInode}; }
    // Entries are 1-based, as for FolderItem::Item.
    int Count() const { return int(mEntries.size()); }
    QString Name(int i) const;
    FolderItem Item(int i) const;
    Kind KindOf(int i);
    // Lists the folder again if it may have changed since it was listed; false if it is gone.
    bool Refresh();
    // The bytes of manifest entry i, read as ReadManifestBytes reads them; while the listing
    // holds its folder open, the entry is opened relative to it.
    QByteArray ReadEntry(int i, bool* ok);
    // Lets go of the open folder, as before a walk goes down into a sub-folder.
    void Release();
    ~FolderListing();
    FolderListing(const FolderListing&) = delete;
    FolderListing& operator=(const FolderListing&) = delete;

    // The kind of an entry whose listing gave the type `direntType` (a d_type value); an
    // unknown type or a link costs one stat, which follows the link.
    static Kind KindOf(const QString& path, int direntType);

private:
    struct Entry {
        QString name;
        QByteArray native;
        int type;
        int kind; // -1 until asked
    };
    bool List();

    FolderItem mFolder;
    bool mOpen = false;
    int mFd = -1;
    quint64 mDevice = 0, mInode = 0;
    long long mStamp = -1, mListedAt = -1;
    std::vector<Entry> mEntries;
};

// A manifest's bytes, read once: ok is false when it can't be opened, isn't a regular file or
// holds more than kMaxManifestBytes.
QByteArray ReadManifestBytes(const FolderItem& item, bool* ok);

// "" gives the application folder: the folder of the executable, or of the bundle on macOS.
FolderItem GetFolderItem(const QString& path);

namespace SpecialFolder {
FolderItem Documents();
} // namespace SpecialFolder

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

// A manifest's bytes, read once: ok is false when it can't be opened, isn't a regular file or
// holds more than kMaxManifestBytes.
QByteArray ReadManifestBytes(const FolderItem& item, bool* ok);

// "" gives the application folder: the folder of the executable, or of the bundle on macOS.
FolderItem GetFolderItem(const QString& path);

namespace SpecialFolder {
FolderItem Documents();
} // namespace SpecialFolder

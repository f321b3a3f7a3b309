#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <memory>

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
    struct Listing;
    const QStringList& Entries() const;

    QString mPath;
    mutable std::shared_ptr<Listing> mListing;
};

// "" gives the application folder: the folder of the executable, or of the bundle on macOS.
FolderItem GetFolderItem(const QString& path);

namespace SpecialFolder {
FolderItem Documents();
} // namespace SpecialFolder

// No text file the program reads is larger: a bigger one, or one that never ends, is refused
// after reading this much.
constexpr qint64 kMaxManifestBytes = 64 * 1024 * 1024;

// Files are read whole and cut into lines from memory; text is taken as UTF-8. A file over
// kMaxManifestBytes can't be opened.
class TextInputStream {
public:
    static std::unique_ptr<TextInputStream> Open(const FolderItem& item);

    QString ReadLine();
    QString ReadAll();
    bool Eof() const { return mPos >= mText.size(); }
    void Close() {}

private:
    explicit TextInputStream(QString text) : mText(std::move(text)) {}

    QString mText;
    qsizetype mPos = 0;
};

class TextOutputStream {
public:
    static std::unique_ptr<TextOutputStream> Create(const FolderItem& item);
    ~TextOutputStream();

    void Write(const QString& text);
    // The file is in place only once this returns true; until then the old one stands.
    bool Close();

private:
    struct File;
    explicit TextOutputStream(std::unique_ptr<File> file);
    std::unique_ptr<File> mFile;
};

// Reads a file's bytes in one go; empty when it can't be read or holds more than maxBytes
// (no limit when negative). For callers that need no lines.
QByteArray ReadFileBytes(const FolderItem& item, bool* ok = nullptr, qint64 maxBytes = -1);

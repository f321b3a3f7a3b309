#pragma once

#include "platform/FolderItem.h"

#include <QByteArray>
#include <QPair>
#include <QString>

#include <vector>

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
    // Item(i).Parent(), the same for every entry.
    FolderItem ItemsParent() const { return mItemsParent; }
    // FolderItem::Visible of Item(i), told from the name where the name alone decides.
    bool Visible(int i) const;
    Kind KindOf(int i);
    // Lists the folder again if it may have changed since it was listed; false if it is gone.
    bool Refresh();
    // The bytes of manifest entry i, read as ReadManifestBytes reads them. The entry is opened
    // relative to its folder, opened again after Release, so the listed bytes of its name reach it.
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
    bool Reopen();

    FolderItem mFolder;
    bool mOpen = false;
    int mFd = -1;
    quint64 mDevice = 0, mInode = 0;
    long long mStamp = -1, mListedAt = -1;
    std::vector<Entry> mEntries;
    FolderItem mItemsParent;
};

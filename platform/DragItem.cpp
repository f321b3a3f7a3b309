#include "platform/DragItem.h"

DragItem::DragItem(QList<QUrl> urls) : mUrls(std::move(urls)) {}

bool DragItem::FolderItemAvailable() const {
    return mIndex < mUrls.size() && mUrls.at(mIndex).isLocalFile();
}

FolderItem DragItem::Item() const {
    if (!FolderItemAvailable())
        return FolderItem();
    return FolderItem(mUrls.at(mIndex).toLocalFile());
}

bool DragItem::NextItem() {
    if (mIndex + 1 >= mUrls.size())
        return false;
    ++mIndex;
    return true;
}

#pragma once

#include "platform/FolderItem.h"

#include <QList>
#include <QUrl>

// The items of one drag, walked with NextItem.
class DragItem {
public:
    explicit DragItem(QList<QUrl> urls);
    bool FolderItemAvailable() const;
    FolderItem Item() const;
    bool NextItem();

private:
    QList<QUrl> mUrls;
    int mIndex = 0;
};

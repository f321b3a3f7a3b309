#include "platform/SearchPath.h"

#include <QFileInfo>
#include <QStandardPaths>

FolderItem FindOnPath(const QStringList& names) {
#ifdef Q_OS_MACOS
    Q_UNUSED(names);
    return FolderItem();
#else
    for (const QString& name : names) {
        // Qt's search takes only files with an x bit (access() says so for root too) and
        // passes over folders of the name.
        const QString found = QStandardPaths::findExecutable(name);
        if (!found.isEmpty() && QFileInfo(found).isFile())
            return FolderItem(found);
    }
    return FolderItem();
#endif
}

#pragma once

#include "platform/FolderItem.h"

#include <QString>
#include <QStringList>

#include <memory>

// One catalogue entry. A record named "-" separates the records of two manifests.
class FirmClass {
public:
    QString mName;
    QString mVersion;
    QString mPath;
    QStringList mCommand;
    FolderItem mFirmFolder;
    int mType = 0;
    QString mBaud;
    QString mDevice;
    QString mFramework;
    QString mDescription;
    QString mKeywords;
    QString mAuthor;
    QString mRepository;
};

// Records are shared: the same object may stand in the catalogue twice.
using FirmRef = std::shared_ptr<FirmClass>;

// Raised where a reader writes into a record it does not hold.
struct NilObjectException {};

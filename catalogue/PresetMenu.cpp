#include "catalogue/Catalogue.h"
#include "flash/Flash.h"
#include "platform/Text.h"
#include "window/EspWin.h"

#include <QStringList>

#include <algorithm>

void EspWin::MakeFirmPrisetPM() {
    // The texts are made first and the popup is refilled in one go: a handler that runs while
    // this loop yields may rebuild the popup too, and rows and records must still run one to
    // one when both are done. Records are only ever added, so any snapshot is a true prefix.
    const QVector<FirmRef> records = mFirm;
    const int dropBin = mDropBin;
    QStringList rows;
    rows.reserve(records.size());
    for (const FirmRef& record : records) {
        rows.append(record ? Catalogue::PresetRow(*record) : QString());
        LetOtherEventsRun();
        if (IsClosed())
            return;
    }

    PrisetPM.DeleteAllRows();
    PrisetPM.AddRows(rows);

    if (dropBin > 0)
        PrisetPM.SetListIndex(std::min(dropBin + 2, PrisetPM.ListCount() - 1));
    else if (PrisetPM.ListCount() > 0)
        PrisetPM.SetListIndex(0);
    mDropBin = 0;
}

void EspWin::PrisetPM_Change() {
    const int index = PrisetPM.ListIndex();
    if (index < 0 || index >= mFirm.size() || !mFirm.at(index))
        return;
    const FirmRef record = mFirm.at(index);

    const QString baud = record->mBaud;
    if (!baud.isEmpty()) {
        // A handful of rows: no need to let other events run in between.
        int found = -1;
        for (int row = 0; row < BaudPM.ListCount(); ++row) {
            if (Same(BaudPM.List(row), baud)) {
                found = row;
                break;
            }
        }
        if (found < 0) {
            // A speed the list lacks stays in it for the rest of the run.
            BaudPM.AddRow(baud);
            BaudPM.SetListIndex(BaudPM.ListCount() - 1);
        } else if (BaudPM.ListIndex() != found) {
            BaudPM.SetListIndex(found);
        }
    }

    CommandComposer& flash = *this;
    flash.MakeCommand();
}

#include "window/EspWin.h"

void EspWin::Event_DropObject(DragItem& d) {
    if (!d.FolderItemAvailable())
        return;
    mDropBin = int(mFirm.size()) - 1;
    do {
        const FolderItem f = d.Item();
        if (!f.IsNil()) {
            if (f.Directory())
                LoadFirmJsonFolder(f, false);
            else
                LoadFirmJsonFile(f, true);
        }
        if (IsClosed())
            return;
    } while (d.NextItem());
    MakeFirmPrisetPM();
}

void EspWin::DoDropFile(const FolderItem& f) {
    if (f.IsNil())
        return;
    mDropBin = int(mFirm.size()) - 1;
    if (f.Directory())
        LoadFirmJsonFolder(f, false);
    else
        LoadFirmJsonFile(f, true);
    if (IsClosed())
        return;
    MakeFirmPrisetPM();
}

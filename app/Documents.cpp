#include "catalogue/Catalogue.h"
#include "window/EspWin.h"

namespace {

// A folder adds the manifests below it; a single file may also be an image to package.
void LoadDropped(CatalogueLoader& catalogue, const FolderItem& f) {
    if (f.Directory())
        catalogue.LoadFirmJsonFolder(f, false);
    else
        catalogue.LoadFirmJsonFile(f, true);
}

} // namespace

void EspWin::Event_DropObject(DragItem& d) {
    if (!d.FolderItemAvailable())
        return;
    mDropBin = int(mFirm.size()) - 1;
    do {
        const FolderItem f = d.Item();
        if (!f.IsNil())
            LoadDropped(*this, f);
        if (IsClosed())
            return;
    } while (d.NextItem());
    CatalogueLoader& catalogue = *this;
    catalogue.MakeFirmPrisetPM();
}

void EspWin::DoDropFile(const FolderItem& f) {
    if (f.IsNil())
        return;
    mDropBin = int(mFirm.size()) - 1;
    CatalogueLoader& catalogue = *this;
    LoadDropped(catalogue, f);
    if (IsClosed())
        return;
    catalogue.MakeFirmPrisetPM();
}

#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    EspWin* w = Fuzz::Window();
    const FolderItem file = Fuzz::Write("type0/m.json", data, size);
    try {
        w->LoadFirmJsonType0(file);
    } catch (const NilObjectException&) {
        // A key before any record: the file stops there, as in a scan.
    }
    for (const FirmRef& r : w->mFirm)
        if (r && r->mName != "-" && r->mFirmFolder.IsNil())
            __builtin_trap();
    Fuzz::Forget(w);
    return 0;
}

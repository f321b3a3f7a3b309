#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    EspWin* w = Fuzz::Window();
    const FolderItem script = Fuzz::Write("flashsh/variant/flash.sh", data, size);
    FirmClass record;
    record.mPath = "variant";
    w->LoadFlashCmd(record, script.Parent().Parent());
    // A script that came with the firmware stays as it was.
    if (!script.Exists())
        __builtin_trap();
    return 0;
}

#include "FuzzSupport.h"
#include "platform/TextInputStream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    EspWin* w = Fuzz::Window();
    const FolderItem file = Fuzz::Write("check/m.json", data, size);
    if (auto in = TextInputStream::Open(file)) {
        const int type = w->CheckJsonType(in->ReadAll());
        if (type < -1 || type > 1)
            __builtin_trap();
    }
    return 0;
}

#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    EspWin* w = Fuzz::Window();
    static const bool laidOut = [] {
        Fuzz::Write("settings/app.bin", reinterpret_cast<const uint8_t*>("x"), 1);
        Fuzz::Write("settings/boot.bin", reinterpret_cast<const uint8_t*>("x"), 1);
        return true;
    }();
    (void)laidOut;
    w->SetInstallSetting(Fuzz::Write("settings/install.txt", data, size));
    if (w->ulb.ListCount() < 1)
        __builtin_trap();
    return 0;
}

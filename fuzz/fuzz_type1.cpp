#include "FuzzSupport.h"

// Variant folders the inputs may name: one with a script, one with only images.
static void LayOut() {
    static bool done = false;
    if (done)
        return;
    done = true;
    const QByteArray script = "esptool.py --chip esp32 --port /dev/${port} --baud 921600 write_flash -z \\\n"
                              "0x1000 boot_0x1000.bin\n\n";
    Fuzz::Write("type1/minimal/flash.sh", reinterpret_cast<const uint8_t*>(script.data()), size_t(script.size()));
    Fuzz::Write("type1/full/app_0x10000.bin", reinterpret_cast<const uint8_t*>("x"), 1);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    EspWin* w = Fuzz::Window();
    LayOut();
    const FolderItem file = Fuzz::Write("type1/m.json", data, size);
    w->LoadFirmJsonType1(file);
    // A script made for the image-only variant never stays behind.
    if (QFile::exists(Fuzz::Scratch() + "/type1/full/flash.sh"))
        __builtin_trap();
    Fuzz::Forget(w);
    return 0;
}

#include "FuzzSupport.h"
#include "platform/Text.h"
#include "platform/TextInputStream.h"

namespace {

// The plain reading of the rule: three case-blind searches over the whole text.
int PlainType(const QString& text) {
    if (InStr(text, "\"commands\": ") > 0)
        return 0;
    if (InStr(text, "\"description\": ") > 0 && InStr(text, "\"repository\": ") > 0 &&
        InStr(text, "\"firmware_category\": ") > 0)
        return 1;
    return -1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    EspWin* w = Fuzz::Window();
    const FolderItem file = Fuzz::Write("check/m.json", data, size);
    if (auto in = TextInputStream::Open(file)) {
        const QString text = in->ReadAll();
        if (w->CheckJsonType(text) != PlainType(text))
            __builtin_trap();
    }
    return 0;
}

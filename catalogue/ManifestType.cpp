#include "catalogue/Catalogue.h"
#include "platform/Text.h"

namespace {

// Whether the text holds `"key": `, letter case ignored. Only the key has letters: the search
// runs exactly for the `": ` behind it, and just the few characters in front are compared.
bool HoldsKey(const QString& text, QLatin1String key) {
    const QStringView all(text);
    const QStringView behind(u"\": ");
    const qsizetype width = key.size() + 1;
    for (qsizetype at = IndexOfExact(all, behind, width); at >= 0; at = IndexOfExact(all, behind, at + 1)) {
        const QStringView name = all.mid(at - width, width);
        if (name.front() == QLatin1Char('"') && name.mid(1).compare(key, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

} // namespace

int Catalogue::ManifestType(const QString& text) {
    if (HoldsKey(text, QLatin1String("commands")))
        return 0;
    if (HoldsKey(text, QLatin1String("description")) && HoldsKey(text, QLatin1String("repository")) &&
        HoldsKey(text, QLatin1String("firmware_category")))
        return 1;
    return -1;
}

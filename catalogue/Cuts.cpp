#include "catalogue/Cuts.h"

#include "platform/Text.h"

namespace Cuts {

namespace {

// The two cut marks hold no letters, so an exact search finds the very places a case-blind one
// does, without folding every character of every manifest line. A view: only the cut that is
// kept is copied.
QStringView Field(QStringView s, QStringView sep, int n) {
    return FieldView(s, sep, n, Qt::CaseSensitive);
}

} // namespace

QString KeyOf(QStringView line) {
    return KeyView(line).toString();
}

QStringView KeyView(QStringView line) {
    return Field(line, KeySep, 1).mid(1);
}

bool IsKey(QStringView key, QLatin1String name) {
    // Case folding maps one unit to one, so lengths must agree; plain ASCII letters are folded
    // here, and anything else is left to Qt's folding, which some non-ASCII letters need.
    if (key.size() != name.size())
        return false;
    for (qsizetype i = 0; i < key.size(); ++i) {
        const char16_t a = key[i].unicode();
        const char16_t b = name[i].unicode();
        if (a >= 128 || b >= 128)
            return key.compare(name, Qt::CaseInsensitive) == 0;
        const auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c; };
        if (lower(a) != lower(b))
            return false;
    }
    return true;
}

QString RawValueOf(QStringView line) {
    return RawValueView(line).toString();
}

QStringView RawValueView(QStringView line) {
    return Field(line, KeySep, 2);
}

QString TextValue(QStringView raw) {
    return Field(raw.mid(1), ValueEnd, 1).toString();
}

QString QuotelessValue(QStringView raw) {
    return raw.toString().remove(QLatin1Char('"'));
}

QString NumberValue(QStringView raw) {
    return Field(raw, ValueEnd, 1).toString();
}

} // namespace Cuts

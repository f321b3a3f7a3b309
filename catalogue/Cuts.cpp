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
    return key.compare(name, Qt::CaseInsensitive) == 0;
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

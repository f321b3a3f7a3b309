#include "catalogue/Cuts.h"

#include "platform/Text.h"

namespace Cuts {

namespace {

// NthField for the two cut marks. They hold no letters, so an exact search finds the very
// places a case-blind one does, without folding every character of every manifest line.
QString Field(const QString& s, const QString& sep, int n) {
    qsizetype from = 0;
    for (int field = 1; field < n; ++field) {
        const qsizetype at = s.indexOf(sep, from, Qt::CaseSensitive);
        if (at < 0)
            return QString();
        from = at + sep.size();
    }
    const qsizetype end = s.indexOf(sep, from, Qt::CaseSensitive);
    return end < 0 ? s.mid(from) : s.mid(from, end - from);
}

} // namespace

QString KeyOf(const QString& line) {
    return Mid(Field(line, KeySep, 1), 2);
}

QString RawValueOf(const QString& line) {
    return Field(line, KeySep, 2);
}

QString TextValue(const QString& raw) {
    return Field(Mid(raw, 2), ValueEnd, 1);
}

QString QuotelessValue(const QString& raw) {
    return ReplaceAll(raw, QStringLiteral("\""), QString());
}

QString NumberValue(const QString& raw) {
    return Field(Mid(raw, 1), ValueEnd, 1);
}

} // namespace Cuts

#include "catalogue/Cuts.h"

#include "platform/Text.h"

namespace Cuts {

QString KeyOf(const QString& line) { return Mid(NthField(line, KeySep, 1), 2); }

QString RawValueOf(const QString& line) { return NthField(line, KeySep, 2); }

QString TextValue(const QString& raw) { return NthField(Mid(raw, 2), ValueEnd, 1); }

QString QuotelessValue(const QString& raw) { return ReplaceAll(raw, QStringLiteral("\""), QString()); }

QString NumberValue(const QString& raw) { return NthField(Mid(raw, 1), ValueEnd, 1); }

} // namespace Cuts

#pragma once

#include <QString>

// The line cuts both manifest readers share. A key line reads `"key": value`; the key is cut
// at the first `": ` and the raw value runs to the second one or the end of the line.
namespace Cuts {

inline const QString KeySep = QStringLiteral("\": ");
inline const QString ValueEnd = QStringLiteral("\",");

QString KeyOf(const QString& line);
QString RawValueOf(const QString& line);
// Drops the opening quote and ends before the first `",`.
QString TextValue(const QString& raw);
// Every double quote removed, the rest (a comma too) kept.
QString QuotelessValue(const QString& raw);
// Nothing dropped in front; ends before the first `",`.
QString NumberValue(const QString& raw);

} // namespace Cuts

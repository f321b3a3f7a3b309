#pragma once

#include <QString>
#include <QStringView>

// The line cuts both manifest readers share. A key line reads `"key": value`; the key is cut
// at the first `": ` and the raw value runs to the second one or the end of the line.
namespace Cuts {

inline const QString KeySep = QStringLiteral("\": ");
inline const QString ValueEnd = QStringLiteral("\",");

QString KeyOf(QStringView line);
// KeyOf without the copy, for readers that only compare it.
QStringView KeyView(QStringView line);
// Letter case ignored, as every key is.
bool IsKey(QStringView key, QLatin1String name);
QString RawValueOf(QStringView line);
QStringView RawValueView(QStringView line);
// Drops the opening quote and ends before the first `",`.
QString TextValue(QStringView raw);
// Every double quote removed, the rest (a comma too) kept.
QString QuotelessValue(QStringView raw);
// Nothing dropped in front; ends before the first `",`.
QString NumberValue(QStringView raw);

} // namespace Cuts

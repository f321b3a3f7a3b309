#include "serial/Monitor.h"

#include "platform/Text.h"

namespace Speeds {

const QStringList& FlashRows() {
    static const QStringList rows = {"2400",  "4800",  "7200",   "9600",   "14400",  "19200",  "28800", "38400",
                                     "57600", "76800", "115200", "230400", "460800", "750000", "921600"};
    return rows;
}

QStringList MonitorRows() {
    QStringList rows = FlashRows();
    rows.removeAll(QStringLiteral("750000"));
    return rows;
}

int RateOfRow(int row) {
    return row >= 0 && row < FlashRows().size() ? RateOf(FlashRows().at(row)) : 0;
}

int RateOf(const QString& rowText) {
    return int(Val(rowText));
}

} // namespace Speeds

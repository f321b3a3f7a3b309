#include "platform/SerialPort.h"

namespace System {

QString DevicePath(const QString& name) {
#ifdef Q_OS_MACOS
    return QStringLiteral("/dev/cu.") + name;
#else
    return QStringLiteral("/dev/") + name;
#endif
}

} // namespace System

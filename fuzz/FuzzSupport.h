#pragma once

// What every fuzz target shares: one offscreen window made once, and a scratch folder in
// which each input is written to a real file before the real reader takes it.

#include "platform/FolderItem.h"
#include "platform/Seams.h"
#include "window/EspWin.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>

namespace Fuzz {

inline EspWin* Window() {
    static EspWin* window = [] {
        static int argc = 1;
        static char name[] = "fuzz";
        static char* argv[] = {name, nullptr};
        qputenv("QT_QPA_PLATFORM", "offscreen");
        new QApplication(argc, argv);
        Seams::SetSelectFolder([] { return FolderItem(); });
        Seams::SetMsgBox([](const QString&) {});
        Seams::SetBeep([] {});
        Seams::SetSerialPorts([] { return QList<SerialPort>(); });
        return EspWin::Instance();
    }();
    return window;
}

inline QString Scratch() {
    static QTemporaryDir dir;
    return dir.path();
}

inline FolderItem Write(const QString& relative, const uint8_t* data, size_t size) {
    const QString path = Scratch() + QLatin1Char('/') + relative;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        f.write(reinterpret_cast<const char*>(data), qint64(size));
    return FolderItem(path);
}

inline void Forget(EspWin* w) {
    w->mFirm.clear();
    w->mDropBin = 0;
}

} // namespace Fuzz

#include "platform/TerminalKeys.h"
#include "serial/Monitor.h"

#include <QTest>

#include <tuple>

using TerminalKeys::Route;

// The serial monitor's window-free rules: keys in the pane, speeds, the port offered first, recent ports.
class TstTerminalKeys : public QObject {
    Q_OBJECT
private slots:
    void routes() {
#ifdef Q_OS_MACOS
        QSKIP("the rows are Linux's keys; on macOS Cmd stays the menu's and Control is Meta");
#endif
        const int ctrl = Qt::ControlModifier, shift = Qt::ShiftModifier, alt = Qt::AltModifier;
        const std::tuple<const char*, int, int, const char*, bool, Route> rows[] = {
            {"letter", Qt::Key_A, 0, "a", true, Route::Pane},
            {"return", Qt::Key_Return, 0, "\r", true, Route::Pane},
            {"Ctrl+A in a session", Qt::Key_A, ctrl, "", true, Route::Board},
            {"Ctrl+Z in a session", Qt::Key_Z, ctrl, "\x1a", true, Route::Board},
            {"Ctrl+C without one", Qt::Key_C, ctrl, "\x03", false, Route::Menu},
            {"Ctrl+Shift+C copies", Qt::Key_C, ctrl | shift, "", true, Route::Copy},
            {"Ctrl+Shift+V pastes", Qt::Key_V, ctrl | shift, "", false, Route::Paste},
            {"Ctrl+Shift+X", Qt::Key_X, ctrl | shift, "", true, Route::Board},
            {"Ctrl+Alt+C", Qt::Key_C, ctrl | alt, "", true, Route::Menu},
            {"Ctrl+Alt+Shift+C", Qt::Key_C, ctrl | alt | shift, "", true, Route::Menu},
            {"Ctrl+digit", Qt::Key_1, ctrl, "1", true, Route::Menu},
            {"Meta+C", Qt::Key_C, Qt::MetaModifier, "c", true, Route::Menu},
            {"Alt+F", Qt::Key_F, alt, "f", true, Route::Menu},
            {"F5", Qt::Key_F5, 0, "", true, Route::Menu},
        };
        for (const auto& [name, key, modifiers, text, session, route] : rows) {
            const auto mods = Qt::KeyboardModifiers(modifiers);
            QVERIFY2(TerminalKeys::RouteOf(key, mods, text, session) == route, name);
            QVERIFY2((TerminalKeys::IsControlKey(key, mods) && session) == (route == Route::Board), name);
        }
        // What Ctrl+key sends, whatever text the platform gave the key.
        for (const auto& [key, sent] : {std::pair{Qt::Key_A, 1}, {Qt::Key_C, 3}, {Qt::Key_Z, 26}})
            QCOMPARE(TerminalKeys::ControlCharacter(key), QChar(sent));
        // Text the pane inserts as typed.
        for (const QString& text : {QString("a"), QString("ab c"), QString::fromUtf8("é")})
            QVERIFY2(TerminalKeys::IsTypedText(text), qPrintable(text));
        for (const char* text : {"", "\x03", "\t", "\x7f", "a\x1b"})
            QVERIFY2(!TerminalKeys::IsTypedText(text), text);
    }

    void speeds() {
        const QStringList flash = Speeds::FlashRows();
        for (int row = -1; row <= flash.size(); ++row)
            QCOMPARE(Speeds::RateOfRow(row), row < 0 || row == flash.size() ? 0 : flash.at(row).toInt());
        // The monitor has every speed of the tool but 750000, in the same order.
        QStringList monitor = flash;
        QVERIFY(monitor.removeOne("750000"));
        QCOMPARE(Speeds::MonitorRows(), monitor);
        // A row's text and its rate: the number at its head, cut toward zero.
        for (const QString& c : {"115200|115200", "  9600|9600", "2400.9|2400", "460800 bps|460800", "|0", "fast|0"})
            QCOMPARE(Speeds::RateOf(c.section('|', 0, 0)), c.section('|', 1).toInt());
    }

    void defaultPortRow() {
        // Ports in order ("name@vendor"), the row by Linux's rule (vendor) and by macOS's (name, byte-exact).
        for (const QString& c :
             {"|0|0", "ttyS0 ttyS1 ttyUSB0@10c4|2|0", "ttyS0 ttyUSB0@1a86 ttyUSB1@10c4|2|0",
              "ttyS0 ttyUSB3@10c4 ttyUSB0@10c4|1|0", "ttyUSB0@10c4 ttyACM0@303a|0|0", "ttyS0 ttyUSB0@0403|1|0",
              "ttyS0 ttyACM0@303a|1|0", "ttyS0 ttyS1 ttyACM0|2|0", "ttyS4 ttyUSB3|1|0",
              "ttyS0 rfcomm0 ttyXRUSB0@04e2|2|0", "ttyS0 SLAB_USBtoUART7 SLAB_USBtoUART|0|1",
              "ttyS0 slab_usbtouart SLAB_USBTOUART|0|0", "Bluetooth tty.SLAB_USBtoUART-1|0|1"}) {
            const QString listed = c.section('|', 0, 0);
            QList<SerialPort> ports;
            for (const QString& port : listed.split(' ', Qt::SkipEmptyParts))
                ports << SerialPort{port.section('@', 0, 0), {}, quint16(port.section('@', 1).toUInt(nullptr, 16))};
            QCOMPARE(listed + QString("|%1|%2").arg(DefaultPortRowByVendor(ports)).arg(DefaultPortRowByName(ports)), c);
        }
    }

    void rememberPort() {
        // Newest first, six of them: before, the port connected to, after.
        for (const QString& c : {",,,,,|ttyUSB0|ttyUSB0,,,,,", "ttyUSB0,ttyS0,,,,|TTYUSB0|ttyUSB0,ttyS0,,,,",
                                 "ttyUSB0,ttyS0,,,,|ttyS0|ttyS0,ttyUSB0,ttyS0,,,", "a,b,c,d,e,f|g|g,a,b,c,d,e"}) {
            RecentPorts recent;
            const QStringList before = c.section('|', 0, 0).split(',');
            std::copy(before.begin(), before.end(), recent.begin());
            RememberPort(recent, c.section('|', 1, 1));
            QCOMPARE(QStringList(recent.begin(), recent.end()).join(','), c.section('|', 2));
        }
    }
};

QTEST_GUILESS_MAIN(TstTerminalKeys)
#include "tst_terminalkeys.moc"

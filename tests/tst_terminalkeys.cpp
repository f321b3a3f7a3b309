#include "platform/TerminalKeys.h"

#include <QTest>

using TerminalKeys::Route;
Q_DECLARE_METATYPE(Route)

// The log pane's key rules, without a pane: which keys a session sends to the board, which the
// pane keeps, and which are left to the menu.
class TstTerminalKeys : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void routes_data();
    void routes();
    void typedText_data();
    void typedText();
};

void TstTerminalKeys::initTestCase() {
#ifdef Q_OS_MACOS
    QSKIP("the rows are Linux's keys; on macOS Cmd stays the menu's and Control is Meta");
#endif
}

void TstTerminalKeys::routes_data() {
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("modifiers");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("session");
    QTest::addColumn<Route>("route");
    // What the board gets, for a key that goes to it.
    QTest::addColumn<QString>("sent");

    const int ctrl = Qt::ControlModifier, shift = Qt::ShiftModifier, alt = Qt::AltModifier, meta = Qt::MetaModifier;
    const QString none;
    QTest::newRow("letter in a session") << int(Qt::Key_A) << 0 << "a" << true << Route::Pane << none;
    QTest::newRow("letter without one") << int(Qt::Key_A) << 0 << "a" << false << Route::Pane << none;
    QTest::newRow("capital") << int(Qt::Key_A) << shift << "A" << true << Route::Pane << none;
    QTest::newRow("return") << int(Qt::Key_Return) << 0 << "\r" << true << Route::Pane << none;
    QTest::newRow("Ctrl+C in a session is ETX") << int(Qt::Key_C) << ctrl << "\x03" << true << Route::Board << "\x03";
    QTest::newRow("Ctrl+A in a session") << int(Qt::Key_A) << ctrl << "" << true << Route::Board << "\x01";
    QTest::newRow("Ctrl+Z in a session") << int(Qt::Key_Z) << ctrl << "\x1a" << true << Route::Board << "\x1a";
    QTest::newRow("Ctrl+C without one is the menu's")
        << int(Qt::Key_C) << ctrl << "\x03" << false << Route::Menu << none;
    QTest::newRow("Ctrl+Shift+C copies") << int(Qt::Key_C) << (ctrl | shift) << "" << true << Route::Copy << none;
    QTest::newRow("Ctrl+Shift+V pastes") << int(Qt::Key_V) << (ctrl | shift) << "" << false << Route::Paste << none;
    QTest::newRow("Ctrl+Shift+X is a control key")
        << int(Qt::Key_X) << (ctrl | shift) << "" << true << Route::Board << "\x18";
    QTest::newRow("Ctrl+Alt+C stays the menu's") << int(Qt::Key_C) << (ctrl | alt) << "" << true << Route::Menu << none;
    QTest::newRow("Ctrl+Alt+Shift+C is no copy")
        << int(Qt::Key_C) << (ctrl | alt | shift) << "" << true << Route::Menu << none;
    QTest::newRow("Ctrl+digit is no control key") << int(Qt::Key_1) << ctrl << "1" << true << Route::Menu << none;
    QTest::newRow("Meta+C is no control key here") << int(Qt::Key_C) << meta << "c" << true << Route::Menu << none;
    QTest::newRow("Alt+F goes to the menu") << int(Qt::Key_F) << alt << "f" << true << Route::Menu << none;
    QTest::newRow("F5 types nothing") << int(Qt::Key_F5) << 0 << "" << true << Route::Menu << none;
}

void TstTerminalKeys::routes() {
    QFETCH(int, key);
    QFETCH(int, modifiers);
    QFETCH(QString, text);
    QFETCH(bool, session);
    QFETCH(Route, route);
    QFETCH(QString, sent);

    const auto mods = Qt::KeyboardModifiers(modifiers);
    QCOMPARE(TerminalKeys::RouteOf(key, mods, text, session), route);
    QCOMPARE(TerminalKeys::IsControlKey(key, mods) && session, route == Route::Board);
    if (route == Route::Board)
        QCOMPARE(QString(TerminalKeys::ControlCharacter(key)), sent);
}

void TstTerminalKeys::typedText_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("typed");

    QTest::newRow("letter") << "a" << true;
    QTest::newRow("composed") << QString::fromUtf8("é") << true;
    QTest::newRow("several") << "ab c" << true;
    QTest::newRow("nothing") << "" << false;
    QTest::newRow("ETX") << "\x03" << false;
    QTest::newRow("tab") << "\t" << false;
    QTest::newRow("DEL") << "\x7f" << false;
    QTest::newRow("control inside") << "a\x1b" << false;
}

void TstTerminalKeys::typedText() {
    QFETCH(QString, text);
    QFETCH(bool, typed);
    QCOMPARE(TerminalKeys::IsTypedText(text), typed);
}

QTEST_GUILESS_MAIN(TstTerminalKeys)
#include "tst_terminalkeys.moc"

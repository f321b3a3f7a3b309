#include "SerialSupport.h"
#include "TestSupport.h"

#include "app/App.h"
#include "platform/MenuBar.h"
#include "platform/SerialPort.h"
#include "window/EspWin.h"

#include <QAbstractScrollArea>
#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QMainWindow>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace TestSupport;
using namespace SerialSupport;

namespace {

// Opens the window with one port and a session on it.
EspWin* OpenSessionOn(SeamRecorder& seams, const SerialPort& port) {
    seams.ports = {port};
    EspWin* w = SerialSupport::NewWindow();
    w->Show();
    w->ConnectPB.Push();
    return w;
}

int ScrollMaximum(EspWin* w) {
    return static_cast<QAbstractScrollArea*>(w->rEF.Widget())->verticalScrollBar()->maximum();
}

// Keys reach the menu's shortcuts only in the active window, and the pane only with the focus.
bool FocusPane(EspWin* w) {
    auto* window = static_cast<QWidget*>(w->mWindow.Widget());
    window->activateWindow();
    if (!QTest::qWaitForWindowActive(window))
        return false;
    w->rEF.Widget()->setFocus();
    return QTest::qWaitFor([w] { return w->rEF.Widget()->hasFocus(); }, 5000);
}

QByteArray Lines(int from, int count) {
    QByteArray text;
    for (int i = from; i < from + count; ++i)
        text += "line " + QByteArray::number(i) + "\r\n";
    return text;
}

} // namespace

class TstTerminal : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void conversationWithBoard();
    void fullSpeedStream();
    void bytesAsTheyCome();
    void emptyReadsAndScrolling();
    void keysToBoard_data();
    void keysToBoard();
    void keysWithoutSession();
    void clearDuringSession();
    void editKeysWithoutSession_data();
    void editKeysWithoutSession();
    void controlKeysInSession();

private:
    // A session on a pseudo-terminal that stands for the board.
    EspWin* OpenSessionOnPty(Pty& board);

    std::unique_ptr<AppFolderLayout> mLayout;
    std::unique_ptr<SeamRecorder> mSeams;
};

void TstTerminal::init() {
    mLayout = std::make_unique<AppFolderLayout>();
    mSeams = std::make_unique<SeamRecorder>();
}

void TstTerminal::cleanup() {
    DisposeWindow();
    mSeams.reset();
    mLayout.reset();
}

EspWin* TstTerminal::OpenSessionOnPty(Pty& board) {
    if (!board.Open())
        return nullptr;
    EspWin* w = OpenSessionOn(*mSeams, board.Port());
    return w->mConnected ? w : nullptr;
}

void TstTerminal::conversationWithBoard() {
    VirtualBoard board;
    QVERIFY(board.Start());
    EspWin* w = OpenSessionOn(*mSeams, board.Port());
    QVERIFY(w->mConnected);
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().endsWith(kBannerEnd), 20000);
    QVERIFY(w->rEF.Text().startsWith(kBannerStart));

    // Typed in the pane: it shows at once, and the board answers the line.
    QTest::keyClicks(w->rEF.Widget(), "hello");
    QTest::keyClick(w->rEF.Widget(), Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(w->rEF.Text().count("hello"), 2, 20000);
    QVERIFY(w->rEF.Text().indexOf("hello") < w->rEF.Text().lastIndexOf("hello"));
    QCOMPARE(mSeams->beeps, 0);
}

void TstTerminal::fullSpeedStream() {
    VirtualBoard board;
    QVERIFY(board.Start());
    EspWin* w = OpenSessionOn(*mSeams, board.Port());
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().endsWith(kBannerEnd), 20000);
    w->ScanBtn2.Push();

    // As fast as the line takes it: all of it, in order, nothing doubled.
    const int size = 256 * 1024 + 5;
    w->MySerial.Write(QStringLiteral("stream %1\r").arg(size));
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().size() >= size, 60000);
    QCOMPARE(w->rEF.Text(), QString::fromLatin1(StreamText(size)));
}

void TstTerminal::bytesAsTheyCome() {
    Pty board;
    EspWin* w = OpenSessionOnPty(board);
    QVERIFY(w);

    // Half a line shows without waiting for its end.
    board.Send("boot:");
    QTRY_COMPARE_WITH_TIMEOUT(w->rEF.Text(), QString("boot:"), 10000);

    // One byte, one character: nothing is decoded, a UTF-8 pair stays two characters.
    QByteArray high;
    for (int b = 0x80; b <= 0xFF; ++b)
        high += char(b);
    const QByteArray rest = QByteArray("0x1\r\n\xc3\xa9 ") + high + "\r\n";
    board.Send(rest);
    const QString expected = QString::fromLatin1(QByteArray("boot:") + rest);
    QTRY_COMPARE_WITH_TIMEOUT(w->rEF.Text(), expected, 10000);
    QCOMPARE(w->rEF.Text().size(), 5 + rest.size());
}

void TstTerminal::emptyReadsAndScrolling() {
    Pty board;
    QVERIFY(board.Open());
    EspWin* w = OpenSessionOn(*mSeams, board.Port());

    QVERIFY(SendAll(board, Lines(0, 300)));
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().endsWith("line 299\r\n"), 10000);
    QVERIFY(ScrollMaximum(w) > 0);
    QCOMPARE(w->rEF.ScrollPosition(), ScrollMaximum(w));

    // Nothing waiting: nothing added, and the user's place in the pane is kept.
    w->rEF.SetScrollPosition(0);
    const QString before = w->rEF.Text();
    w->MySerial_DataAvailable();
    QCOMPARE(w->rEF.Text(), before);
    QCOMPARE(w->rEF.ScrollPosition(), 0);

    board.Send("one more\r\n");
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().endsWith("one more\r\n"), 10000);
    QCOMPARE(w->rEF.ScrollPosition(), ScrollMaximum(w));

    // Line 10000 is where the view stops following a pane longer than that.
    QVERIFY(SendAll(board, Lines(300, 11000)));
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().endsWith("line 11299\r\n"), 60000);
    QVERIFY(ScrollMaximum(w) > 10000);
    QCOMPARE(w->rEF.ScrollPosition(), 10000);
}

void TstTerminal::keysToBoard_data() {
    // A printable key is typed as its character, the others by their key code.
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("key");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("letter") << "a" << 0 << QByteArray("a");
    QTest::newRow("capital") << "A" << 0 << QByteArray("A");
    QTest::newRow("digit") << "7" << 0 << QByteArray("7");
    QTest::newRow("blank") << " " << 0 << QByteArray(" ");
    QTest::newRow("return is CR alone") << "" << int(Qt::Key_Return) << QByteArray("\r");
    QTest::newRow("backspace") << "" << int(Qt::Key_Backspace) << QByteArray("\b");
    QTest::newRow("escape") << "" << int(Qt::Key_Escape) << QByteArray("\x1b");
    QTest::newRow("arrow has no text") << "" << int(Qt::Key_Left) << QByteArray();
}

void TstTerminal::keysToBoard() {
    QFETCH(QString, typed);
    QFETCH(int, key);
    QFETCH(QByteArray, sent);
    Pty board;
    EspWin* w = OpenSessionOnPty(board);
    QVERIFY(w);

    if (typed.isEmpty())
        QTest::keyClick(w->rEF.Widget(), Qt::Key(key));
    else
        QTest::keyClick(w->rEF.Widget(), typed.at(0).toLatin1());
    // A marker behind it shows that nothing else went out with the key.
    QVERIFY(!w->rEF_KeyDown(QStringLiteral("|")));
    QByteArray received;
    QTRY_VERIFY_WITH_TIMEOUT((received += board.Receive()).endsWith('|'), 10000);
    QCOMPARE(received, sent + '|');
}

void TstTerminal::keysWithoutSession() {
    EspWin* w = SerialSupport::NewWindow();
    w->Show();
    QVERIFY(!w->mConnected);

    QVERIFY(!w->rEF_KeyDown(QStringLiteral("q")));
    QTest::keyClicks(w->rEF.Widget(), "typed");
    QTest::keyClick(w->rEF.Widget(), Qt::Key_Return);
    QTest::keyClicks(w->rEF.Widget(), "on");
    QCOMPARE(w->rEF.Text(), QString("typed\non"));
    QCOMPARE(mSeams->beeps, 0);
}

void TstTerminal::clearDuringSession() {
    Pty board;
    QVERIFY(board.Open());
    EspWin* w = OpenSessionOn(*mSeams, board.Port());

    board.Send("before\r\n");
    QTRY_COMPARE_WITH_TIMEOUT(w->rEF.Text(), QString("before\r\n"), 10000);
    w->ScanBtn2.Push();
    QCOMPARE(w->rEF.Text(), QString());
    QVERIFY(w->mConnected);
    QCOMPARE(w->ConnectPB.Caption(), QString("Disconnect"));
    QCOMPARE(w->rEF.BackColor(), QColor(0xFF, 0xE4, 0xFA));

    board.Send("after\r\n");
    QTRY_COMPARE_WITH_TIMEOUT(w->rEF.Text(), QString("after\r\n"), 10000);
}

void TstTerminal::editKeysWithoutSession_data() {
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("item");
    QTest::newRow("select all") << int(Qt::Key_A) << "EditSelectAll";
    QTest::newRow("copy") << int(Qt::Key_C) << "EditCopy";
    QTest::newRow("cut") << int(Qt::Key_X) << "EditCut";
    QTest::newRow("paste") << int(Qt::Key_V) << "EditPaste";
    QTest::newRow("undo") << int(Qt::Key_Z) << "EditUndo";
}

// With no session the Edit menu's keys in the pane are the Edit menu's.
void TstTerminal::editKeysWithoutSession() {
    QFETCH(int, key);
    QFETCH(QString, item);
    EspWin* w = SerialSupport::NewWindow();
    w->Show();
    QVERIFY(FocusPane(w));
    auto* action = w->mWindow.Widget()->findChild<QAction*>(item);
    QVERIFY(action);
    QSignalSpy triggered(action, &QAction::triggered);
    QStringList keys;
    w->rEF.SetKeyDownHandler([&keys](const QString& k) {
        keys << k;
        return false;
    });

    QTest::keyClick(w->rEF.Widget(), Qt::Key(key), Qt::ControlModifier);
    QCOMPARE(triggered.count(), 1);
    QCOMPARE(keys.join(QString()), QString()); // the Control key alone has no text
}

// In a session Ctrl+letter is the board's control character; Ctrl+Shift+C and V copy and paste.
void TstTerminal::controlKeysInSession() {
    Pty board;
    EspWin* w = OpenSessionOnPty(board);
    QVERIFY(w);
    QVERIFY(FocusPane(w));
    board.Send(">>> boot ok\r\n");
    QTRY_COMPARE_WITH_TIMEOUT(w->rEF.Text(), QString(">>> boot ok\r\n"), 10000);
    QGuiApplication::clipboard()->clear();

    QVERIFY(MainMenuBar().Trigger("EditSelectAll"));
    QTest::keyClick(w->rEF.Widget(), Qt::Key_C, Qt::ControlModifier | Qt::ShiftModifier);
    QCOMPARE(QGuiApplication::clipboard()->text(), QString(">>> boot ok\n"));
    QTest::keyClick(w->rEF.Widget(), Qt::Key_End, Qt::ControlModifier);
    QTest::keyClick(w->rEF.Widget(), Qt::Key_V, Qt::ControlModifier | Qt::ShiftModifier);
    QCOMPARE(w->rEF.Text(), QString(">>> boot ok\r\n>>> boot ok\n"));
    QTest::keyClick(w->rEF.Widget(), Qt::Key_C, Qt::ControlModifier);
    QTest::keyClick(w->rEF.Widget(), Qt::Key_D, Qt::ControlModifier);
    QVERIFY(!w->rEF_KeyDown(QStringLiteral("|")));
    QByteArray received;
    QTRY_VERIFY_WITH_TIMEOUT((received += board.Receive()).endsWith('|'), 10000);
    QCOMPARE(received, QByteArray("\x03\x04|"));
    QCOMPARE(w->rEF.Text(), QString(">>> boot ok\r\n>>> boot ok\n"));

    // The session closed, Ctrl+A is the Edit menu's again.
    w->ConnectPB.Push();
    QSignalSpy selectAll(w->mWindow.Widget()->findChild<QAction*>("EditSelectAll"), &QAction::triggered);
    QTest::keyClick(w->rEF.Widget(), Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(selectAll.count(), 1);
}

QTEST_MAIN(TstTerminal)
#include "tst_terminal.moc"

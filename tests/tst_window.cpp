#include "TestSupport.h"

#include "app/App.h"
#include "platform/MenuBar.h"
#include "window/EspWin.h"

#include <QAction>
#include <QMainWindow>
#include <QTest>
#include <QWidget>

using namespace TestSupport;

namespace {

struct Expected {
    const char* name;
    int left, top, width, height, locks, tab;
};

constexpr int L = LockLeft, T = LockTop, R = LockRight, B = LockBottom;

// The on-screen and parked controls, in creation order.
const Expected kControls[] = {
    {"tooltypePM", 30, -143, 107, 20, L | T, 0},
    {"Label1", 0, 7, 75, 20, L | T, 1},
    {"StartPB", 426, 254, 80, 20, T | R, 2},
    {"rEF", 0, 286, 512, 172, L | T | R | B, 3},
    {"UploadEF", 20, -77, 334, 45, L | T | R, 4},
    {"Label2", 0, 56, 75, 20, L | T, 5},
    {"Label3", -10, -260, 75, 20, L | T, 6},
    {"SelectPB", 412, -193, 80, 20, T | R, 8},
    {"EspToolEF", 80, 7, 334, 45, L | T | R, 10},
    {"Label5", 0, 146, 75, 20, L | T, 11},
    {"BaudPM", 80, 84, 80, 20, L | T, 12},
    {"BitsPM", 262, -109, 50, 20, 0, 13},
    {"ConnectPB", 422, 83, 80, 20, R, 14},
    {"CtsCB", 443, -123, 50, 20, R, 15},
    {"DtrCB", 443, -103, 50, 20, R, 16},
    {"ParityPM", 317, -109, 50, 20, 0, 17},
    {"PortPM", 80, 58, 331, 20, L | R, 18},
    {"ScanBtn", 422, 57, 80, 20, T | R, 19},
    {"StopPM", 372, -109, 50, 20, 0, 20},
    {"XonCB", 443, -143, 50, 20, R, 21},
    {"Label7", -216, 114, 75, 20, L | T, 23},
    {"ResetEF", -136, 113, 105, 22, L | T, 24},
    {"Label9", 0, 83, 75, 20, L | T, 27},
    {"InstallEF", 80, 145, 334, 133, L | T | R, 28},
    {"SelectESPPB", 422, 7, 80, 20, T | R, 29},
    {"Label8", 244, 83, 75, 20, L | T, 30},
    {"ulb", 70, -259, 334, 91, L | T, 31},
    {"DeletePB", 412, -241, 80, 20, T | R, 32},
    {"AddressEF", 379, -54, 88, 22, L | T, 26},
    {"PrisetPM", 80, 114, 330, 20, L | T | R, 33},
    {"Label4", 0, 114, 75, 20, L | T, 34},
    {"AbsoluteCB", -153, 81, 122, 20, L | T, 35},
    {"firmfolderBtn", 422, 114, 80, 20, T | R, 36},
    {"SerialBB", 192, -145, 120, 22, L | T, 38},
    {"BaudPMs", 329, 84, 80, 20, L | T, 39},
    {"ScanBtn2", 0, 457, 65, 20, L | B, 40},
    {"AutoConnectCB", 77, 457, 299, 20, L | B, 41},
};

// The tool file, made executable, at a path below the application folder.
void MakeTool(const QString& relative) {
    const QString path = AppFolder() + "/" + relative;
    QVERIFY(WriteFile(path, "#!/bin/sh\necho tool\n"));
    QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner);
}

} // namespace

class TstWindow : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { DisposeWindow(); }
    void controls();
    void designValues();
    void resizing();
    void toolSearch_data();
    void toolSearch();
    void oneWindow();
    void menus();
};

void TstWindow::controls() {
    AppFolderLayout layout;
    SeamRecorder seams;
    EspWin* w = EspWin::Instance();
    w->Show();
    QCOMPARE(w->mWindow.Title(), QString("Corvane"));
    QCOMPARE(w->mWindow.Width(), 512);
    QCOMPARE(w->mWindow.Height(), 478);

    const auto& placed = w->mWindow.Controls();
    QCOMPARE(int(placed.size()), int(std::size(kControls)));
    int parked = 0;
    for (std::size_t i = 0; i < placed.size(); ++i) {
        const Control* c = placed[i];
        const Expected& e = kControls[i];
        QCOMPARE(c->Name(), QString(e.name));
        QCOMPARE(c->Left(), e.left);
        QCOMPARE(c->Top(), e.top);
        QCOMPARE(c->Width(), e.width);
        QCOMPARE(c->Height(), e.height);
        QCOMPARE(c->Locks(), e.locks);
        QCOMPARE(c->TabIndex(), e.tab);
        if (c->Parked()) {
            ++parked;
            QVERIFY2(!c->Widget()->isVisible(), e.name);
        } else {
            QVERIFY2(c->Widget()->isVisible(), e.name);
            QCOMPARE(c->Widget()->geometry(), QRect(e.left, e.top, e.width, e.height));
        }
    }
    // Twenty on the window, seventeen parked, and the three without a place.
    QCOMPARE(parked, 17);
    QCOMPARE(w->esptool.objectName(), QString("esptool"));
    QCOMPARE(w->MySerial.objectName(), QString("MySerial"));
    QCOMPARE(w->SelectFiremTimer.Period(), 1000);
}

void TstWindow::designValues() {
    AppFolderLayout layout;
    SeamRecorder seams;
    EspWin* w = EspWin::Instance();

    QCOMPARE(w->mLastBaudRate, QString("921600"));
    QCOMPARE(w->mEspToolUse, 1);
    QVERIFY(!w->mConnected);
    QVERIFY(!w->termConnected);
    QCOMPARE(w->mPortName.size(), std::size_t(6));
    QVERIFY(w->mEspToolCk.IsNil());
    QVERIFY(w->mFirm.isEmpty());
    QCOMPARE(w->mDropBin, 0);

    QCOMPARE(w->Label1.Text(), QString("ESP Tool: "));
    QCOMPARE(w->Label8.Text(), QString("Serial monitor: "));
    QCOMPARE(w->Label4.Text(), QString("Priset: "));
    QCOMPARE(w->StartPB.Caption(), QString("Start"));
    QCOMPARE(w->ConnectPB.Caption(), QString("Connect"));
    QCOMPARE(w->ScanBtn2.Caption(), QString("Clear"));
    QCOMPARE(w->AutoConnectCB.Caption(), QString("Auto serial connection after installation."));
    QVERIFY(!w->AutoConnectCB.Value());
    QVERIFY(w->AbsoluteCB.Value());
    QVERIFY(!w->DeletePB.Enabled());
    QCOMPARE(w->ResetEF.Text(), QString("ck"));
    QCOMPARE(w->AddressEF.Text(), QString("0x00000000"));
    QCOMPARE(w->ulb.ListCount(), 1);
    QCOMPARE(w->ulb.Cell(0, 1), QString("0x00000000"));

    QCOMPARE(w->BaudPM.ListCount(), 15);
    QCOMPARE(w->BaudPM.Text(), QString("921600"));
    QCOMPARE(w->BaudPMs.ListCount(), 14);
    QCOMPARE(w->BaudPMs.Text(), QString("115200"));
    for (int i = 0; i < w->BaudPMs.ListCount(); ++i)
        QVERIFY(w->BaudPMs.List(i) != "750000");
    QCOMPARE(w->BitsPM.Text(), QString("8"));
    QCOMPARE(w->ParityPM.Text(), QString("No"));
    QCOMPARE(w->StopPM.Text(), QString("1"));
    // The parked tool popup was moved to row 1 by its Open handler.
    QCOMPARE(w->tooltypePM.ListIndex(), 1);
    QCOMPARE(w->tooltypePM.List(0), QString("esptool.py"));
    QCOMPARE(w->rEF.BackColor(), QColor(0xFF, 0xFF, 0xFF));
    QCOMPARE(w->esptool.Mode, 1);
    QCOMPARE(w->esptool.TimeOut, 6000);
    QCOMPARE(w->SelectFiremTimer.Mode(), 1); // no firmwares folder: the question is on its way
}

void TstWindow::resizing() {
    AppFolderLayout layout;
    SeamRecorder seams;
    EspWin* w = EspWin::Instance();
    w->Show();
    QVERIFY(QTest::qWaitForWindowExposed(static_cast<QWidget*>(w->mWindow.Widget())));
    for (const QSize size : {QSize(64, 64), QSize(900, 700), QSize(32000, 32000), QSize(10, 10)}) {
        w->mWindow.Resize(size.width(), size.height());
        QTRY_COMPARE(w->mWindow.Width(), qBound(64, size.width(), 32000));
        const int dx = w->mWindow.Width() - 512, dy = w->mWindow.Height() - 478;
        for (const Expected& e : kControls) {
            const Control* c = nullptr;
            for (const Control* each : w->mWindow.Controls())
                if (each->Name() == e.name)
                    c = each;
            QVERIFY(c);
            if (c->Parked()) {
                QVERIFY2(!c->Widget()->isVisible(), e.name);
                continue;
            }
            const QRect g = c->Widget()->geometry();
            const bool stretchX = (e.locks & L) && (e.locks & R), stretchY = (e.locks & T) && (e.locks & B);
            QCOMPARE(g.left(), e.left + (!stretchX && (e.locks & R) ? dx : 0));
            QCOMPARE(g.top(), e.top + (!stretchY && (e.locks & B) ? dy : 0));
            QCOMPARE(g.width(), std::max(0, e.width + (stretchX ? dx : 0)));
            QCOMPARE(g.height(), std::max(0, e.height + (stretchY ? dy : 0)));
        }
    }
}

void TstWindow::toolSearch_data() {
    QTest::addColumn<QStringList>("tools");
    QTest::addColumn<QStringList>("folders");
    QTest::addColumn<QString>("found");

    const QStringList resources{"Corvane.app/Contents/Resources"};
    QTest::newRow("in the bundle") << QStringList{"Corvane.app/Contents/Resources/esptool", "esptool/esptool"}
                                   << resources << "Corvane.app/Contents/Resources/esptool";
    QTest::newRow("folder esptool beside")
        << QStringList{"esptool/esptool", "tools/esptool"} << resources << "esptool/esptool";
    QTest::newRow("folder tools beside") << QStringList{"tools/esptool"} << resources << "tools/esptool";
    QTest::newRow("nowhere") << QStringList{} << resources << "";
    QTest::newRow("bundle of another name")
        << QStringList{"Other.app/Contents/Resources/esptool", "tools/esptool"} << QStringList{} << "";
    QTest::newRow("bundle without Resources") << QStringList{"tools/esptool"} << QStringList{"Corvane.app"} << "";
}

void TstWindow::toolSearch() {
    QFETCH(QStringList, tools);
    QFETCH(QStringList, folders);
    QFETCH(QString, found);
    AppFolderLayout layout;
    SeamRecorder seams;
    for (const QString& folder : folders)
        QVERIFY(QDir().mkpath(layout.Path(folder)));
    for (const QString& tool : tools)
        MakeTool(tool);

    // An esptool installed on this machine's PATH would be found after the three places.
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", "");
    EspWin* w = EspWin::Instance();
    qputenv("PATH", path);
    if (found.isEmpty()) {
        QVERIFY(w->mEspToolApp.IsNil());
        QCOMPARE(w->EspToolEF.Text(), QString());
    } else {
        const FolderItem expected(layout.Path(found));
        QCOMPARE(w->mEspToolApp.NativePath(), expected.NativePath());
        QCOMPARE(w->EspToolEF.Text(), expected.ShellPath());
    }
}

void TstWindow::oneWindow() {
    AppFolderLayout layout;
    SeamRecorder seams;
    EspWin* first = EspWin::Instance();
    QCOMPARE(EspWin::Instance(), first);
    QVERIFY(TheApp().FileNewWin_Action(0));
    QCOMPARE(EspWin::Existing(), first);
    QVERIFY(first->mWindow.IsVisible());

    // State changed by hand is gone in the window that replaces a closed one.
    first->BaudPM.SetListIndex(0);
    first->AutoConnectCB.SetValue(true);
    first->Close();
    QVERIFY(!EspWin::Existing());
    QVERIFY(TheApp().FileNewWin_Action(0));
    EspWin* second = EspWin::Existing();
    QVERIFY(second);
    QCOMPARE(second->BaudPM.Text(), QString("921600"));
    QVERIFY(!second->AutoConnectCB.Value());
    QVERIFY(second->mWindow.IsVisible());
    QCOMPARE(EspWin::Instance(), second);
}

void TstWindow::menus() {
    MenuBar& bar = MainMenuBar();
    QCOMPARE(bar.MenuNames(), QStringList({"FileMenu", "EditMenu"}));
    QCOMPARE(bar.Caption("FileMenu"), QString::fromUtf8("ファイル"));
    QCOMPARE(bar.Caption("EditMenu"), QString::fromUtf8("編集"));
    QCOMPARE(bar.ItemNames("FileMenu"), QStringList({"FileNewWin", "UntitledSeparator", "FileQuit"}));
    QCOMPARE(bar.ItemNames("EditMenu"), QStringList({"EditUndo", "EditSeparator1", "EditCut", "EditCopy", "EditPaste",
                                                     "EditClear", "EditSeparator2", "EditSelectAll"}));
    QCOMPARE(bar.Caption("FileNewWin"), QString("Show Corvane Window"));
    QCOMPARE(bar.Shortcut("FileNewWin"), QString("Cmd+N"));
    QCOMPARE(bar.Caption("FileQuit"), QString::fromUtf8("終了"));
    QCOMPARE(bar.Shortcut("FileQuit"), QString("Cmd+Q"));
    QCOMPARE(bar.Caption("EditSelectAll"), QString::fromUtf8("すべてを選択"));
    QCOMPARE(bar.Shortcut("EditClear"), QString());
    QCOMPARE(&MainMenuBar(), &bar);

    // The window's own bar: Ctrl+N on this desktop brings the window, never a second one.
    AppFolderLayout layout;
    SeamRecorder seams;
    EspWin* w = TheApp().Window();
    w->Show();
    QVERIFY(QTest::qWaitForWindowExposed(static_cast<QWidget*>(w->mWindow.Widget())));
    auto* action = w->mWindow.Widget()->findChild<QAction*>("FileNewWin");
    QVERIFY(action);
    QCOMPARE(action->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_N));
    action->trigger();
    QCOMPARE(EspWin::Existing(), w);

    // Edit commands act on the focused text control.
    w->InstallEF.SetText("some text");
    w->InstallEF.Widget()->setFocus();
    QTRY_VERIFY(w->InstallEF.Widget()->hasFocus());
    QVERIFY(bar.Trigger("EditSelectAll"));
    QVERIFY(bar.Trigger("EditClear"));
    QCOMPARE(w->InstallEF.Text(), QString());
}

QTEST_MAIN(TstWindow)
#include "tst_window.moc"

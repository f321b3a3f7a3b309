// The window and its platform controls.
#include "TestSupport.h"
#include "app/App.h"
#include "platform/LogView.h"
#include "platform/MenuBar.h"
#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QMainWindow>
#include <QMenuBar>
#include <QScrollBar>
#include <QSignalSpy>

using namespace TestSupport;
class TstWindow : public QObject {
    Q_OBJECT
    AppFolderLayout mLayout;
    SeamRecorder mSeams;
    static bool Focus(QWidget* w) {
        w->show(), w->activateWindow(), w->setFocus();
        return QTest::qWaitFor([w] { return w->hasFocus(); });
    }

private slots:
    void cleanup() { DisposeWindow(), AppFolderLayout::Clear(); }
    // Locked edges keep their distance on resize, within the window's limits; buttons show captions.
    void layout() {
        EspWin* w = EspWin::Instance();
        w->Show();
        const QSize design(w->mWindow.Width(), w->mWindow.Height());
        for (const QSize size : {QSize(900, 700), QSize(32000, 32000), QSize(9, 9)}) {
            w->mWindow.Resize(size.width(), size.height());
            const int dx = w->mWindow.Width() - design.width(), dy = w->mWindow.Height() - design.height();
            QCOMPARE(QSize(dx, dy), size.expandedTo(QSize(64, 64)).boundedTo(QSize(32000, 32000)) - design);
            for (const Control* c : w->mWindow.Controls()) {
                const auto* button = qobject_cast<QAbstractButton*>(c->Widget());
                const int l = c->Locks();
                const bool wide = (l & LockLeft) && (l & LockRight), tall = (l & LockTop) && (l & LockBottom);
                const QRect at(c->Left() + (!wide && (l & LockRight) ? dx : 0),
                               c->Top() + (!tall && (l & LockBottom) ? dy : 0),
                               std::max(0, c->Width() + (wide ? dx : 0)), std::max(0, c->Height() + (tall ? dy : 0)));
                QVERIFY2((c->Parked() || c->Widget()->geometry() == at) && (!button || !button->text().isEmpty()),
                         qPrintable(c->Name()));
            }
        }
    }

    // Parked (wholly off the content) is never shown; a caption too wide shrinks, down to 8 pixels.
    void parkedAndLabels() {
        Window window;
        window.Show();
        Label label;
        for (const auto& [left, top, parked] :
             {std::tuple{-75, 0, true}, {-74, 0, false}, {0, -20, true}, {0, -19, false}}) {
            window.Place(label, "label", left, top, 75, 20, LockLeft, 0);
            label.SetVisible(false);
            QVERIFY(label.Parked() == parked && !label.Widget()->isVisible());
            label.SetVisible(true);
            QCOMPARE(label.Widget()->isVisible(), !parked);
        }
        for (const int room : {2000, 75, 10}) {
            label.Widget()->resize(room, 20), label.SetTextSize(11), label.SetText("Serial monitor: ");
            QFont font = label.Widget()->font();
            const int px = font.pixelSize(), wide = QFontMetrics(font).horizontalAdvance(label.Text());
            font.setPixelSize(px + 1);
            QVERIFY(px >= 8 && px <= 11 && (wide <= room || px == 8) &&
                    (px == 11 || QFontMetrics(font).horizontalAdvance(label.Text()) > room));
        }
    }

    // The flash tool beside the program (a name ending in "/" is a folder), else on PATH (tools/bin here).
    void toolSearch() {
        const QString res = "Corvane.app/Contents/Resources/";
        const std::pair<QStringList, QString> rows[] = {
            {{res, res + "esptool", "esptool/esptool", "tools/bin/esptool"}, res + "esptool"},
            {{res, "esptool/esptool", "tools/esptool"}, "esptool/esptool"},
            {{res, "tools/esptool", "tools/bin/esptool"}, "tools/esptool"},
            {{res}, ""},
            {{"Other.app/Contents/Resources/esptool", "tools/esptool"}, ""},
            {{"Corvane.app/Contents/Resources", "tools/esptool"}, ""},
            {{"Corvane.app/", "tools/esptool", "tools/bin/esptool"}, "tools/bin/esptool"},
            {{"tools/bin/esptool/"}, ""},
        };
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(mLayout.Path("tools/bin")));
        for (const auto& [tools, found] : rows) {
            cleanup();
            for (const QString& t : tools)
                QVERIFY(t.endsWith('/') ? QDir().mkpath(mLayout.Path(t))
                                        : WriteFile(mLayout.Path(t), "") &&
                                              QFile::setPermissions(mLayout.Path(t), QFile::ExeOwner));
            const EspWin* w = EspWin::Instance();
            const FolderItem expected = found.isEmpty() ? FolderItem() : FolderItem(mLayout.Path(found));
            QVERIFY2(w->mEspToolApp.NativePath() == expected.NativePath() &&
                         w->EspToolEF.Text() == (found.isEmpty() ? "" : expected.ShellPath()),
                     qPrintable(tools.join(' ')));
        }
        qputenv("PATH", path);
    }

    // One window; closed in a session it lets the port go; the next starts afresh and asks for firmwares.
    void oneWindow() {
        Pty board;
        QVERIFY(board.Open());
        mSeams.ports = {board.Port()};
        EspWin* first = EspWin::Instance();
        QVERIFY(TheApp().FileNewWin_Action(0) && EspWin::Instance() == first && first->mWindow.IsVisible());
        const QString speed = first->BaudPM.Text();
        first->BaudPM.SetListIndex(0), first->AutoConnectCB.SetValue(true), first->ConnectPB.Push();
        QVERIFY(first->AutoConnectCB.Value() && first->mConnected && board.Send("boot banner\r\n"));
        QTRY_VERIFY_WITH_TIMEOUT(first->rEF.Text().contains("boot banner"), 10000);
        const int asked = mSeams.folderQuestions;
        first->Close();
        QVERIFY(!EspWin::Existing() && board.Send(QByteArray(1024, 'x')) && TheApp().FileNewWin_Action(0));
        EspWin* second = EspWin::Existing();
        second->ConnectPB.Push();
        QVERIFY(second->mWindow.IsVisible() && EspWin::Instance() == second && second->mConnected &&
                !second->rEF.Text().contains("boot"));
        QVERIFY(second->BaudPM.Text() == speed && !second->AutoConnectCB.Value());
        QTRY_COMPARE_WITH_TIMEOUT(mSeams.folderQuestions, asked + 1, 30000);
    }

    // The window's bar shows what the menu bar holds; Ctrl+N brings the window, never a second one.
    void menus() {
        MenuBar& bar = MainMenuBar();
        QCOMPARE(bar.ItemNames("FileMenu"), QStringList({"FileNewWin", "UntitledSeparator", "FileQuit"}));
        QCOMPARE(bar.ItemNames("EditMenu"), QStringList({"EditUndo", "EditSeparator1", "EditCut", "EditCopy",
                                                         "EditPaste", "EditClear", "EditSeparator2", "EditSelectAll"}));
        EspWin* w = TheApp().Window();
        const QMenuBar* widget = w->mWindow.Widget()->menuBar();
        QVERIFY(widget->actions().size() == 2 && widget->actions().first()->text() == bar.Caption("FileMenu"));
        QCOMPARE(widget->findChild<QAction*>("EditSelectAll")->text(), bar.Caption("EditSelectAll"));
        auto* action = w->mWindow.Widget()->findChild<QAction*>("FileNewWin");
        QVERIFY(bar.MenuNames() == QStringList({"FileMenu", "EditMenu"}) && &MainMenuBar() == &bar &&
                action->shortcut() == QKeySequence(Qt::CTRL | Qt::Key_N));
        action->trigger();
        QVERIFY(EspWin::Existing() == w && w->mWindow.IsVisible());
    }

    // Edit commands act on the focused field, log or line; undo takes back only what the user typed.
    void editCommands() {
        const std::pair<QStringList, QString> rows[] = {{{"EditSelectAll", "EditClear"}, ""},
                                                        {{"EditSelectAll", "EditCut", "EditPaste", "EditPaste"}, "@@"},
                                                        {{"EditSelectAll", "EditCopy", "End", "EditPaste"}, "@@"},
                                                        {{"End", "z", "EditUndo", "EditUndo"}, "@"},
                                                        {{"+", "EditUndo"}, "@+"},
                                                        {{"=", "EditUndo"}, "="}};
        for (int kind = 0; kind < 3; ++kind) {
            for (const auto& [commands, expected] : rows) {
                TextArea area(kind == 1 ? TextArea::Kind::Log : TextArea::Kind::Field);
                TextField line;
                const auto set = [&](const QString& t) { kind == 2 ? line.SetText(t) : area.SetText(t); };
                const auto text = [&] { return kind == 2 ? line.Text() : area.Text(); };
                const QString start = QString("kind %1: %2").arg(kind).arg(commands.join(' '));
                set(start);
                QWidget* widget = kind == 2 ? line.Widget() : area.Widget();
                QVERIFY(Focus(widget));
                QApplication::clipboard()->setText("stale");
                for (const QString& command : commands) {
                    if (command == "End" || command == "z")
                        QTest::keyClick(widget, command == "z" ? Qt::Key_Z : Qt::Key_End);
                    else if (command == "=" || command == "+")
                        set(command == "=" ? command : text() + command);
                    else
                        QVERIFY(MainMenuBar().Trigger(command));
                }
                QVERIFY2(text() == QString(expected).replace("@", start), qPrintable(start));
            }
        }
    }

    // A popup never selects a row by itself and tells Change for a new row only, once it is in.
    void popup() {
        PopupMenu popup;
        QSignalSpy change(&popup, &PopupMenu::Change);
        int seen = -2;
        connect(&popup, &PopupMenu::Change, this, [&] { seen = popup.ListIndex(); });
        popup.AddRow("a"), popup.AddRows({"b", "c"});
        QVERIFY(popup.ListCount() == 3 && popup.ListIndex() == -1 && popup.Text().isNull());
        for (const int index : {1, 1, 7, -2})
            popup.SetListIndex(index);
        popup.AddRows({"d"});
        QVERIFY(seen == 1 && popup.Text() == "b" && popup.List(3) == "d" && change.count() == 1);
        popup.DeleteAllRows(), popup.AddRow("again");
        QVERIFY(popup.ListCount() == 1 && popup.ListIndex() == -1 && change.count() == 1);
    }

    void textArea() {
        TextArea area(TextArea::Kind::Log);
        QSignalSpy change(&area, &TextArea::TextChange);
        // The same text again is no change; other text of the same length is.
        for (const char* text : {"", "abc", "abc", "abd", "Wait...."})
            area.SetText(text);
        // Text keeps carriage returns; on screen a lone one rewrites its line.
        for (const char* piece : {"Writing 10%\rWriting 20%\r\ndone\n", "50 %\r", "\n60 %\r", "70 %\r80 %"})
            area.AppendText(piece);
        QVERIFY(change.count() == 7 && area.ShownText() == "Writing 20%\ndone\n50 %\n80 %");
        QCOMPARE(area.Text(), QString("Wait....Writing 10%\rWriting 20%\r\ndone\n50 %\r\n60 %\r70 %\r80 %"));
        // Keys reach the handler first; scrolled past the end, the pane shows the end.
        QStringList keys;
        area.SetKeyDownHandler([&](const QString& key) { return (keys << key).size() > 3; });
        area.SetText("");
        QVERIFY(Focus(area.Widget()));
        QTest::keyClicks(area.Widget(), "ab\rc");
        area.AppendText("tail");
        QVERIFY(keys == QStringList({"a", "b", "\r", "c"}) && area.Text() == "ab\ntail");
        area.Widget()->resize(300, 100), area.AppendText(QString("line\n").repeated(300)), area.SetScrollPosition(10);
        const int ten = area.ScrollPosition();
        area.SetScrollPosition(TextArea::kScrollLineLimit);
        const auto* bar = static_cast<QAbstractScrollArea*>(area.Widget())->verticalScrollBar();
        QVERIFY(ten == 10 && area.ScrollPosition() > 200 && area.ScrollPosition() == bar->maximum());
    }

    // However the user edits a log, its lines and rows come out as if the text had come that way.
    void logEdits() {
        const QString text = "boot\r\n10 %\r20 %\r\nlong line of text\nlast";
        const std::tuple<int, int, QString> edits[] = {{2, 0, "x"}, {2, 0, "\n"},         {5, 1, ""},     {1, 0, "\r"},
                                                       {10, 1, ""}, {3, 12, "a\nb\r\nc"}, {38, 2, "\r\n"}};
        for (const auto& [from, count, inserted] : edits) {
            for (const int columns : {4, 80}) {
                LogText edited, fresh;
                edited.SetColumns(columns), fresh.SetColumns(columns);
                edited.Append(text), edited.Replace(from, count, inserted);
                fresh.Append(QString(text).replace(from, count, inserted));
                bool same = edited.Text() == fresh.Text() && edited.LineCount() == fresh.LineCount() &&
                            edited.RowCount() == fresh.RowCount();
                for (qint64 l = 0; same && l < fresh.LineCount(); ++l)
                    same = edited.LineStart(l) == fresh.LineStart(l) && edited.ShownStart(l) == fresh.ShownStart(l) &&
                           edited.ShownEnd(l) == fresh.ShownEnd(l) && edited.FirstRowOf(l) == fresh.FirstRowOf(l);
                QVERIFY2(same, qPrintable(QString("from %1, %2 columns").arg(from).arg(columns)));
            }
        }
    }
};

QTEST_MAIN(TstWindow)
#include "tst_window.moc"

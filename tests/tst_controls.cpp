#include "platform/Graphics.h"
#include "platform/Listbox.h"
#include "platform/LogText.h"
#include "platform/LogView.h"
#include "platform/MenuBar.h"
#include "platform/PopupMenu.h"
#include "platform/TextArea.h"
#include "platform/TextField.h"
#include "platform/Timer.h"

#include <QImage>
#include <QPainter>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextCursor>

class TstControls : public QObject {
    Q_OBJECT
private slots:
    void popupRows();
    void popupChange();
    void textAreaText();
    void textAreaKeys();
    void textAreaScroll();
    void logEditsIndexedAsNew_data();
    void logEditsIndexedAsNew();
    void fieldEditsExact_data();
    void fieldEditsExact();
    void undoOnlyTheUsersEdits_data();
    void undoOnlyTheUsersEdits();
    void textField();
    void listbox();
    void timer();
};

void TstControls::popupRows() {
    PopupMenu popup;
    QSignalSpy change(&popup, &PopupMenu::Change);
    QCOMPARE(popup.ListIndex(), -1);
    QCOMPARE(popup.Text(), QString());

    // Adding rows never selects one, the first insert included.
    popup.AddRow("a");
    popup.AddRow("b");
    QCOMPARE(popup.ListCount(), 2);
    QCOMPARE(popup.ListIndex(), -1);
    QCOMPARE(popup.Text(), QString());
    QCOMPARE(change.count(), 0);

    popup.SetListIndex(1);
    QCOMPARE(popup.Text(), QString("b"));
    QCOMPARE(popup.List(0), QString("a"));
    popup.AddRows({"c", "d"});
    QCOMPARE(popup.ListIndex(), 1);
    QCOMPARE(popup.ListCount(), 4);

    // Clearing leaves no selection and raises nothing.
    change.clear();
    popup.DeleteAllRows();
    QCOMPARE(popup.ListCount(), 0);
    QCOMPARE(popup.ListIndex(), -1);
    QCOMPARE(popup.Text(), QString());
    QCOMPARE(change.count(), 0);
    popup.AddRow("again");
    QCOMPARE(popup.ListIndex(), -1);
}

void TstControls::popupChange() {
    PopupMenu popup;
    popup.AddRows({"a", "b", "c"});
    QSignalSpy change(&popup, &PopupMenu::Change);
    popup.SetListIndex(2);
    QCOMPARE(change.count(), 1);
    popup.SetListIndex(2); // the same value: nothing
    QCOMPARE(change.count(), 1);
    popup.SetListIndex(0);
    QCOMPARE(change.count(), 2);
    popup.SetListIndex(7); // no such row: ignored
    QCOMPARE(popup.ListIndex(), 0);
    QCOMPARE(change.count(), 2);

    // A handler sees the new value when Change comes, as with a user's choice.
    int seen = -2;
    connect(&popup, &PopupMenu::Change, this, [&] { seen = popup.ListIndex(); });
    popup.SetListIndex(1);
    QCOMPARE(seen, 1);
}

void TstControls::textAreaText() {
    TextArea area(TextArea::Kind::Log);
    QSignalSpy change(&area, &TextArea::TextChange);
    area.SetText("");
    QCOMPARE(change.count(), 0); // no difference, no event
    area.SetText("abc");
    QCOMPARE(change.count(), 1);
    area.SetText("abc");
    QCOMPARE(change.count(), 1);

    // Carriage returns and line ends come back exactly as they went in.
    area.SetText("Wait....");
    area.AppendText("Writing 10%\rWriting 20%\r\ndone\n");
    QCOMPARE(area.Text(), QString("Wait....Writing 10%\rWriting 20%\r\ndone\n"));
    // On screen a lone carriage return rewrites its line, also across appends.
    QCOMPARE(area.ShownText(), QString("Writing 20%\ndone\n"));
    area.AppendText("50 %\r");
    area.AppendText("\n60 %\r");
    area.AppendText("70 %\r80 %");
    QCOMPARE(area.ShownText(), QString("Writing 20%\ndone\n50 %\n80 %"));
    QCOMPARE(area.Text(), QString("Wait....Writing 10%\rWriting 20%\r\ndone\n50 %\r\n60 %\r70 %\r80 %"));

    // A megabyte line with no line end stays whole in Text.
    const QString flood(1 << 20, QLatin1Char('x'));
    area.SetText("");
    for (int i = 0; i < 8; ++i)
        area.AppendText(flood);
    QCOMPARE(area.Text().size(), qsizetype(8) << 20);
    QVERIFY(area.Text().count(QLatin1Char('x')) == (qsizetype(8) << 20));
    // An edit by hand across the pieces the pane keeps its text in, and a character past Latin-1.
    auto* log = static_cast<LogView*>(area.Widget());
    const qsizetype middle = qsizetype(4) << 20;
    log->EditText(middle - 2, 4, QStringLiteral("a\r\nb"));
    area.AppendText(QStringLiteral("\u2192 end\r\n"));
    QCOMPARE(area.Text().size(), (qsizetype(8) << 20) + 7);
    QCOMPARE(area.Text().mid(middle - 3, 6), QStringLiteral("xa\r\nbx"));
    QVERIFY(area.Text().endsWith(QStringLiteral("x\u2192 end\r\n")));
    QCOMPARE(area.LineCount(), 3);
    log->undo();
    QCOMPARE(area.Text().mid(middle - 3, 6), QStringLiteral("xxxxxx"));
    QCOMPARE(area.LineCount(), 2);

    area.SetText("");
    QCOMPARE(area.Text(), QString());
    QCOMPARE(area.LineCount(), 1);
}

void TstControls::textAreaKeys() {
    TextArea area(TextArea::Kind::Log);
    QStringList keys;
    bool consume = false;
    area.SetKeyDownHandler([&](const QString& key) {
        keys << key;
        return consume;
    });
    area.Widget()->show();
    QVERIFY(QTest::qWaitForWindowExposed(area.Widget()));
    QTest::keyClicks(area.Widget(), "ab");
    QTest::keyClick(area.Widget(), Qt::Key_Return);
    QCOMPARE(keys, QStringList({"a", "b", "\r"}));
    // Not consumed: the pane edits itself, and Text follows the edit.
    QCOMPARE(area.Text(), QString("ab\n"));

    consume = true;
    QTest::keyClick(area.Widget(), Qt::Key_C);
    QCOMPARE(keys.last(), QString("c"));
    QCOMPARE(area.Text(), QString("ab\n"));

    // After an edit by hand, appends still land at the end.
    area.AppendText("tail");
    QCOMPARE(area.Text(), QString("ab\ntail"));
}

void TstControls::textAreaScroll() {
    TextArea area(TextArea::Kind::Log);
    area.Widget()->resize(300, 100);
    area.Widget()->show();
    QVERIFY(QTest::qWaitForWindowExposed(area.Widget()));
    QString text;
    for (int i = 0; i < 300; ++i)
        text += QString("line %1\n").arg(i);
    area.SetText(text);
    area.SetScrollPosition(10);
    QCOMPARE(area.ScrollPosition(), 10);
    // A line past the end shows the end.
    area.SetScrollPosition(10000);
    auto* edit = static_cast<QAbstractScrollArea*>(area.Widget());
    QVERIFY(area.ScrollPosition() > 200);
    QCOMPARE(area.ScrollPosition(), edit->verticalScrollBar()->maximum());
    area.SetBackColor(QColor(0xFF, 0xE4, 0xFA));
    QCOMPARE(area.BackColor(), QColor(0xFF, 0xE4, 0xFA));
    QCOMPARE(edit->palette().color(QPalette::Base), QColor(0xFF, 0xE4, 0xFA));
}

void TstControls::logEditsIndexedAsNew_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("inserted");
    const QString log = "boot\r\n10 %\r20 %\r\nlong line of text\nlast";
    QTest::newRow("key in the first line") << log << 2 << 0 << "x";
    QTest::newRow("line break typed") << log << 2 << 0 << "\n";
    QTest::newRow("line break removed") << log << 5 << 1 << "";
    QTest::newRow("overwrite made") << log << 1 << 0 << "\r";
    QTest::newRow("overwrite undone") << log << 10 << 1 << "";
    QTest::newRow("lines joined and split") << log << 3 << 12 << "a\nb\r\nc";
    QTest::newRow("into the last line") << log << 38 << 2 << "\r\n";
}

// However the user edits a log, its lines and rows come out as if the text had come that way.
void TstControls::logEditsIndexedAsNew() {
    QFETCH(QString, text);
    QFETCH(int, from);
    QFETCH(int, count);
    QFETCH(QString, inserted);
    for (const int columns : {4, 80}) {
        LogText edited;
        edited.SetColumns(columns);
        edited.Append(text);
        edited.Replace(from, count, inserted);
        LogText fresh;
        fresh.SetColumns(columns);
        fresh.Append(QString(text).replace(from, count, inserted));
        QCOMPARE(edited.Text(), fresh.Text());
        QCOMPARE(edited.LineCount(), fresh.LineCount());
        QCOMPARE(edited.RowCount(), fresh.RowCount());
        for (qint64 line = 0; line < fresh.LineCount(); ++line) {
            QCOMPARE(edited.LineStart(line), fresh.LineStart(line));
            QCOMPARE(edited.ShownStart(line), fresh.ShownStart(line));
            QCOMPARE(edited.ShownEnd(line), fresh.ShownEnd(line));
            QCOMPARE(edited.FirstRowOf(line), fresh.FirstRowOf(line));
        }
    }
}

void TstControls::fieldEditsExact_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("caret");
    QTest::addColumn<int>("backspaces");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("expected");

    // A command too long for one display line, with a no-break space in it.
    const QString command = QString(5000, QLatin1Char('a')) + QChar(0xA0) + "b";
    QTest::newRow("key after a long line") << command << int(command.size()) << 0 << "x" << command + "x";
    QTest::newRow("key into a long line")
        << command << 4500 << 0 << "y" << QString(4500, 'a') + "y" + QString(500, 'a') + QChar(0xA0) + "b";
    QTest::newRow("line ends stay") << "one\r\ntwo\rthree" << 14 << 0 << "!"
                                    << "one\r\ntwo\rthree!";
    QTest::newRow("backspace takes one") << "one\r\ntwo" << 5 << 1 << ""
                                         << "one\rtwo";
    QTest::newRow("return is a line feed") << "a\rb" << 3 << 0 << "\r"
                                           << "a\rb\n";
}

// A hand edit in a field changes exactly the characters typed, wherever the text's display differs.
void TstControls::fieldEditsExact() {
    QFETCH(QString, text);
    QFETCH(int, caret);
    QFETCH(int, backspaces);
    QFETCH(QString, typed);
    QFETCH(QString, expected);
    TextArea field;
    field.Widget()->show();
    QVERIFY(QTest::qWaitForWindowExposed(field.Widget()));
    field.SetText(text);
    QCOMPARE(field.Text(), text);
    auto* edit = static_cast<QPlainTextEdit*>(field.Widget());
    QTextCursor cursor = edit->textCursor();
    cursor.setPosition(caret);
    edit->setTextCursor(cursor);
    for (int i = 0; i < backspaces; ++i)
        QTest::keyClick(field.Widget(), Qt::Key_Backspace);
    for (const QChar c : typed) {
        if (c == '\r')
            QTest::keyClick(field.Widget(), Qt::Key_Return);
        else
            QTest::keyClick(field.Widget(), c.toLatin1());
    }
    QCOMPARE(field.Text(), expected);
}

void TstControls::undoOnlyTheUsersEdits_data() {
    QTest::addColumn<int>("kind");
    QTest::newRow("field") << int(TextArea::Kind::Field);
    QTest::newRow("log") << int(TextArea::Kind::Log);
}

// Edit > Undo takes back what the user typed, never what the program wrote.
void TstControls::undoOnlyTheUsersEdits() {
    QFETCH(int, kind);
    MenuBar bar;
    bar.AddMenu("EditMenu", "Edit");
    bar.AddEditItem("EditMenu", "EditUndo", "Undo", "Cmd+Z", MenuBar::EditCommand::Undo);
    TextArea area{TextArea::Kind(kind)};
    area.Widget()->show();
    area.Widget()->setFocus();
    QTRY_VERIFY(area.Widget()->hasFocus());

    area.SetText("esptool --port /dev/ttyUSB0");
    QVERIFY(bar.Trigger("EditUndo"));
    QCOMPARE(area.Text(), QString("esptool --port /dev/ttyUSB0"));

    QTest::keyClick(area.Widget(), Qt::Key_End, Qt::ControlModifier);
    QTest::keyClicks(area.Widget(), " -b");
    QCOMPARE(area.Text(), QString("esptool --port /dev/ttyUSB0 -b"));
    QVERIFY(bar.Trigger("EditUndo"));
    QCOMPARE(area.Text(), QString("esptool --port /dev/ttyUSB0"));
    area.AppendText("\r\nmore");
    QVERIFY(bar.Trigger("EditUndo"));
    QCOMPARE(area.Text(), QString("esptool --port /dev/ttyUSB0\r\nmore"));

    area.SetText(QString());
    QVERIFY(bar.Trigger("EditUndo"));
    QCOMPARE(area.Text(), QString());
}

void TstControls::textField() {
    TextField field;
    QSignalSpy change(&field, &TextField::TextChange);
    field.SetText("ck");
    QCOMPARE(change.count(), 1);
    field.SetText("ck");
    QCOMPARE(change.count(), 1);
    QCOMPARE(field.Text(), QString("ck"));
}

void TstControls::listbox() {
    Listbox list;
    list.SetColumns({"File (-cf)", "Address(-ca)"});
    QSignalSpy cellChange(&list, &Listbox::CellTextChange);
    list.AddRow("");
    list.SetCell(0, 1, "0x00000000");
    QCOMPARE(list.ListCount(), 1);
    QCOMPARE(list.LastIndex(), 0);
    QCOMPARE(list.Cell(0, 1), QString("0x00000000"));
    QCOMPARE(list.ListIndex(), -1);
    QVERIFY(list.CellTag(0, 0).IsNil());
    list.SetCellTag(0, 0, FolderItem("/tmp"));
    QCOMPARE(list.CellTag(0, 0), FolderItem("/tmp"));
    list.SetCellType(0, 1, 3);
    QCOMPARE(list.CellType(0, 1), 3);
    QCOMPARE(cellChange.count(), 0); // changes from code raise nothing
    list.AddRow("second");
    list.SetListIndex(1);
    QCOMPARE(list.ListIndex(), 1);
    list.RemoveRow(0);
    QCOMPARE(list.Cell(0, 0), QString("second"));
    QVERIFY(list.CellTag(0, 0).IsNil());

    // The painter decides the background of each cell.
    list.SetBackgroundPainter([](Graphics& g, int row, int) {
        g.ForeColor = row % 2 ? Qt::red : Qt::blue;
        g.FillRect(0, 0, g.Width(), g.Height());
        return false;
    });
    QImage image(10, 10, QImage::Format_RGB32);
    QPainter painter(&image);
    Graphics g(&painter, 10, 10);
    QCOMPARE(list.PaintBackground(g, 1, 0), false);
    painter.end();
    QCOMPARE(image.pixelColor(5, 5), QColor(Qt::red));
}

void TstControls::timer() {
    Timer timer;
    QSignalSpy action(&timer, &Timer::Action);
    timer.SetPeriod(20);
    QCOMPARE(timer.Mode(), 0);
    timer.SetMode(1);
    QVERIFY(action.wait(5000));
    QCOMPARE(timer.Mode(), 0); // fired once, off again
    QTest::qWait(100);
    QCOMPARE(action.count(), 1);
    timer.SetMode(2);
    QTRY_VERIFY_WITH_TIMEOUT(action.count() >= 3, 10000);
    timer.SetMode(0);
}

QTEST_MAIN(TstControls)
#include "tst_controls.moc"

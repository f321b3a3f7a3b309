#include "TestSupport.h"

#include "app/App.h"
#include "platform/Application.h"
#include "platform/SingleInstance.h"
#include "platform/Yield.h"
#include "window/EspWin.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QLocalSocket>
#include <QMainWindow>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <QWidget>

#include <algorithm>
#include <functional>

using namespace TestSupport;

namespace {

const QString kPackageVersion = QStringLiteral("Ver210305_140709");
const QString kPackageRow = QStringLiteral("sample Ver210305_140709 (Ver210305_140709)");

// A type 0 manifest with one record for each name, every one at version "v1".
QByteArray Manifest(const QStringList& names) {
    QByteArray text = "[\n";
    for (int i = 0; i < names.size(); ++i) {
        text += "    {\n";
        text += "        \"name\": \"" + names.at(i).toUtf8() + "\",\n";
        text += "        \"version\": \"v1\",\n";
        text += "        \"path\": \"images\",\n";
        text += "        \"commands\": [\n";
        text += "            \"--port %port --baud %baud write_flash 0x1000 %PATH\\\\app.bin\"\n";
        text += "        ]\n";
        text += i + 1 < names.size() ? "    },\n" : "    }\n";
    }
    return text + "]\n";
}

QStringList Rows(const QStringList& names) {
    QStringList rows;
    for (const QString& name : names)
        rows << (name == "-" ? name : name + " (v1)");
    return rows;
}

QStringList BaseNames(int count) {
    QStringList names;
    for (int i = 1; i <= count; ++i)
        names << QStringLiteral("Base%1").arg(i);
    return names;
}

// The catalogue the window finds at start-up: one manifest of `count` records, or an empty
// folder, so that no question comes.
void LayFirmwares(int count) {
    QVERIFY(QDir().mkpath(AppFolder() + "/firmwares"));
    if (count > 0)
        QVERIFY(WriteFile(AppFolder() + "/firmwares/base.json", Manifest(BaseNames(count))));
}

QStringList PresetRows(const EspWin* w) {
    QStringList rows;
    for (int i = 0; i < w->PrisetPM.ListCount(); ++i)
        rows << w->PrisetPM.List(i);
    return rows;
}

int MainWindowCount() {
    int count = 0;
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (qobject_cast<QMainWindow*>(widget) && widget->isVisible())
            ++count;
    return count;
}

// Hands a drag to the window the way the toolkit does: to the widget under the point that takes
// drops, entering, moving and dropping there. True when the drop was taken.
bool DragAndDrop(QWidget* window, const QPoint& pos, QMimeData* data) {
    QWidget* target = window->childAt(pos);
    if (!target)
        target = window;
    while (!target->acceptDrops() && !target->isWindow())
        target = target->parentWidget();
    if (!target->acceptDrops())
        return false;
    const QPoint local = target->mapFrom(window, pos);
    const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
    QDragEnterEvent enter(local, actions, data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    if (!enter.isAccepted())
        return false;
    QDragMoveEvent move(local, actions, data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &move);
    if (!move.isAccepted())
        return false;
    QDropEvent drop(QPointF(local), actions, data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
    return drop.isAccepted();
}

// A point of the window over the control's middle, or over a free spot of the window.
QPoint PointOver(EspWin* w, const Control* control) {
    QMainWindow* host = w->mWindow.Widget();
    if (control)
        return control->Widget()->mapTo(host, control->Widget()->rect().center());
    return host->centralWidget()->mapTo(host, QPoint(450, 40));
}

bool DropUrls(EspWin* w, const QList<QUrl>& urls, const Control* over = nullptr) {
    QMimeData data;
    data.setUrls(urls);
    return DragAndDrop(w->mWindow.Widget(), PointOver(w, over), &data);
}

// Runs a step while the window is being made: its controls are in place, and its start-up has
// loaded nothing yet.
class DuringStartUp final : public QObject {
public:
    explicit DuringStartUp(std::function<void()> step) : mStep(std::move(step)) { qApp->installEventFilter(this); }
    ~DuringStartUp() override { qApp->removeEventFilter(this); }
    bool ran = false;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (!ran && event->type() == QEvent::ParentChange && watched->isWidgetType() &&
            watched->objectName() == QLatin1String("AutoConnectCB")) {
            ran = true;
            mStep();
        }
        return false;
    }

private:
    std::function<void()> mStep;
};

} // namespace

class TstDocuments : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup() { DisposeWindow(); }
    void drops_data();
    void drops();
    void dropTargets();
    void documents();
    void documentsDuringStartUp();
    void handOverBeforeAnyWindow();
    void handOverMidWalk();

private:
    QString Dropped(const QString& name) const { return mSource.filePath(name); }
    QString HandOverSocket() const { return mSockets.filePath("corvane"); }
    QUrl DroppedUrl(const QString& name) const {
        return name.contains("://") ? QUrl(name) : QUrl::fromLocalFile(Dropped(name));
    }

    QTemporaryDir mSource;
    QTemporaryDir mSockets;
};

void TstDocuments::initTestCase() {
    QVERIFY(mSource.isValid());
    QVERIFY(mSockets.isValid());
    QVERIFY(WriteFile(Dropped("a.json"), Manifest({"A"})));
    QVERIFY(WriteFile(Dropped("b.crvj"), Manifest({"B1", "B2"})));
    QVERIFY(WriteFile(Dropped("notes.txt"), "Nothing to flash here.\n"));
    QVERIFY(WriteFile(Dropped("folder/c.json"), Manifest({"C"})));
    QVERIFY(WriteFile(Dropped("folder/img.bin"), QByteArray(64, '\x5a')));
    QVERIFY(WriteFile(Dropped("folder/sub/d.crvj"), Manifest({"D"})));
    QVERIFY(WriteFile(Dropped("sample.bin"), QByteArray(256, '\xe9')));
    QFile image(Dropped("sample.bin"));
    QVERIFY(image.open(QIODevice::ReadWrite));
    QVERIFY(image.setFileTime(QDateTime(QDate(2021, 3, 5), QTime(14, 7, 9)), QFileDevice::FileModificationTime));
}

void TstDocuments::drops_data() {
    QTest::addColumn<int>("catalogue");
    QTest::addColumn<QStringList>("dragged");
    QTest::addColumn<QStringList>("added");
    QTest::addColumn<int>("selected");

    const QString web = QStringLiteral("https://example.com/a.json");
    // A catalogue of three has row 1 chosen before the drop; a rebuild never lands there.
    QTest::newRow("empty, several files") << 0 << QStringList{"a.json", "b.crvj"} << Rows({"A", "B1", "B2"}) << 0;
    QTest::newRow("empty, a .bin") << 0 << QStringList{"sample.bin"} << QStringList{kPackageRow} << 0;
    QTest::newRow("empty, a text file") << 0 << QStringList{"notes.txt"} << QStringList{} << -1;
    QTest::newRow("one, a manifest") << 1 << QStringList{"a.json"} << Rows({"A"}) << 0;
    QTest::newRow("one, a text file") << 1 << QStringList{"notes.txt"} << QStringList{} << 0;
    QTest::newRow("one, a file and a folder")
        << 1 << QStringList{"a.json", "folder"} << Rows({"A", "-", "C", "-", "D"}) << 0;
    QTest::newRow("three, a manifest") << 3 << QStringList{"a.json"} << Rows({"-", "A"}) << 4;
    QTest::newRow("three, several files")
        << 3 << QStringList{"a.json", "b.crvj"} << Rows({"-", "A", "-", "B1", "B2"}) << 4;
    QTest::newRow("three, a folder") << 3 << QStringList{"folder"} << Rows({"-", "C", "-", "D"}) << 4;
    QTest::newRow("three, a text file") << 3 << QStringList{"notes.txt"} << QStringList{} << 2;
    QTest::newRow("three, a missing file") << 3 << QStringList{"gone.json"} << QStringList{} << 2;
    QTest::newRow("three, a .bin") << 3 << QStringList{"sample.bin"} << QStringList{"-", kPackageRow} << 4;
    QTest::newRow("three, a .bin twice") << 3 << QStringList{"sample.bin", "sample.bin"}
                                         << QStringList{"-", kPackageRow, "-", kPackageRow} << 4;
    QTest::newRow("three, no file") << 3 << QStringList{web} << QStringList{} << 1;
    QTest::newRow("three, a web link first") << 3 << QStringList{web, "a.json"} << QStringList{} << 1;
    QTest::newRow("three, a web link behind") << 3 << QStringList{"a.json", web} << Rows({"-", "A"}) << 4;
}

void TstDocuments::drops() {
    QFETCH(int, catalogue);
    QFETCH(QStringList, dragged);
    QFETCH(QStringList, added);
    QFETCH(int, selected);

    AppFolderLayout layout;
    SeamRecorder seams;
    LayFirmwares(catalogue);
    EspWin* w = EspWin::Instance();
    w->Show();
    const QStringList before = Rows(BaseNames(catalogue));
    QCOMPARE(PresetRows(w), before);
    if (catalogue == 3)
        w->PrisetPM.SetListIndex(1);

    QList<QUrl> urls;
    for (const QString& name : dragged)
        urls << DroppedUrl(name);
    QVERIFY(DropUrls(w, urls));

    QCOMPARE(PresetRows(w), before + added);
    QCOMPARE(w->PrisetPM.ListIndex(), selected);
    QCOMPARE(w->mDropBin, 0);
    QCOMPARE(int(w->mFirm.size()), w->PrisetPM.ListCount());
    QCOMPARE(EspWin::Existing(), w);

    // Only a .bin dropped on its own becomes a package; the one inside a dropped folder doesn't.
    const bool package = dragged.contains("sample.bin");
    QCOMPARE(QFileInfo::exists(layout.Path("firmwares/sample.json")), package);
    QCOMPARE(QFileInfo::exists(layout.Path("firmwares/sample/sample.bin")), package);
    QVERIFY(!QFileInfo::exists(layout.Path("firmwares/img")));
    QVERIFY(!QFileInfo::exists(layout.Path("firmwares/img.json")));
    QVERIFY(QFileInfo::exists(Dropped("sample.bin")));
    QCOMPARE(seams.messages, QStringList());
    QCOMPARE(seams.beeps, 0);
}

void TstDocuments::dropTargets() {
    AppFolderLayout layout;
    SeamRecorder seams;
    LayFirmwares(1);
    EspWin* w = EspWin::Instance();
    w->Show();
    QVERIFY(QTest::qWaitForWindowExposed(w->mWindow.Widget()));

    // The whole window is the target: a file let go over a control lands in the catalogue too,
    // and no text pane takes the file's name as text.
    int drops = 0;
    QObject counter;
    connect(&w->mWindow, &Window::DropObject, &counter, [&drops](DragItem&) { ++drops; });
    QStringList expected = Rows(BaseNames(1));
    const QList<const Control*> targets = {nullptr, &w->PrisetPM, &w->InstallEF, &w->rEF, &w->EspToolEF, &w->StartPB};
    for (const Control* over : targets) {
        const QString where = over ? over->Name() : QStringLiteral("a free spot");
        const int before = drops;
        QVERIFY2(DropUrls(w, {DroppedUrl("a.json")}, over), qPrintable(where));
        QVERIFY2(drops == before + 1, qPrintable(where));
        expected << (expected.size() > 1 ? Rows({"-", "A"}) : Rows({"A"}));
        QVERIFY2(PresetRows(w) == expected, qPrintable(where));
    }
    for (const TextArea* pane : {&w->rEF, &w->InstallEF, &w->EspToolEF})
        QVERIFY2(!pane->Text().contains("a.json"), qPrintable(pane->Name()));

    // A drag of plain text is no drop of files: the window leaves it alone.
    QMimeData text;
    text.setText(Dropped("a.json"));
    QVERIFY(!DragAndDrop(w->mWindow.Widget(), PointOver(w, nullptr), &text));
    QCOMPARE(PresetRows(w), expected);
    QVERIFY(!w->mWindow.HandleDrop(&text));
    QVERIFY(!w->mWindow.HandleDrop(nullptr));
    QCOMPARE(PresetRows(w), expected);
    QCOMPARE(drops, int(targets.size()));
}

void TstDocuments::documents() {
    AppFolderLayout layout;
    SeamRecorder seams;
    LayFirmwares(3);
    QVERIFY(!EspWin::Existing());

    // Before any window: the document brings the window with its full start-up, then joins its catalogue.
    TheApp().Event_OpenDocument(FolderItem(Dropped("a.json")));
    EspWin* w = EspWin::Existing();
    QVERIFY(w);
    QVERIFY(w->mWindow.IsVisible());
    QVERIFY(w->mWindow.AcceptsDrops());
    QCOMPARE(w->mFirmFolderX, FolderItem(layout.Path("firmwares")));
    QCOMPARE(PresetRows(w), Rows(BaseNames(3) + QStringList{"-", "A"}));
    QCOMPARE(w->PrisetPM.ListIndex(), 4);
    QCOMPARE(MainWindowCount(), 1);

    // With the window up: the same window takes it; the same manifest twice is there twice.
    TheApp().Event_OpenDocument(FolderItem(Dropped("a.json")));
    QCOMPARE(w->PrisetPM.ListIndex(), 6);
    TheApp().Event_OpenDocument(FolderItem(Dropped("folder")));
    QCOMPARE(w->PrisetPM.ListIndex(), 8);
    // Nothing added still rebuilds the menu; a nil document doesn't even do that.
    TheApp().Event_OpenDocument(FolderItem(Dropped("notes.txt")));
    QCOMPARE(w->PrisetPM.ListIndex(), 10);
    w->PrisetPM.SetListIndex(1);
    TheApp().Event_OpenDocument(FolderItem());
    QCOMPARE(w->PrisetPM.ListIndex(), 1);
    QCOMPARE(EspWin::Existing(), w);
    QCOMPARE(PresetRows(w), Rows(BaseNames(3) + QStringList{"-", "A", "-", "A", "-", "C", "-", "D"}));
    QCOMPARE(MainWindowCount(), 1);
    QVERIFY(!QFileInfo::exists(layout.Path("firmwares/img.json")));

    // A .bin opened as a document becomes a package like a dropped one.
    TheApp().Event_OpenDocument(FolderItem(Dropped("sample.bin")));
    QCOMPARE(w->PrisetPM.List(w->PrisetPM.ListCount() - 1), kPackageRow);
    QCOMPARE(w->PrisetPM.ListIndex(), w->PrisetPM.ListCount() - 1);
    QVERIFY(QFileInfo::exists(layout.Path("firmwares/sample.json")));

    // Closed, then asked again: a fresh window with a fresh catalogue, and the document in it.
    w->Close();
    QVERIFY(!EspWin::Existing());
    TheApp().Event_OpenDocument(FolderItem(Dropped("b.crvj")));
    w = EspWin::Existing();
    QVERIFY(w);
    QVERIFY(w->mWindow.IsVisible());
    // The package made before is part of the folder now and is read at start-up.
    const QStringList restarted = Rows(BaseNames(3)) + QStringList{"-", kPackageRow} + Rows({"-", "B1", "B2"});
    QCOMPARE(PresetRows(w), restarted);
    QCOMPARE(w->PrisetPM.ListIndex(), 6);
    QCOMPARE(MainWindowCount(), 1);

    // "Show Corvane Window" with the window open brings no second one.
    QVERIFY(TheApp().FileNewWin_Action(0));
    QCOMPARE(EspWin::Existing(), w);
    QCOMPARE(MainWindowCount(), 1);
}

void TstDocuments::documentsDuringStartUp() {
    AppFolderLayout layout;
    SeamRecorder seams;
    LayFirmwares(3);

    // Both arrive while the window is half made: the drop is refused, since the window takes
    // drops only from the last step of its start-up; the document waits for that step.
    bool dropTaken = true;
    bool acceptedEarly = true;
    DuringStartUp hook([&] {
        EspWin* early = EspWin::Existing();
        acceptedEarly = early && early->mWindow.AcceptsDrops();
        QMimeData data;
        data.setUrls({DroppedUrl("b.crvj")});
        dropTaken = early && early->mWindow.HandleDrop(&data);
        TheApp().Event_OpenDocument(FolderItem(Dropped("a.json")));
    });
    EspWin* w = EspWin::Instance();
    QVERIFY(hook.ran);
    QVERIFY(!acceptedEarly);
    QVERIFY(!dropTaken);
    QTRY_COMPARE(PresetRows(w), Rows(BaseNames(3) + QStringList{"-", "A"}));
    QCOMPARE(w->PrisetPM.ListIndex(), 4);
    QCOMPARE(EspWin::Existing(), w);
    QCOMPARE(MainWindowCount(), 1);
}

void TstDocuments::handOverBeforeAnyWindow() {
    AppFolderLayout layout;
    SeamRecorder seams;
    LayFirmwares(1);
    QVERIFY(!EspWin::Existing());

    // The serving side as the program sets it up, on a socket of this test's own.
    SingleInstance running(HandOverSocket());
    QVERIFY(running.Listen([](const QString& path) { TheApp().OpenHandedOver(path); }));

    SingleInstance second(HandOverSocket());
    QVERIFY(second.HandOver({Dropped("a.json"), Dropped("b.crvj")}));
    QTRY_VERIFY(EspWin::Existing());
    EspWin* w = EspWin::Existing();
    QTRY_COMPARE(PresetRows(w), Rows(BaseNames(1) + QStringList{"A", "-", "B1", "B2"}));
    // Each handed-over path is a document of its own: the second one's selection rule counts
    // the first one's record.
    QCOMPARE(w->PrisetPM.ListIndex(), 3);
    QVERIFY(w->mWindow.IsVisible());

    // A launch without documents brings a closed window back, and only one.
    w->Close();
    QVERIFY(!EspWin::Existing());
    QVERIFY(second.HandOver({}));
    QTRY_VERIFY(EspWin::Existing());
    w = EspWin::Existing();
    QCOMPARE(PresetRows(w), Rows(BaseNames(1)));
    QVERIFY(second.HandOver({}));
    QVERIFY(second.HandOver({Dropped("a.json")}));
    QTRY_COMPARE(PresetRows(w), Rows(BaseNames(1) + QStringList{"A"}));
    QCOMPARE(EspWin::Existing(), w);
    QCOMPARE(MainWindowCount(), 1);
}

void TstDocuments::handOverMidWalk() {
    AppFolderLayout layout;
    SeamRecorder seams;
    LayFirmwares(1);
    EspWin* w = EspWin::Instance();
    w->Show();
    // 500 manifests: half of them in a folder, half as paths of their own.
    QTemporaryDir many;
    QStringList expected = BaseNames(1);
    QStringList loose;
    for (int i = 0; i < 500; ++i) {
        expected << QStringLiteral("M%1").arg(i, 3, 10, QLatin1Char('0'));
        const QString path = many.filePath((i % 2 ? "folder/" : "") + expected.last() + ".json");
        QVERIFY(WriteFile(path, Manifest({expected.last()})));
        if (i % 2 == 0)
            loose << path;
    }
    expected << "A"
             << "B1"
             << "B2"
             << "Z";
    SingleInstance running(HandOverSocket());
    QVERIFY(running.Listen([](const QString& path) { TheApp().OpenHandedOver(path); }));

    // A slow launch: its first path is the folder, the rest comes, and it hangs up, in the
    // middle of that folder's walk, which lets events run. Meanwhile a launch with the loose
    // manifests, and one that only asks for the window.
    QLocalSocket slow;
    slow.connectToServer(HandOverSocket());
    QVERIFY(slow.waitForConnected(60000));
    slow.write(QFile::encodeName(many.filePath("folder")) + '\0');
    QVERIFY(slow.waitForBytesWritten(60000));
    QVERIFY(SingleInstance(HandOverSocket()).HandOver(loose));
    int handedMidWalk = 0;
    QTimer later;
    connect(&later, &QTimer::timeout, &later, [&] {
        const bool walking =
            std::any_of(w->mFirm.cbegin(), w->mFirm.cend(), [](const auto& record) { return record->mName == "M001"; });
        if (!InNestedEvents() || !walking || handedMidWalk > 0)
            return;
        slow.write(QFile::encodeName(Dropped("a.json")) + '\0' + QFile::encodeName(Dropped("b.crvj")) + '\0' + '\0');
        handedMidWalk = 1 + int(slow.waitForBytesWritten(60000)) + int(SingleInstance(HandOverSocket()).HandOver({}));
        slow.disconnectFromServer();
    });
    later.start(0);
    QTRY_VERIFY_WITH_TIMEOUT(handedMidWalk > 0, 60000);
    QCOMPARE(handedMidWalk, 3);
    later.stop();

    // Paths arrive in order: once the last one is in, every one before it is, and none twice.
    const QString last = mSource.filePath("z.json");
    QVERIFY(WriteFile(last, Manifest({"Z"})));
    QVERIFY(SingleInstance(HandOverSocket()).HandOver({last}));
    QTRY_VERIFY_WITH_TIMEOUT(PresetRows(w).contains(Rows({"Z"}).constFirst()), 60000);
    QStringList names;
    for (const auto& record : w->mFirm)
        if (record->mName != "-")
            names << record->mName;
    names.sort();
    expected.sort();
    QCOMPARE(names, expected);
    QCOMPARE(EspWin::Existing(), w);
    QCOMPARE(MainWindowCount(), 1);
}

QTEST_MAIN(TstDocuments)
#include "tst_documents.moc"

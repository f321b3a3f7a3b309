#include "CatalogueSupport.h"

#include <QSignalSpy>
#include <QTest>

using namespace TestSupport;
using namespace CatalogueSupport;

namespace {

FirmRef Runnable(const QString& name, const QString& baud, const QString& command) {
    FirmRef r = Record(name, "1", baud);
    r->mCommand << command;
    r->mFirmFolder = FolderItem(AppFolder());
    return r;
}

} // namespace

class TstPresetMenu : public QObject {
    Q_OBJECT
private slots:
    void init() { mWindow = QuietWindow(); }
    void cleanup() { DisposeWindow(); }
    void rowTexts_data();
    void rowTexts();
    void selection_data();
    void selection();
    void speedRows();
    void nothingSelected();

private:
    AppFolderLayout mLayout;
    SeamRecorder mSeams;
    EspWin* mWindow = nullptr;
};

void TstPresetMenu::rowTexts_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("row");
    QTest::newRow("separator") << "-"
                               << ""
                               << "-";
    QTest::newRow("separator with a version") << "-"
                                              << "1.0"
                                              << "-";
    QTest::newRow("no version") << "Sample"
                                << ""
                                << "Sample ()";
    QTest::newRow("v given") << "Sample"
                             << "v1.2"
                             << "Sample (v1.2)";
    QTest::newRow("V given, no second letter") << "Sample"
                                               << "V1.2"
                                               << "Sample (V1.2)";
    QTest::newRow("plain number") << "Sample"
                                  << "1.2"
                                  << "Sample (v1.2)";
    QTest::newRow("generated version") << "sample Ver210305_140709"
                                       << "Ver210305_140709"
                                       << "sample Ver210305_140709 (Ver210305_140709)";
    QTest::newRow("blank first") << "Sample"
                                 << " 1"
                                 << "Sample (v 1)";
    QTest::newRow("no name") << ""
                             << ""
                             << " ()";
}

void TstPresetMenu::rowTexts() {
    QFETCH(QString, name);
    QFETCH(QString, version);
    QFETCH(QString, row);
    mWindow->mFirm = {Record(name, version), Record("next")};
    mWindow->MakeFirmPrisetPM();
    QCOMPARE(Rows(mWindow->PrisetPM), (QStringList{row, "next ()"}));
    // The "v" lives in the row only.
    QCOMPARE(mWindow->mFirm.at(0)->mVersion, version);
}

void TstPresetMenu::selection_data() {
    QTest::addColumn<int>("entries");
    QTest::addColumn<int>("dropBin");
    QTest::addColumn<int>("selected");
    QTest::newRow("empty") << 0 << 0 << -1;
    QTest::newRow("a load") << 3 << 0 << 0;
    QTest::newRow("one record dropped onto three entries") << 5 << 2 << 4;
    QTest::newRow("a drop that added nothing") << 3 << 2 << 2;
    QTest::newRow("a drop of many records") << 12 << 2 << 4;
    QTest::newRow("a drop onto one entry") << 3 << 0 << 0;
    QTest::newRow("upper bound 1, nothing added") << 2 << 1 << 1;
}

void TstPresetMenu::selection() {
    QFETCH(int, entries);
    QFETCH(int, dropBin);
    QFETCH(int, selected);
    for (int i = 0; i < entries; ++i)
        mWindow->mFirm.append(Record(QString::number(i)));
    // The earlier selection doesn't survive a rebuild.
    mWindow->MakeFirmPrisetPM();
    mWindow->PrisetPM.SetListIndex(entries - 1);

    QSignalSpy changes(&mWindow->PrisetPM, &PopupMenu::Change);
    mWindow->mDropBin = dropBin;
    mWindow->MakeFirmPrisetPM();
    QCOMPARE(mWindow->PrisetPM.ListCount(), entries);
    QCOMPARE(mWindow->PrisetPM.ListIndex(), selected);
    QCOMPARE(mWindow->mDropBin, 0);
    // Each rebuild with rows raises the handler once, so the command follows the load.
    QCOMPARE(changes.count(), entries > 0 ? 1 : 0);
}

void TstPresetMenu::speedRows() {
    EspWin* w = mWindow;
    w->mFirm = {Runnable("fast", "921600", "--baud %baud go1"),   Runnable("faster", "1500000", "--baud %baud go2"),
                Runnable("any", "", "--baud %baud go3"),          Record("-"),
                Runnable("comma", "921600,", "--baud %baud go5"), Runnable("mid", "115200", "--baud %baud go6"),
                Runnable("mid too", "115200", "--baud %baud go7")};
    w->BaudPM.SetListIndex(0);
    const int rows = w->BaudPM.ListCount();
    QSignalSpy baudChanges(&w->BaudPM, &PopupMenu::Change);

    w->MakeFirmPrisetPM();
    QCOMPARE(w->BaudPM.Text(), "921600");
    QCOMPARE(w->BaudPM.ListCount(), rows);
    QCOMPARE(w->InstallEF.Text(), "--baud 921600 go1");

    // A speed the list lacks is added, selected, and found again later.
    w->PrisetPM.SetListIndex(1);
    QCOMPARE(w->BaudPM.ListCount(), rows + 1);
    QCOMPARE(w->BaudPM.ListIndex(), rows);
    QCOMPARE(w->InstallEF.Text(), "--baud 1500000 go2");
    w->PrisetPM.SetListIndex(0);
    w->PrisetPM.SetListIndex(1);
    QCOMPARE(w->BaudPM.ListCount(), rows + 1);
    QCOMPARE(w->BaudPM.Text(), "1500000");

    // No speed of its own: the popup keeps the user's speed.
    w->PrisetPM.SetListIndex(2);
    QCOMPARE(w->BaudPM.Text(), "1500000");
    QCOMPARE(w->InstallEF.Text(), "--baud 1500000 go3");

    // A separator changes neither the speed nor the command.
    w->PrisetPM.SetListIndex(3);
    QCOMPARE(w->BaudPM.Text(), "1500000");
    QCOMPARE(w->InstallEF.Text(), "--baud 1500000 go3");

    w->PrisetPM.SetListIndex(4);
    QCOMPARE(w->BaudPM.ListCount(), rows + 2);
    QCOMPARE(w->BaudPM.Text(), "921600,");

    // The row already selected is not set again.
    w->PrisetPM.SetListIndex(5);
    const int before = int(baudChanges.count());
    w->PrisetPM.SetListIndex(6);
    QCOMPARE(int(baudChanges.count()), before);
    QCOMPARE(w->InstallEF.Text(), "--baud 115200 go7");

    // A rebuild keeps the added rows.
    w->MakeFirmPrisetPM();
    QCOMPARE(w->BaudPM.ListCount(), rows + 2);
}

void TstPresetMenu::nothingSelected() {
    EspWin* w = mWindow;
    w->InstallEF.SetText("kept");
    const int baud = w->BaudPM.ListIndex();
    w->MakeFirmPrisetPM();
    QCOMPARE(w->PrisetPM.ListIndex(), -1);

    w->mFirm = {Runnable("fast", "1500000", "go")};
    w->PrisetPM_Change();
    QCOMPARE(w->InstallEF.Text(), "kept");
    QCOMPARE(w->BaudPM.ListIndex(), baud);
}

QTEST_MAIN(TstPresetMenu)
#include "tst_presetmenu.moc"

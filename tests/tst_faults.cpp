// Faults from outside the program: files that change under a walk, images that can't be
// copied, a window closed with a session open. Each must cost only what it touches.

#include "TestSupport.h"

#include "platform/Text.h"
#include "window/EspWin.h"

#include <QDir>
#include <QTest>
#include <QTimer>

using namespace TestSupport;

namespace {

QByteArray Manifest(const QString& name) {
    return QString("[\n{\n\"name\": \"%1\",\n\"path\": \"p\",\n\"commands\": [\n\"--port %port\"\n]\n}\n]\n")
        .arg(name)
        .toUtf8();
}

} // namespace

class TstFaults : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { DisposeWindow(); }
    void manifestsChangeDuringWalk();
    void imageThatCannotBeCopied();
    void windowClosedDuringSession();
};

void TstFaults::manifestsChangeDuringWalk() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QVERIFY(QDir().mkpath(layout.Path("firmwares")));
    EspWin* w = EspWin::Instance();

    QTemporaryDir dir;
    const int count = 2000;
    for (int i = 0; i < count; ++i)
        QVERIFY(WriteFile(dir.filePath(QString("m%1.json").arg(i, 5, 10, QChar('0'))), Manifest(QString::number(i))));
    // Once the walk lets events run, the manifests it has not reached yet are deleted,
    // replaced by folders, by dangling links, or rewritten.
    const int round = 0;
    QTimer meddler;
    meddler.setSingleShot(true);
    connect(&meddler, &QTimer::timeout, this, [&] {
        for (int i = count / 2; i < count; ++i) {
            const QString path = dir.filePath(QString("m%1.json").arg(i, 5, 10, QChar('0')));
            switch ((i + round) % 4) {
            case 0:
                QFile::remove(path);
                break;
            case 1:
                QFile::remove(path);
                QDir().mkpath(path);
                break;
            case 2:
                QDir(path).removeRecursively();
                QFile::remove(path);
                QFile::link(path + ".gone", path);
                break;
            case 3:
                QDir(path).removeRecursively();
                QFile::remove(path);
                WriteFile(path, "{\n\"name\": \"x\"");
                break;
            }
        }
    });
    meddler.start(0);
    w->LoadFirmJsonFolder(FolderItem(dir.path()), false);
    meddler.stop();
    w->MakeFirmPrisetPM();

    // What was read before the change stays; nothing of what changed becomes a record.
    QVERIFY(w->mFirm.size() > 0);
    QVERIFY(w->mFirm.size() <= 2 * count);
    for (const FirmRef& r : w->mFirm)
        QVERIFY(r && (r->mName == "-" || Val(r->mName) < count));
    QCOMPARE(w->PrisetPM.ListCount(), int(w->mFirm.size()));
}

void TstFaults::imageThatCannotBeCopied() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QVERIFY(QDir().mkpath(layout.Path("firmwares")));
    QVERIFY(WriteFile(layout.Path("tools/bin/boot_app0.bin"), "boot"));
    EspWin* w = EspWin::Instance();

    QTemporaryDir dir;
    QVERIFY(WriteFile(dir.filePath("app.bin"), "image"));
    // The package folder's name is taken by a regular file: no folder, no copies.
    QVERIFY(WriteFile(layout.Path("firmwares/app"), "in the way"));
    w->DoDropFile(FolderItem(dir.filePath("app.bin")));
    QCOMPARE(ReadFile(layout.Path("firmwares/app")), QByteArray("in the way"));
    QVERIFY(QFile::exists(dir.filePath("app.bin")));
    // The manifest is written all the same; its record points at images that aren't there.
    QVERIFY(QFile::exists(layout.Path("firmwares/app.json")));
    QCOMPARE(w->mFirm.size(), 1);
    QVERIFY(w->mFirm.at(0)->mName.startsWith("app Ver"));
    QCOMPARE(w->PrisetPM.ListIndex(), 0);

    // And an image that is gone before it is taken gives no package at all.
    w->DoDropFile(FolderItem(dir.filePath("gone.bin")));
    QVERIFY(!QFile::exists(layout.Path("firmwares/gone.json")));
    QCOMPARE(w->mFirm.size(), 1);
}

void TstFaults::windowClosedDuringSession() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QVERIFY(QDir().mkpath(layout.Path("firmwares")));
    Pty pty;
    QVERIFY(pty.Open());
    seams.ports = {pty.Port()};
    EspWin* w = EspWin::Instance();
    w->Show();
    w->ConnectPB.Push();
    QVERIFY(w->mConnected);
    pty.Send("boot banner\r\n");
    QTRY_VERIFY_WITH_TIMEOUT(w->rEF.Text().contains("boot banner"), 10000);

    w->Close();
    QVERIFY(!EspWin::Existing());
    // The board keeps talking to a window that is gone.
    pty.Send(QByteArray(1024, 'x'));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QTest::qWait(50);
    // The port is free again: a new window can take it.
    EspWin* again = EspWin::Instance();
    again->ConnectPB.Push();
    QVERIFY(again->mConnected);
    QCOMPARE(seams.beeps, 0);
}

QTEST_MAIN(TstFaults)
#include "tst_faults.moc"

#include "CatalogueSupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <unistd.h>

using namespace TestSupport;
using namespace CatalogueSupport;

namespace {

const QString kQuestion = "Please select the \"firmwares\" including in this archive...";

void Link(const QString& target, const QString& link) {
    QVERIFY(QFile::link(target, link));
}

// The manifest a package is given, written out here line by line.
QString PackageManifest(const QString& name, const QString& version, const QString& path, const QString& file) {
    const QString tmpl = "[\n"
                         "    {\n"
                         "        \"name\": \"<--ReplaceName-->\",\n"
                         "        \"version\": \"<--ReplaceVersion-->\",\n"
                         "        \"path\": \"<--ReplacePath-->\",\n"
                         "        \"commands\": [\n"
                         "\t\t\t\"--chip esp32 --port %port --baud %baud --before default_reset --after hard_reset "
                         "write_flash -z --flash_mode dio --flash_freq 80m --flash_size detect 0xe000 "
                         "%PATH\\\\boot_app0.bin 0x1000 %PATH\\\\bootloader_qio_80m.bin 0x10000 "
                         "%PATH\\\\<--ReplaceFileName--> 0x8000 %PATH\\\\partitions.bin\"\n"
                         "        ]\n"
                         "    }\n"
                         "]\n";
    if (tmpl.size() != 451)
        return "template of " + QString::number(tmpl.size()) + " characters";
    QString out = tmpl;
    return out.replace("<--ReplaceName-->", name)
        .replace("<--ReplaceVersion-->", version)
        .replace("<--ReplacePath-->", path)
        .replace("<--ReplaceFileName-->", file);
}

// Every field of every record, for comparing two loads of the same files.
QStringList DescribeAll(const QVector<FirmRef>& firm) {
    QStringList out;
    for (const FirmRef& r : firm)
        out << (r ? QStringList{r->mName, r->mVersion, r->mPath, r->mCommand.join("]["), r->mFirmFolder.CanonicalPath(),
                                QString::number(r->mType), r->mBaud, r->mDevice, r->mFramework, r->mDescription,
                                r->mKeywords, r->mAuthor, r->mRepository}
                        .join('|')
                  : QString("null"));
    return out;
}

QStringList Listing(const QString& folder) {
    return QDir(folder).entryList(QDir::Files | QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

class TstScan : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { DisposeWindow(); }
    void checkJsonType_data();
    void checkJsonType();
    void fileNames_data();
    void fileNames();
    void startupWalk();
    void badInput_data();
    void badInput();
    void permissionDenied();
    void linkLoop();
    void sameFolderTwice();
    void missingFolder();
    void package();
    void packageEdges();
    void demoCatalogue();
    void handlersDuringLongLoops();
    void closeDuringWalk();
    void readOnce_data();
    void readOnce();
    void oversizedManifests();
    void folderChangedWhileEventsRun();
};

void TstScan::checkJsonType_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("type");

    const QString type1 = "\"description\": \"d\",\n\"repository\": \"r\",\n\"firmware_category\": \"c\",";
    QTest::newRow("commands") << "{\n\"commands\": [\n]" << 0;
    QTest::newRow("commands, letter case ignored") << "\"COMMANDS\": " << 0;
    QTest::newRow("commands without the blank") << "\"commands\":[" << -1;
    QTest::newRow("commands with a blank before the colon") << "\"commands\" : [" << -1;
    QTest::newRow("commands without its quotes") << "commands: [" << -1;
    QTest::newRow("a key ending in commands") << "\"subcommands\": [" << -1;
    QTest::newRow("commands behind other keys on its line") << "{\"a\": 1, \"Commands\": [" << 0;
    QTest::newRow("the three keys of type 1") << type1 << 1;
    QTest::newRow("type 1 keys in upper case") << type1.toUpper() << 1;
    QTest::newRow("two of the three keys") << "\"description\": \"d\", \"repository\": \"r\"" << -1;
    QTest::newRow("a type 1 key without the blank")
        << QString(type1).replace("\"repository\": ", "\"repository\":") << -1;
    QTest::newRow("both sets: type 0 wins") << type1 + "\n\"commands\": [" << 0;
    QTest::newRow("nothing") << "" << -1;
}

void TstScan::checkJsonType() {
    QFETCH(QString, text);
    QFETCH(int, type);
    AppFolderLayout layout;
    SeamRecorder seams;
    QCOMPARE(QuietWindow()->CheckJsonType(text), type);
}

void TstScan::fileNames_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("read");
    QTest::newRow(".json") << "m.json" << true;
    QTest::newRow(".JSON") << "NOTES.JSON" << true;
    QTest::newRow(".crvj") << "m.crvj" << true;
    QTest::newRow(".CrVj") << "m.CrVj" << true;
    QTest::newRow("ending inside the name") << "a.json.txt" << false;
    QTest::newRow("no dot") << "mjson" << false;
    QTest::newRow("shorter than the ending") << "json" << false;
    QTest::newRow("the ending alone is a hidden file") << ".json" << false;
    QTest::newRow("hidden manifest") << ".m.json" << false;
    QTest::newRow("other") << "m.txt" << false;
}

void TstScan::fileNames() {
    QFETCH(QString, name);
    QFETCH(bool, read);
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    EspWin* w = QuietWindow();
    QVERIFY(WriteFile(dir.filePath(name), Entry("M")));
    w->LoadFirmJsonFile(FolderItem(dir.filePath(name)), true);
    QCOMPARE(Names(w->mFirm), read ? QStringList{"M"} : QStringList{});
}

void TstScan::startupWalk() {
    AppFolderLayout layout;
    SeamRecorder seams;
    const QString root = layout.Path("firmwares");
    // Written so that its first key stops it before any record; the walk goes on.
    QVERIFY(WriteFile(root + "/0bad.json", Lines({"\"name\": \"Bad\",", "{", "\"commands\": [", "]", "}"})));
    QVERIFY(WriteFile(root + "/a.json", Entry("A")));
    QVERIFY(WriteFile(root + "/b/b1.json", Entry("B1")));
    QVERIFY(WriteFile(root + "/b/c/c.json", Entry("C")));
    QVERIFY(WriteFile(root + "/b/z.json", Entry("BZ")));
    QVERIFY(WriteFile(root + "/b2.crvj", Entry("B2")));
    QVERIFY(WriteFile(root + "/.hidden.json", Entry("Hidden")));
    QVERIFY(WriteFile(root + "/.secret/s.json", Entry("Secret")));
    QVERIFY(WriteFile(root + "/dir.json/inner.json", Entry("Inner")));
    QVERIFY(WriteFile(root + "/empty.json", ""));
    QVERIFY(WriteFile(root + "/image.bin", "not an image"));
    QVERIFY(WriteFile(root + "/neither.json", "{\n\"name\": \"Neither\",\n}\n"));
    QVERIFY(WriteFile(root + "/notes.txt", Entry("Notes")));
    Link(root + "/nowhere.json", root + "/gone.json");
    QVERIFY(WriteFile(layout.Path("tools/bin/boot_app0.bin"), "support"));

    EspWin* w = EspWin::Instance();

    QCOMPARE(Names(w->mFirm), (QStringList{"A", "B1", "-", "C", "-", "BZ", "-", "B2", "-", "Inner"}));
    QCOMPARE(w->mFirm.at(0)->mFirmFolder, FolderItem(root));
    QCOMPARE(w->mFirm.at(3)->mFirmFolder.CanonicalPath(), QDir(root + "/b/c").canonicalPath());
    QCOMPARE(w->mFirmFolderX, FolderItem(root));
    QCOMPARE(Rows(w->PrisetPM),
             (QStringList{"A ()", "B1 ()", "-", "C ()", "-", "BZ ()", "-", "B2 ()", "-", "Inner ()"}));
    QCOMPARE(w->PrisetPM.ListIndex(), 0);
    QVERIFY2(w->InstallEF.Text().contains("write_flash 0x0") && w->InstallEF.Text().contains("A.bin"),
             qPrintable(w->InstallEF.Text()));

    // A walk passes images over and leaves no trace of them, and asks nothing.
    QVERIFY(!QFile::exists(root + "/image.json"));
    QVERIFY(!QFile::exists(root + "/image"));
    QCOMPARE(w->SelectFiremTimer.Mode(), 0);
    QCOMPARE(seams.folderQuestions + seams.beeps + int(seams.messages.size()), 0);
}

void TstScan::badInput_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("names");

    const QByteArray good = Lines({"[", "{", "\"name\": \"A\",", "\"commands\": [", "\"x\"", "]", "}", "]"});
    QTest::newRow("empty file") << QByteArray() << QStringList{};
    QTest::newRow("blank lines only") << QByteArray("\n\n\r\n \t\n") << QStringList{};
    QTest::newRow("one line, cut-off list") << QByteArray("\"commands\": [") << QStringList{};
    QTest::newRow("one line of many brackets") << QByteArray("\"commands\": [[[[]]]]{{}}") << QStringList{};
    QTest::newRow("CR line ends") << QByteArray(good).replace('\n', '\r') << QStringList{"A"};
    QTest::newRow("invalid UTF-8") << QByteArray(good).replace("\"x\"", "\"\xff\xfe\xc3(\xed\xa0\x80\"")
                                   << QStringList{"A"};
    QTest::newRow("NUL bytes") << QByteArray(good).replace("[\n{", QByteArray("[\n\0\0\n{\n\"x\0y\": \"\0\",", 18))
                               << QStringList{"A"};
    QTest::newRow("10 MB single line") << "\"commands\": " + QByteArray(10 << 20, 'x') << QStringList{};
    QTest::newRow("10 MB command") << QByteArray(good).replace("\"x\"", "\"" + QByteArray(10 << 20, 'x') + "\"")
                                   << QStringList{"A"};
    QByteArray many = "\"a\"";
    for (int i = 0; i < 200000; ++i)
        many += ",\"a\"";
    QTest::newRow("200,000 commands on one line") << QByteArray(good).replace("\"x\"", many) << QStringList{"A"};
}

void TstScan::badInput() {
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, names);
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    EspWin* w = QuietWindow();

    QVERIFY(WriteFile(dir.filePath("bad.json"), bytes));
    w->LoadFirmJsonFile(FolderItem(dir.filePath("bad.json")), true);
    QCOMPARE(Names(w->mFirm), names);

    // A folder named like a manifest is no manifest when given singly.
    QDir().mkpath(dir.filePath("folder.json"));
    w->LoadFirmJsonFile(FolderItem(dir.filePath("folder.json")), true);
    QCOMPARE(Names(w->mFirm), names);
}

void TstScan::permissionDenied() {
    if (geteuid() == 0)
        QSKIP("every file is readable to root");
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    EspWin* w = QuietWindow();
    const QString path = dir.filePath("locked.json");
    QVERIFY(WriteFile(path, Entry("Locked")));
    QVERIFY(QFile::setPermissions(path, QFileDevice::Permissions()));
    QVERIFY(WriteFile(dir.filePath("open.json"), Entry("Open")));
    w->LoadFirmJsonFolder(FolderItem(dir.path()), false);
    QCOMPARE(Names(w->mFirm), QStringList{"Open"});
}

void TstScan::linkLoop() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    EspWin* w = QuietWindow();
    const QString root = dir.filePath("tree");
    QVERIFY(WriteFile(root + "/loop/a.json", Entry("A")));
    QVERIFY(WriteFile(root + "/sibling/s.json", Entry("S")));
    QDir().mkpath(root + "/loop/deep");
    Link(root, root + "/loop/up");
    Link(root + "/loop", root + "/loop/self");
    Link(root + "/loop", root + "/loop/deep/back");
    Link(root + "/sibling", root + "/loop/sib");

    // Links back up the path are not followed; a link across to a sibling is.
    w->LoadFirmJsonFolder(FolderItem(root), false);
    QCOMPARE(Names(w->mFirm), (QStringList{"A", "S", "-", "S"}));

    // Nothing of the first walk's path is left behind to cut the next one short.
    w->LoadFirmJsonFolder(FolderItem(root), false);
    QCOMPARE(Names(w->mFirm), (QStringList{"A", "S", "-", "S", "-", "A", "-", "S", "-", "S"}));
}

void TstScan::sameFolderTwice() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    EspWin* w = QuietWindow();
    QVERIFY(WriteFile(dir.filePath("chosen/a.json"), Entry("A")));
    QVERIFY(WriteFile(dir.filePath("chosen/b.json"), Entry("B")));
    seams.folderAnswer = FolderItem(dir.filePath("chosen"));

    w->firmfolderBtn.Push();
    QCOMPARE(Names(w->mFirm), (QStringList{"A", "B"}));
    w->PrisetPM.SetListIndex(1);
    w->firmfolderBtn.Push();
    QCOMPARE(Names(w->mFirm), (QStringList{"A", "B", "-", "A", "-", "B"}));
    QCOMPARE(w->PrisetPM.ListCount(), 6);
    QCOMPARE(w->PrisetPM.ListIndex(), 0);
    QCOMPARE(w->mFirmFolderX, seams.folderAnswer);

    // Cancelling changes nothing.
    seams.folderAnswer = FolderItem();
    w->firmfolderBtn.Push();
    QCOMPARE(seams.folderQuestions, 3);
    QCOMPARE(w->mFirm.size(), 6);
    QCOMPARE(w->mFirmFolderX, FolderItem(dir.filePath("chosen")));
}

void TstScan::missingFolder() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    QVERIFY(WriteFile(dir.filePath("elsewhere/a.json"), Entry("A")));
    QStringList steps;
    Seams::SetBeep([&] { steps << "beep"; });
    Seams::SetMsgBox([&](const QString& text) { steps << text; });
    Seams::SetSelectFolder([&] {
        steps << "choose";
        return FolderItem();
    });

    // Cancelled: nothing loaded, nothing said besides the question.
    EspWin* w = EspWin::Instance();
    QCOMPARE(w->SelectFiremTimer.Mode(), 1);
    QVERIFY(w->mFirmFolderX.IsNil());
    QVERIFY(steps.isEmpty());
    QTRY_COMPARE(steps, (QStringList{"beep", kQuestion, "choose"}));
    QCOMPARE(w->SelectFiremTimer.Mode(), 0);
    QCOMPARE(w->PrisetPM.ListCount(), 0);
    QVERIFY(w->mFirmFolderX.IsNil());
    DisposeWindow();

    // Answered: the chosen folder is loaded and becomes the firmware folder.
    steps.clear();
    Seams::SetSelectFolder([&] {
        steps << "choose";
        return FolderItem(dir.filePath("elsewhere"));
    });
    w = EspWin::Instance();
    QTRY_COMPARE(steps, (QStringList{"beep", kQuestion, "choose"}));
    QCOMPARE(Names(w->mFirm), QStringList{"A"});
    QCOMPARE(w->PrisetPM.ListIndex(), 0);
    QCOMPARE(w->mFirmFolderX, FolderItem(dir.filePath("elsewhere")));
}

void TstScan::package() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    for (const char* name : {"boot_app0.bin", "bootloader_qio_80m.bin", "partitions.bin", ".hidden.bin", "notes.txt"})
        QVERIFY(WriteFile(layout.Path("tools/bin/") + name, name));
    QDir().mkpath(layout.Path("tools/bin/folder"));
    EspWin* w = QuietWindow();
    const QString firmwares = layout.Path("firmwares");

    const QString image = dir.filePath("sample.bin");
    QVERIFY(WriteFile(image, "image bytes"));
    {
        QFile f(image);
        QVERIFY(f.open(QIODevice::ReadWrite));
        QVERIFY(f.setFileTime(QDateTime(QDate(2021, 3, 5), QTime(14, 7, 9)), QFileDevice::FileModificationTime));
    }

    w->LoadFirmJsonFile(FolderItem(image), true);

    const QString manifest = PackageManifest("sample Ver210305_140709", "Ver210305_140709", "sample", "sample.bin");
    QCOMPARE(QString::fromUtf8(ReadFile(firmwares + "/sample.json")), manifest);
    QCOMPARE(Listing(firmwares), (QStringList{"sample", "sample.json"}));
    QCOMPARE(Listing(firmwares + "/sample"),
             (QStringList{"boot_app0.bin", "bootloader_qio_80m.bin", "partitions.bin", "sample.bin"}));
    QCOMPARE(ReadFile(firmwares + "/sample/sample.bin"), QByteArray("image bytes"));
    QCOMPARE(ReadFile(firmwares + "/sample/partitions.bin"), QByteArray("partitions.bin"));
    QVERIFY(QFile::exists(image));

    const QString command = " --chip esp32 --port %port --baud %baud --before default_reset --after hard_reset "
                            "write_flash -z --flash_mode dio --flash_freq 80m --flash_size detect "
                            "0xe000 %PATH\\\\boot_app0.bin 0x1000 %PATH\\\\bootloader_qio_80m.bin "
                            "0x10000 %PATH\\\\sample.bin 0x8000 %PATH\\\\partitions.bin ";
    const QString record = "sample Ver210305_140709|Ver210305_140709|sample|[" + command + "]|F";
    QCOMPARE(Describe(w->mFirm, FolderItem(firmwares)), QStringList{record});
    QCOMPARE(w->mFirm.at(0)->mType, 0);

    // Given again: the manifest is replaced and the record comes a second time.
    QVERIFY(WriteFile(dir.filePath("sample.bin"), "newer image"));
    w->LoadFirmJsonFile(FolderItem(image), true);
    QCOMPARE(w->mFirm.size(), 2);
    QVERIFY(w->mFirm.at(0) != w->mFirm.at(1));
    QCOMPARE(ReadFile(firmwares + "/sample/sample.bin"), QByteArray("newer image"));
    QCOMPARE(Listing(firmwares), (QStringList{"sample", "sample.json"}));
    w->MakeFirmPrisetPM();
    QCOMPARE(w->PrisetPM.List(0), "sample Ver210305_140709 (Ver210305_140709)");
}

void TstScan::packageEdges() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    QVERIFY(WriteFile(dir.filePath("Photo.BIN"), "photo"));
    QVERIFY(WriteFile(dir.filePath(".hidden.bin"), "hidden"));

    // No firmware folder found or chosen: nothing is made and nothing loaded.
    EspWin* w = EspWin::Instance();
    QVERIFY(w->mFirmFolderX.IsNil());
    w->LoadFirmJsonFile(FolderItem(dir.filePath("Photo.BIN")), true);
    QVERIFY(w->mFirm.isEmpty());
    QCOMPARE(Listing(dir.path()), (QStringList{".hidden.bin", "Photo.BIN"}));
    DisposeWindow();

    // Without tools/bin the package holds the image alone; the ending's case doesn't matter.
    w = QuietWindow();
    const QString firmwares = layout.Path("firmwares");
    w->LoadFirmJsonFile(FolderItem(dir.filePath("Photo.BIN")), true);
    QCOMPARE(Listing(firmwares), (QStringList{"Photo", "Photo.json"}));
    QCOMPARE(Listing(firmwares + "/Photo"), QStringList{"Photo.BIN"});
    QCOMPARE(Names(w->mFirm).size(), 1);
    QCOMPARE(w->mFirm.at(0)->mPath, "Photo");

    // An invisible image given singly is passed over.
    w->LoadFirmJsonFile(FolderItem(dir.filePath(".hidden.bin")), true);
    QCOMPARE(w->mFirm.size(), 1);

    // The image given again from inside its own package folder stays whole.
    w->LoadFirmJsonFile(FolderItem(firmwares + "/Photo/Photo.BIN"), true);
    QCOMPARE(ReadFile(firmwares + "/Photo/Photo.BIN"), QByteArray("photo"));
    QCOMPARE(w->mFirm.size(), 2);
}

void TstScan::demoCatalogue() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QVERIFY(QProcess::execute("cp", {"-r", CORVANE_DEMO_FIRMWARES, layout.Path("firmwares")}) == 0);
    EspWin* w = EspWin::Instance();
    QCOMPARE(Rows(w->PrisetPM), (QStringList{"Example Blink (v1.0.0)", "Example Hello (v0.1.0)", "-",
                                             "Example Multi Script (v1.0.0)", "Example Multi Generated (v1.0.0)"}));
    QCOMPARE(w->PrisetPM.ListIndex(), 0);
    QVERIFY2(w->InstallEF.Text().contains("verify_flash"), qPrintable(w->InstallEF.Text()));

    // Every image a type 0 demo command names is there, and none of them writes to the board.
    int images = 0;
    for (const FirmRef& r : w->mFirm) {
        if (r->mType != 0 || r->mName == "-")
            continue;
        const QString folder = r->mFirmFolder.NativePath() + "/" + r->mPath + "/";
        for (const QString& command : r->mCommand) {
            QVERIFY(!command.contains("write_flash") && !command.contains("erase"));
            for (QString word : command.split(' ', Qt::SkipEmptyParts))
                if (word.startsWith("%PATH\\\\")) {
                    QVERIFY2(QFile::exists(folder + word.mid(7)), qPrintable(word));
                    ++images;
                }
        }
    }
    QCOMPARE(images, 6);
}

void TstScan::handlersDuringLongLoops() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    EspWin* w = QuietWindow();
    const QString root = dir.filePath("big");
    const int folders = 30, files = 100;
    for (int f = 0; f < folders; ++f)
        for (int i = 0; i < files; ++i)
            QVERIFY(WriteFile(QString("%1/d%2/m%3.json").arg(root).arg(f, 2, 10, QChar('0')).arg(i, 3, 10, QChar('0')),
                              Entry("E")));
    seams.folderAnswer = FolderItem(root);

    // Whatever a handler does meanwhile, rows never point past the records.
    int runs = 0, mismatches = 0;
    bool pushed = false;
    QTimer meddler;
    meddler.setInterval(0);
    connect(&meddler, &QTimer::timeout, w, [&] {
        ++runs;
        if (w->PrisetPM.ListCount() > w->mFirm.size())
            ++mismatches;
        if (!pushed) {
            pushed = true;
            w->firmfolderBtn.Push(); // a second walk of the same tree, inside the first
        } else if (runs % 2)
            w->MakeFirmPrisetPM();
        else
            w->PrisetPM.SetListIndex(w->PrisetPM.ListCount() - 1);
    });
    meddler.start();
    w->LoadFirmJsonFolder(FolderItem(root), false);
    meddler.stop();

    QVERIFY(runs > 0);
    QCOMPARE(mismatches, 0);
    // The walk inside the walk found the whole tree too, although its folders were on the outer path.
    QCOMPARE(Names(w->mFirm).count("E"), 2 * folders * files);

    // The menu's own loop, with the same meddling.
    for (int i = 0; i < 20000; ++i)
        w->mFirm.append(Record("R", "1"));
    runs = 0;
    meddler.start();
    w->MakeFirmPrisetPM();
    for (int i = 0; runs < 3 && i < 1000; ++i)
        w->MakeFirmPrisetPM();
    meddler.stop();
    w->MakeFirmPrisetPM();
    QVERIFY(runs >= 3);
    QCOMPARE(mismatches, 0);
    QCOMPARE(w->PrisetPM.ListCount(), w->mFirm.size());
    QCOMPARE(w->PrisetPM.List(w->PrisetPM.ListCount() - 1), "R (v1)");
}

void TstScan::closeDuringWalk() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    EspWin* w = QuietWindow();
    const QString root = dir.filePath("big");
    for (int i = 0; i < 3000; ++i)
        QVERIFY(WriteFile(QString("%1/d%2/m%3.json").arg(root).arg(i / 100).arg(i), Entry("E")));

    QTimer closer;
    closer.setSingleShot(true);
    connect(&closer, &QTimer::timeout, w, [w] { w->Close(); });
    closer.start(0);
    w->LoadFirmJsonFolder(FolderItem(root), false);

    // The walk stopped early; the window is gone once the event loop gets to it.
    QVERIFY(w->IsClosed());
    QVERIFY(w->mFirm.size() < 2 * 3000 - 1);
    QPointer<EspWin> watched(w);
    QTRY_VERIFY(watched.isNull());
}

void TstScan::readOnce_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("records"); // three before it, then the separator and what the file gives

    const QByteArray type0 =
        Lines({"[", "    {", "        \"name\": \"Sample\",", "        \"version\": \"1.2.0\",",
               "        \"path\": \"sample\",", "        \"commands\": [",
               "            \"--port %port --baud %baud erase_flash\",",
               "            \"--port %port write_flash 0x1000 %PATH\\\\app.bin\"", "        ]", "    },", "    {",
               "        \"name\": \"Other\",", "        \"path\": \"other\",", "        \"commands\": [",
               "            \"--port %port\"", "        ]", "    }", "]"});
    const QByteArray type1 = Lines({"{",
                                    "\"name\": \"Sample\",",
                                    "\"description\": \"Demo\",",
                                    "\"keywords\": \"k\",",
                                    "\"author\": \"a\",",
                                    "\"repository\": \"r\",",
                                    "\"version\": \"1.2.0\",",
                                    "\"firmware_category\": [",
                                    "{",
                                    "\"Minimal\": {",
                                    "\"path\": \"minimal\",",
                                    "\"device\": [",
                                    "\"Board1\"",
                                    "],",
                                    "\"default_baud\": 921600",
                                    "}",
                                    "},",
                                    "{",
                                    "\"Full\": {",
                                    "\"path\": \"full\",",
                                    "\"default_baud\": 115200",
                                    "}",
                                    "}",
                                    "],",
                                    "\"framework\": \"Arduino\"",
                                    "}"});
    QTest::newRow("type 0 worked example") << type0 << 6;
    QTest::newRow("type 0, CRLF") << QByteArray(type0).replace("\n", "\r\n") << 6;
    QTest::newRow("type 0, CR") << QByteArray(type0).replace('\n', '\r') << 6;
    QTest::newRow("type 1 worked example") << type1 << 6;
    QTest::newRow("type 1, CR") << QByteArray(type1).replace('\n', '\r') << 6;
    QTest::newRow("type 1 on one line") << QByteArray(type1).replace('\n', ' ') << 4;
    QTest::newRow("invalid UTF-8") << QByteArray(type0).replace("Sample", "S\xff\xfe\xc3(\xed\xa0\x80") << 6;
    QTest::newRow("NUL bytes") << QByteArray(type1).replace("Demo", QByteArray("D\0\0o", 4)) << 6;
    QTest::newRow("byte order mark") << "\xef\xbb\xbf" + type0 << 6;
    QTest::newRow("10 MB line") << QByteArray(type0).replace("erase_flash", QByteArray(10 << 20, 'x')) << 6;
    QTest::newRow("list cut off") << type0.left(type0.indexOf("erase_flash")) << 4;
    QTest::newRow("key before any opener") << "\"name\": \"Bad\",\n" + type0 << 6;
    QTest::newRow("neither type") << QByteArray("{\n\"name\": \"x\"\n}\n") << 3;
    QTest::newRow("blank lines") << QByteArray("\n\r\n \t\n") << 3;
    QTest::newRow("empty") << QByteArray() << 3;
}

// The walk reads a manifest's bytes once and hands that text to its reader; what it loads is
// what typing the text and then letting the reader open the file gives, to the last field.
void TstScan::readOnce() {
    QFETCH(QByteArray, bytes);
    QFETCH(int, records);
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    EspWin* w = QuietWindow();
    const FolderItem file(dir.filePath("m.json"));
    QVERIFY(WriteFile(file.NativePath(), bytes));
    QVERIFY(WriteFile(dir.filePath("minimal/flash.sh"), "esptool.py --chip esp32 --port /dev/${port} \\\n"
                                                        "0x1000 boot.bin\n\n"));
    QVERIFY(WriteFile(dir.filePath("full/app_0x10000.bin"), "app"));
    const QVector<FirmRef> before = {Record("pre"), Record("pre2"), Record("pre3")};

    // Typed from one read, then read again by the reader that opens the file itself.
    w->mFirm = before;
    {
        const auto in = TextInputStream::Open(file);
        QVERIFY(in);
        const QString text = in->ReadAll();
        if (!text.isEmpty()) {
            const int type = w->CheckJsonType(text);
            if (type == 0)
                w->LoadFirmJsonType0(file);
            else if (type == 1)
                w->LoadFirmJsonType1(file);
        }
    }
    const QStringList twice = DescribeAll(w->mFirm);
    QCOMPARE(int(twice.size()), records);

    w->mFirm = before;
    w->LoadFirmJsonFolder(FolderItem(dir.path()), false);
    QCOMPARE(DescribeAll(w->mFirm), twice);

    w->mFirm = before;
    w->LoadFirmJsonFile(file, false);
    QCOMPARE(DescribeAll(w->mFirm), twice);
    // A script made for the walk is gone again.
    QVERIFY(!QFile::exists(dir.filePath("full/flash.sh")));
}

void TstScan::oversizedManifests() {
    AppFolderLayout layout;
    SeamRecorder seams;
    const QString root = layout.Path("firmwares");
    QVERIFY(WriteFile(root + "/a.json", Entry("A")));
    QVERIFY(WriteFile(root + "/z.json", Entry("Z")));
    // One byte past the cap, a manifest by its first line; and one that never ends.
    QVERIFY(WriteFile(root + "/big.json", "[\n{\n\"name\": \"Big\",\n\"commands\": [\n]\n},\n"));
    {
        QFile big(root + "/big.json");
        QVERIFY(big.open(QIODevice::ReadWrite));
        QVERIFY(big.resize(kMaxManifestBytes + 1));
    }
    Link("/proc/self/pagemap", root + "/pagemap.json");

    EspWin* w = EspWin::Instance();
    QCOMPARE(Names(w->mFirm), (QStringList{"A", "Z"}));
    QCOMPARE(w->PrisetPM.ListIndex(), 0);
}

// The folder being walked changes while other events run: the walk sees what came and what went.
void TstScan::folderChangedWhileEventsRun() {
    AppFolderLayout layout;
    SeamRecorder seams;
    QTemporaryDir dir;
    EspWin* w = QuietWindow();
    const QString root = dir.filePath("tree");
    for (int i = 0; i < 3000; ++i)
        QVERIFY(WriteFile(QString("%1/m%2.json").arg(root).arg(i, 4, 10, QChar('0')), Entry("E")));
    QTimer meddler;
    meddler.setSingleShot(true);
    connect(&meddler, &QTimer::timeout, w, [&] {
        QVERIFY(WriteFile(root + "/z.json", Entry("Late")));
        QVERIFY(QFile::remove(root + "/m2999.json"));
    });
    meddler.start(0);
    w->LoadFirmJsonFolder(FolderItem(root), false);
    QVERIFY(!meddler.isActive());
    const QStringList names = Names(w->mFirm);
    QCOMPARE(names.count("Late"), 1);
    QCOMPARE(names.last(), "Late");
    QVERIFY(names.count("E") < 3000);
}

QTEST_MAIN(TstScan)
#include "tst_scan.moc"

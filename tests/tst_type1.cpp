#include "CatalogueSupport.h"
#include "Type1Support.h"

#include "platform/SerialPorts.h"
#include "platform/Text.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;
using namespace CatalogueSupport;
using namespace Type1Support;

namespace {

// name|version|path|type|baud|device|framework|description|keywords|author|repository|[command]...|F
QStringList Describe1(const QVector<FirmRef>& firm, const FolderItem& folder) {
    QStringList out;
    for (const FirmRef& r : firm) {
        QString commands;
        for (const QString& c : r->mCommand)
            commands += "[" + c + "]";
        const QString where = r->mFirmFolder.IsNil()     ? ""
                              : r->mFirmFolder == folder ? "F"
                                                         : r->mFirmFolder.NativePath();
        out << QStringList{r->mName,     r->mVersion, r->mPath,       QString::number(r->mType),
                           r->mBaud,     r->mDevice,  r->mFramework,  r->mDescription,
                           r->mKeywords, r->mAuthor,  r->mRepository, commands,
                           where}
                   .join('|');
    }
    return out;
}

// The complete manifest of the reader's worked example, trimmed lines indented as written.
const QStringList kComplete = {
    "{",
    "    \"name\": \"Sample\",",
    "    \"description\": \"Demo firmware\",",
    "    \"keywords\": \"demo, test\",",
    "    \"author\": \"Someone\",",
    "    \"repository\": \"somewhere\",",
    "    \"version\": \"1.2.0\",",
    "    \"firmware_category\": [",
    "        {",
    "            \"Minimal\": {",
    "                \"path\": \"minimal\",",
    "                \"device\": [",
    "                    \"Board1\"",
    "                ],",
    "                \"default_baud\": 921600",
    "            }",
    "        },",
    "        {",
    "            \"Full\": {",
    "                \"path\": \"full\",",
    "                \"device\": [",
    "                    \"Board1\"",
    "                ],",
    "                \"default_baud\": 115200",
    "            }",
    "        }",
    "    ],",
    "    \"framework\": \"Arduino\"",
    "}",
};

const QStringList kGivenScript = {
    "#!/bin/bash",
    "esptool.py --chip esp32 --port /dev/${port} --baud 921600 --before default_reset --after no_reset write_flash -z "
    "\\",
    "--flash_mode dio --flash_freq 80m --flash_size detect \\",
    "0x1000 boot_0x1000.bin \\",
    "0x10000 app_0x10000.bin",
    "",
};

const QString kGivenCommand =
    " --chip esp32 --port %port --baud %baud --before default_reset --after no_reset write_flash -z  --flash_mode dio "
    "--flash_freq 80m --flash_size detect  0x1000 %PATH\\\\boot_0x1000.bin 0x10000 %PATH\\\\app_0x10000.bin ";

// The generated script lists app before boot: the folder's order is by name.
const QString kGeneratedCommand =
    " --chip esp32 --port %port --baud %baud --before default_reset --after no_reset write_flash -z  --flash_mode dio "
    "--flash_freq 80m --flash_size detect   0x10000 %PATH\\\\app_0x10000.bin 0x1000 %PATH\\\\boot_0x1000.bin ";

} // namespace

class TstType1 : public QObject {
    Q_OBJECT
private slots:
    void init() { mWindow = QuietWindow(); }
    void cleanup() { DisposeWindow(); }
    void completeManifest_data();
    void completeManifest();
    void reader_data();
    void reader();
    void routing();
    void startUpToCommand();
    void demoCatalogue();

private:
    AppFolderLayout mLayout;
    SeamRecorder mSeams;
    EspWin* mWindow = nullptr;
};

void TstType1::completeManifest_data() {
    QTest::addColumn<QByteArray>("lineEnd");
    QTest::newRow("LF") << QByteArray("\n");
    QTest::newRow("CRLF") << QByteArray("\r\n");
    QTest::newRow("CR") << QByteArray("\r");
}

void TstType1::completeManifest() {
    QFETCH(QByteArray, lineEnd);

    QTemporaryDir dir;
    const QString manifest = dir.filePath("sample.json");
    QVERIFY(WriteFile(manifest, Lines(kComplete, lineEnd.constData())));
    QVERIFY(WriteFile(dir.filePath("minimal/flash.sh"), Lines(kGivenScript)));
    QVERIFY(WriteFile(dir.filePath("minimal/boot_0x1000.bin"), "boot"));
    QVERIFY(WriteFile(dir.filePath("full/boot_0x1000.bin"), "boot"));
    QVERIFY(WriteFile(dir.filePath("full/app_0x10000.bin"), "app"));

    mWindow->mFirm.clear();
    mWindow->LoadFirmJsonType1(FolderItem(manifest));

    const QString common = "|Board1|Arduino|Demo firmware|demo, test|Someone|somewhere|[";
    QCOMPARE(Describe1(mWindow->mFirm, FolderItem(dir.path())),
             (QStringList{"Sample Minimal|1.2.0|minimal|1|921600" + common + kGivenCommand + "]|F",
                          "Sample Full|1.2.0|full|1|115200" + common + kGeneratedCommand + "]|F"}));

    // The firmware's script stays as it was; the generated one is gone again.
    QCOMPARE(ReadFile(dir.filePath("minimal/flash.sh")), Lines(kGivenScript));
    QVERIFY(!QFile::exists(dir.filePath("full/flash.sh")));
    QCOMPARE(QDir(dir.filePath("full")).entryList(QDir::Files | QDir::Hidden),
             (QStringList{"app_0x10000.bin", "boot_0x1000.bin"}));
}

void TstType1::reader_data() {
    QTest::addColumn<int>("before");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QStringList>("expected");

    const QString pre = "pre|||0|||||||||";

    QTest::newRow("single variant") << 0
                                    << QStringList{"{",
                                                   "  \"name\": \"Solo\",",
                                                   "  \"description\": \"One variant\",",
                                                   "  \"repository\": \"r\",",
                                                   "  \"version\": \"2.0\",",
                                                   "  \"firmware_category\": {",
                                                   "    \"path\": \"solo\",",
                                                   "    \"device\": [",
                                                   "      \"Board2\",",
                                                   "      \"Board3\"",
                                                   "    ],",
                                                   "    \"default_baud\": 460800,",
                                                   "    \"framework\": \"ESP-IDF\",",
                                                   "  }",
                                                   "}"}
                                    << QStringList{"Solo|2.0|solo|1|460800,|Board2,|ESP-IDF,|One variant|||r||F"};

    QTest::newRow("nested objects") << 0
                                    << QStringList{"{",
                                                   "\"name\": \"N\",",
                                                   "\"firmware_category\": {",
                                                   "\"A\": {",
                                                   "\"path\": \"a\",",
                                                   "\"default_baud\": 115200",
                                                   "},",
                                                   "\"B\": {",
                                                   "\"path\": \"b\",",
                                                   "\"device\": [",
                                                   "\"Board9\"",
                                                   "],",
                                                   "\"default_baud\": 921600",
                                                   "}",
                                                   "}",
                                                   "}"}
                                    << QStringList{"N||a|1|115200||||||||F"};

    QTest::newRow("one-line device, key behind it eaten")
        << 0
        << QStringList{"{",
                       "\"name\": \"D\",",
                       "\"firmware_category\": [",
                       "{",
                       "\"V1\": {",
                       "\"device\": [\"Board1\"],",
                       "\"default_baud\": 921600",
                       "}",
                       "},",
                       "{",
                       "\"V2\": {",
                       "\"default_baud\": 921600",
                       "}",
                       "}",
                       "]",
                       "}"}
        << QStringList{"D V1|||1||default_baud: 921600|||||||F", "D V2|||1|921600||||||||F"};

    QTest::newRow("one-line device, closer eaten: abandoned") << 0
                                                              << QStringList{"{",
                                                                             "\"name\": \"D\",",
                                                                             "\"firmware_category\": [",
                                                                             "{",
                                                                             "\"V1\": {",
                                                                             "\"default_baud\": 1,",
                                                                             "\"device\": [\"Board1\"]",
                                                                             "}",
                                                                             "},",
                                                                             "{",
                                                                             "\"V2\": {",
                                                                             "\"default_baud\": 2",
                                                                             "}",
                                                                             "}",
                                                                             "]",
                                                                             "}"}
                                                              << QStringList{"D V2|||1|2||||||||F"};

    QTest::newRow("letter case") << 0
                                 << QStringList{"{",
                                                "\"NAME\": \"Up\",",
                                                "\"Version\": \"3\",",
                                                "\"FIRMWARE_CATEGORY\": {",
                                                "\"Default_Baud\": 9600",
                                                "\"DEVICE\": [",
                                                "\"B\"",
                                                "]",
                                                "}",
                                                "\"FrameWork\": \"X\"",
                                                "}"}
                                 << QStringList{"Up|3||1|9600|B|X||||||F"};

    QTest::newRow("cuts that don't fit") << 0
                                         << QStringList{"{",
                                                        "\"name\":\"NoBlank\",",
                                                        "\"name\" : \"Spaced\",",
                                                        "\"name\": \"Kept\"",
                                                        "{",
                                                        "\"V\": {",
                                                        "\"version\": \"1\", \"x\": \"2\",",
                                                        "\"description\": \"a\",\"b\",",
                                                        "\"default_baud\": \"921600\",",
                                                        "\"path\": \"p\" ,",
                                                        "}"}
                                         << QStringList{"Kept\" V|1|p\" ,|1|\"921600|||a|||||F"};

    QTest::newRow("single-line manifest")
        << 0
        << QStringList{"{\"name\": \"x\", \"description\": \"d\", \"repository\": \"r\", \"firmware_category\": {}}"}
        << QStringList{};
    QTest::newRow("single-line manifest after two entries")
        << 2
        << QStringList{"{\"name\": \"x\", \"description\": \"d\", \"repository\": \"r\", \"firmware_category\": {}}"}
        << QStringList{pre, pre, "-|||0|||||||||"};
    QTest::newRow("no separator behind one entry")
        << 1 << QStringList{"{", "\"name\": \"S\",", "\"firmware_category\": {", "}", "}"}
        << QStringList{pre, "S|||1|||||||||F"};
    QTest::newRow("fill-in over this file only")
        << 3 << QStringList{"{", "\"name\": \"S\",",    "\"firmware_category\": {",
                            "}", "\"version\": \"7\",", "\"framework\": \"Arduino\"",
                            "}"}
        << QStringList{pre, pre, pre, "-|||0|||||||||", "S|7||1|||Arduino||||||F"};

    QTest::newRow("first line dropped, variant name line eaten")
        << 0 << QStringList{"[", "{", "\"name\": \"Lost\",", "\"default_baud\": 5", "}", "]"}
        << QStringList{" name|||1|5||||||||F"};

    QTest::newRow("abandoned and unclosed records") << 0
                                                    << QStringList{"{",
                                                                   "\"name\": \"E\",",
                                                                   "\"version\": \"1\",",
                                                                   "\"firmware_category\": [",
                                                                   "{",
                                                                   "\"Gone\": {",
                                                                   "\"default_baud\": 1",
                                                                   "{",
                                                                   "\"Closed\": {",
                                                                   "\"path\": \"c\"",
                                                                   "},",
                                                                   "{",
                                                                   "\"Open\": {",
                                                                   "\"default_baud\": 3,"}
                                                    << QStringList{"E Closed|1|c\"|1|||||||||F"};

    QTest::newRow("carried values and the fill-in pass")
        << 0
        << QStringList{"{",
                       "\"name\": \"F\",",
                       "\"firmware_category\": [",
                       "{",
                       "\"A\": {",
                       "\"default_baud\": 1",
                       "}",
                       "},",
                       "\"version\": \"2.0\",",
                       "{",
                       "\"B\": {",
                       "\"version\": \"3.0\",",
                       "\"name\": \"Renamed\",",
                       "\"default_baud\": 2",
                       "}",
                       "},",
                       "{",
                       "\"C\": {",
                       "}",
                       "}",
                       "],",
                       "\"framework\": \"Arduino\",",
                       "\"version\": \"9.9\"",
                       "}"}
        << QStringList{"F A|9.9\"||1|1||Arduino,||||||F", "Renamed|3.0||1|2||Arduino,||||||F",
                       "Renamed C|3.0||1|||Arduino,||||||F"};

    QTest::newRow("keys with no record open are lost") << 0 << QStringList{"{",
                                                                           "\"path\": \"p\",",
                                                                           "\"default_baud\": 1,",
                                                                           "\"device\": [",
                                                                           "\"B\"",
                                                                           "],",
                                                                           "\"firmware_category\": {",
                                                                           "}",
                                                                           "\"path\": \"q\",",
                                                                           "\"device\": [",
                                                                           "\"C\"",
                                                                           "]",
                                                                           "}"}
                                                       << QStringList{"|||1|||||||||F"};

    QTest::newRow("empty carried name") << 0 << QStringList{"{", "\"firmware_category\": [",
                                                            "{", "\"Only\": {",
                                                            "}", "}",
                                                            "]", "}"}
                                        << QStringList{" Only|||1|||||||||F"};
}

void TstType1::reader() {
    QFETCH(int, before);
    QFETCH(QStringList, lines);
    QFETCH(QStringList, expected);

    QTemporaryDir dir;
    const QString path = dir.filePath("manifest.json");
    QVERIFY(WriteFile(path, Lines(lines)));
    mWindow->mFirm.clear();
    for (int i = 0; i < before; ++i)
        mWindow->mFirm.append(Record("pre"));

    const Watchdog watchdog;
    mWindow->LoadFirmJsonType1(FolderItem(path));
    QVERIFY(!watchdog.Fired());
    QCOMPARE(Describe1(mWindow->mFirm, FolderItem(dir.path())), expected);
    // Nothing was written beside the manifest.
    QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{"manifest.json"});
}

void TstType1::routing() {
    QTemporaryDir dir;
    QVERIFY(WriteFile(dir.filePath("v/flash.sh"), Lines(kGivenScript)));
    const auto manifest = [](const QString& category, const QString& extra) {
        return Lines({"{", "\"name\": \"R\",", "\"description\": \"d\",", "\"repository\": \"r\",", extra, category,
                      "\"path\": \"v\",", "}", "}"});
    };
    const QString good = "\"firmware_category\": {";
    QVERIFY(WriteFile(dir.filePath("a.crvj"), manifest(good, "")));
    QVERIFY(WriteFile(dir.filePath("b.json"), manifest("\"firmware_category\":{", "")));
    QVERIFY(WriteFile(dir.filePath("c.JSON"), manifest(good, "\"commands\": [")));
    QVERIFY(WriteFile(dir.filePath("d.json"), manifest(good, "").replace("\"repository\": ", "\"repository\":")));

    mWindow->mFirm.clear();
    mWindow->LoadFirmJsonFile(FolderItem(dir.filePath("a.crvj")), false);
    QCOMPARE(Describe1(mWindow->mFirm, FolderItem(dir.path())),
             QStringList{"R||v|1||||d|||r|[" + kGivenCommand + "]|F"});

    // Without the blank behind a colon the file is no manifest; with "commands" it is type 0.
    mWindow->mFirm.clear();
    mWindow->LoadFirmJsonFile(FolderItem(dir.filePath("b.json")), false);
    mWindow->LoadFirmJsonFile(FolderItem(dir.filePath("d.json")), false);
    QCOMPARE(mWindow->mFirm.size(), 0);
    mWindow->LoadFirmJsonFile(FolderItem(dir.filePath("c.JSON")), false);
    for (const FirmRef& r : mWindow->mFirm)
        QCOMPARE(r->mType, 0);
}

void TstType1::startUpToCommand() {
    DisposeWindow();
    AppFolderLayout::Clear();
    const QString firmwares = mLayout.Path("firmwares");
    QVERIFY(WriteFile(firmwares + "/multi/multi.json", Lines(kComplete)));
    QVERIFY(WriteFile(firmwares + "/multi/minimal/flash.sh",
                      Lines(kGivenScript + QStringList{"esptool.py --chip esp32 --port /dev/${port} chip_id"})));
    QVERIFY(WriteFile(firmwares + "/multi/minimal/boot_0x1000.bin", "boot"));
    QVERIFY(WriteFile(firmwares + "/multi/full/boot_0x1000.bin", "boot"));
    QVERIFY(WriteFile(firmwares + "/multi/full/app_0x10000.bin", "app"));
    const QString tool = mLayout.Path("Corvane.app/Contents/Resources/esptool");
    QVERIFY(WriteFile(tool, "#!/bin/sh\n"));
    mSeams.ports = {SerialPort{"SLAB_USBtoUART", ""}};

    EspWin* w = EspWin::Instance();
    QCOMPARE(Rows(w->PrisetPM), (QStringList{"Sample Minimal (v1.2.0)", "Sample Full (v1.2.0)"}));
    QCOMPARE(w->PrisetPM.ListIndex(), 0);
    QCOMPARE(w->BaudPM.Text(), QString("921600"));

    const QString toolPath = FolderItem(tool).ShellPath();
    const QString port = System::DevicePath("SLAB_USBtoUART");
    const QString pkg = FolderItem(firmwares + "/multi").ShellPath();
    const auto expand = [&](QString command, const QString& baud, const QString& sub) {
        return command.replace("%port", port).replace("%baud", baud).replace("%PATH\\\\", pkg + "/" + sub + "/");
    };
    // Two runs of the script: the leading blank of each stays, only the two ends are trimmed.
    QCOMPARE(w->InstallEF.Text(), (toolPath + " " + expand(kGivenCommand, "921600", "minimal") + " ; " + toolPath +
                                   " " + expand(" --chip esp32 --port %port chip_id", "921600", "minimal")));
    QVERIFY(w->InstallEF.Text().contains(" -z  --flash_mode dio"));

    w->PrisetPM.SetListIndex(1);
    QCOMPARE(w->BaudPM.Text(), QString("115200"));
    QCOMPARE(w->InstallEF.Text(), Trim(toolPath + " " + expand(kGeneratedCommand, "115200", "full")));
    QVERIFY(w->InstallEF.Text().startsWith(toolPath + "  --chip esp32"));

    // The generated script lived only for the load.
    QVERIFY(!QFile::exists(firmwares + "/multi/full/flash.sh"));
    QVERIFY(QFile::exists(firmwares + "/multi/minimal/flash.sh"));
}

void TstType1::demoCatalogue() {
    DisposeWindow();
    AppFolderLayout::Clear();
    QVERIFY(QProcess::execute("cp", {"-r", CORVANE_DEMO_FIRMWARES, mLayout.Path("firmwares")}) == 0);
    const QString folder = mLayout.Path("firmwares/example-multi");
    const QByteArray script = ReadFile(folder + "/script/flash.sh");
    QVERIFY(!script.isEmpty());
    QVERIFY(!QFile::exists(folder + "/generated/flash.sh"));

    EspWin* w = EspWin::Instance();
    const QStringList rows = Rows(w->PrisetPM);
    const int scripted = int(rows.indexOf("Example Multi Script (v1.0.0)"));
    QVERIFY2(scripted >= 0, qPrintable(rows.join(", ")));
    QCOMPARE(rows.value(scripted + 1), QString("Example Multi Generated (v1.0.0)"));

    const FirmClass& withScript = *w->mFirm.at(scripted);
    QCOMPARE(
        withScript.mCommand,
        (QStringList{" --chip esp32 --port %port --baud %baud chip_id ",
                     " --chip esp32 --port %port --baud %baud verify_flash  0x1000 %PATH\\\\example-bootloader.bin "
                     "0x8000 %PATH\\\\example-partitions.bin 0x10000 %PATH\\\\example-multi.bin "}));
    const FirmClass& generated = *w->mFirm.at(scripted + 1);
    QCOMPARE(generated.mCommand.size(), 1);
    QVERIFY(generated.mCommand.at(0).endsWith(" --flash_size detect   0x3FE000 %PATH\\\\example-data_0x3FE000.bin "
                                              "0x3FF000 %PATH\\\\example-extra_0x3FF000.bin "));
    QCOMPARE(withScript.mDevice, QString("ESP32-DevKitC"));
    QCOMPARE(generated.mFramework, QString("Arduino"));

    // Every image a command names is there.
    for (const FirmClass* r : {&withScript, &generated})
        for (const QString& command : r->mCommand)
            for (const QString& word : command.split(' ', Qt::SkipEmptyParts))
                if (word.startsWith("%PATH\\\\"))
                    QVERIFY2(QFile::exists(folder + "/" + r->mPath + "/" + word.mid(7)), qPrintable(word));

    w->PrisetPM.SetListIndex(scripted);
    QCOMPARE(w->BaudPM.Text(), QString("460800"));
    QVERIFY(w->InstallEF.Text().contains(" --baud 460800 verify_flash  0x1000 "));
    w->PrisetPM.SetListIndex(scripted + 1);
    QCOMPARE(w->BaudPM.Text(), QString("921600"));

    // The variant's own script is untouched, and the made one is gone.
    QCOMPARE(ReadFile(folder + "/script/flash.sh"), script);
    QVERIFY(!QFile::exists(folder + "/generated/flash.sh"));
}

QTEST_MAIN(TstType1)
#include "tst_type1.moc"

#include "CatalogueSupport.h"
#include "Type1Support.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;
using namespace CatalogueSupport;
using namespace Type1Support;

namespace {

// The head of a generated script, line by line; the last line has no line end of its own.
const QStringList kTemplateLines = {
    "#!/bin/bash",
    "",
    "machine=\"\"",
    "port=\"\"",
    "",
    "unameOut=\"$(uname -s)\"",
    "case \"${unameOut}\" in",
    "    Linux*)     machine=Linux;;",
    "    Darwin*)    machine=MacOS;;",
    "    CYGWIN*)    machine=Win;;",
    "    MINGW*)     machine=Win;;",
    "    *)          machine=UNKNOWN",
    "esac",
    "",
    "# echo ${machine}",
    "",
    "if [ \"${machine}\" == \"Linux\" ]; then",
    "    echo \"linux\"",
    "    port=\"ttyUSB0\"",
    "fi",
    "",
    "if [ \"${machine}\" == \"MacOS\" ]; then",
    "    echo \"MacOS\"",
    "    port=\"tty.SLAB_USBtoUART\"",
    "fi",
    "",
    "esptool.py --chip esp32 --port /dev/${port} --baud 921600 --before default_reset --after no_reset write_flash -z "
    "\\",
    "--flash_mode dio --flash_freq 80m --flash_size detect ",
};

// The worked example of the loader, as script lines.
const QStringList kWorkedScript = {
    "esptool.py --chip esp32 --port /dev/${port} --baud 921600 --before default_reset --after no_reset write_flash -z "
    "\\",
    "--flash_mode dio --flash_freq 80m --flash_size detect \\",
    "0x1000 boot_0x1000.bin \\",
    "0x10000 app_0x10000.bin",
    "",
};
const QString kWorkedCommand =
    " --chip esp32 --port %port --baud %baud --before default_reset --after no_reset write_flash -z  --flash_mode dio "
    "--flash_freq 80m --flash_size detect  0x1000 %PATH\\\\boot_0x1000.bin 0x10000 %PATH\\\\app_0x10000.bin ";
const QString kGeneratedCommand =
    " --chip esp32 --port %port --baud %baud --before default_reset --after no_reset write_flash -z  --flash_mode dio "
    "--flash_freq 80m --flash_size detect   0x1000 %PATH\\\\boot_0x1000.bin 0x10000 %PATH\\\\app_0x10000.bin ";

QStringList Listing(const QString& path) {
    return QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

// Every entry below the folder, links that lead nowhere included.
QStringList Snapshot(const QString& path) {
    QStringList out;
    QDirIterator it(path, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        out << QDir(path).relativeFilePath(it.next());
    out.sort();
    return out;
}

} // namespace

class TstFlashScript : public QObject {
    Q_OBJECT
private slots:
    void init() { mWindow = QuietWindow(); }
    void cleanup() { DisposeWindow(); }
    void generatorBytes();
    void generatorWritesNothing_data();
    void generatorWritesNothing();
    void loaderGivenScript_data();
    void loaderGivenScript();
    void loaderGeneratedScript();
    void loaderFolders_data();
    void loaderFolders();

private:
    AppFolderLayout mLayout;
    SeamRecorder mSeams;
    EspWin* mWindow = nullptr;
};

void TstFlashScript::generatorBytes() {
    QCOMPARE(kTemplateLines.join("\n").toUtf8().size(), 593);

    QTemporaryDir dir;
    for (const char* name : {"a_0x1000_0x2000.bin", "app_0x10000.bin", "boot_0x1000", "boot_0x1000.bin", "notes.txt",
                             "up_0X20.bin", "with blank_0x3000.bin", ".hidden_0x5.bin", "sub_0x7/x_0x9.bin"})
        QVERIFY(WriteFile(dir.filePath(name), "image"));
    const QString script = dir.filePath("flash.sh");
    QVERIFY(mWindow->MakeFlashShell(FolderItem(script)));

    // In the order of the folder's names, not of the addresses; hidden files and folders left out;
    // a name with a blank quoted, so that it stays one word.
    const QStringList entries = {"0x1000 a_0x1000_0x2000.bin", "0x10000 app_0x10000.bin",
                                 "0x1000 boot_0x1000",         "0x1000 boot_0x1000.bin",
                                 "0x20 up_0X20.bin",           "0x3000 'with blank_0x3000.bin'"};
    const QByteArray expected =
        (kTemplateLines.join("\r\n") + " \\\r\n" + entries.join(" \\\r\n") + "\r\n\r\n").toUtf8();
    QCOMPARE(ReadFile(script), expected);

    // A second run replaces the script; the script's own name holds no address.
    QVERIFY(mWindow->MakeFlashShell(FolderItem(script)));
    QCOMPARE(ReadFile(script), expected);
}

void TstFlashScript::generatorWritesNothing_data() {
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("link");

    QTest::newRow("no address in any name")
        << QStringList{"app.bin", ".hidden_0x1000.bin", "sub_0x1000/app.bin"} << "flash.sh"
        << "";
    QTest::newRow("empty folder") << QStringList{} << "flash.sh"
                                  << "";
    QTest::newRow("script name is a folder") << QStringList{"app_0x1000.bin", "flash.sh/keep"} << "flash.sh"
                                             << "";
    QTest::newRow("folder is a regular file") << QStringList{"variant"} << "variant/flash.sh"
                                              << "";
    QTest::newRow("dangling link, nowhere") << QStringList{"app_0x1000.bin"} << "flash.sh"
                                            << "missing/target.sh";
    QTest::newRow("dangling link, real folder") << QStringList{"app_0x1000.bin"} << "flash.sh"
                                                << "elsewhere.sh";
}

void TstFlashScript::generatorWritesNothing() {
    QFETCH(QStringList, files);
    QFETCH(QString, script);
    QFETCH(QString, link);

    QTemporaryDir dir;
    const QString folder = dir.filePath("v");
    QDir().mkpath(folder);
    for (const QString& name : files)
        QVERIFY(WriteFile(folder + "/" + name, "x"));
    if (!link.isEmpty())
        QVERIFY(QFile::link(dir.filePath(link), folder + "/" + script));
    const QStringList before = Snapshot(dir.path());

    QVERIFY(!mWindow->MakeFlashShell(FolderItem(folder + "/" + script)));
    QCOMPARE(Snapshot(dir.path()), before);
    // A link is never followed out of the folder.
    if (!link.isEmpty())
        QVERIFY(!QFileInfo::exists(dir.filePath(link)));
}

void TstFlashScript::loaderGivenScript_data() {
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("worked example, LF") << Lines(kWorkedScript) << QStringList{kWorkedCommand};
    QTest::newRow("worked example, CRLF") << Lines(kWorkedScript, "\r\n") << QStringList{kWorkedCommand};
    QTest::newRow("worked example, CR") << Lines(kWorkedScript, "\r") << QStringList{kWorkedCommand};
    QTest::newRow("worked example, indented")
        << Lines({"if true; then", "    " + kWorkedScript.at(0) + "  ", "\t" + kWorkedScript.at(1),
                  "    " + kWorkedScript.at(2), "    " + kWorkedScript.at(3), "   ", "fi"})
        << QStringList{kWorkedCommand};

    // The file of the generator's worked example, as the generator writes it.
    QTest::newRow("generated file of the worked example")
        << (kTemplateLines.join("\r\n") + " \\\r\n0x1000 boot_0x1000.bin \\\r\n0x10000 app_0x10000.bin\r\n\r\n")
               .toUtf8()
        << QStringList{kGeneratedCommand};
    QTest::newRow("no opening line") << Lines({"#!/bin/sh", "echo esptool.py --chip esp32 --port x",
                                               "# esptool.py --chip esp32 a",
                                               "esptool.py --chip esp8266 --port /dev/${port} write_flash 0x0 a.bin",
                                               "esptool.py --chip esp32", "esptool.py  --chip esp32 b"})
                                     << QStringList{};
    QTest::newRow("empty script") << QByteArray() << QStringList{};
    QTest::newRow("letter case ignored")
        << Lines({"ESPTOOL.PY --CHIP ESP32 --port /DEV/${PORT} --BAUD 921600 x", "0X1000 A.BIN"})
        << QStringList{" --CHIP ESP32 --port %port --baud %baud x 0X1000 %PATH\\\\A.BIN "};
    QTest::newRow("a single line, no line end") << QByteArray("esptool.py --chip esp32 --port /dev/${port} chip_id")
                                                << QStringList{" --chip esp32 --port %port chip_id "};
    QTest::newRow("ends inside a command") << QByteArray("esptool.py --chip esp32 erase_flash \\\n0x1000 a.bin \\")
                                           << QStringList{" --chip esp32 erase_flash  0x1000 %PATH\\\\a.bin "};
    QTest::newRow("several commands")
        << Lines({"esptool.py --chip esp32 --port /dev/${port} erase_flash", "", "echo between",
                  "esptool.py --chip esp32 --port /dev/${port} --baud 750000 write_flash \\", "0x0 a.bin", "",
                  "esptool.py --chip esp32 --baud 115200 chip_id"})
        << QStringList{" --chip esp32 --port %port erase_flash ",
                       " --chip esp32 --port %port --baud %baud write_flash  0x0 %PATH\\\\a.bin ",
                       " --chip esp32 --baud 115200 chip_id "};
    QTest::newRow("address lines")
        << Lines({"esptool.py --chip esp32 write_flash 0x0 on_the_opening_line.bin \\", "0x1000  two_blanks.bin \\",
                  "0x2000 a.bin 0x3000 b.bin \\", "0x4000 with blank.bin \\", "0x5000", "-z 0x6000 c.bin"})
        << QStringList{" --chip esp32 write_flash 0x0 on_the_opening_line.bin  0x1000 %PATH\\\\ 0x2000 %PATH\\\\a.bin "
                       "0x4000 %PATH\\\\with 0x5000 %PATH\\\\ -z 0x6000 c.bin "};
    QTest::newRow("a lone backslash ends the command")
        << Lines({"esptool.py --chip esp32 a \\", "b \\", "  \\  ", "c", "esptool.py --chip esp32 d"})
        << QStringList{" --chip esp32 a  b  ", " --chip esp32 d "};
    QTest::newRow("continuations taken whole, replacements over all")
        << Lines({"esptool.py --chip esp32 \\", "--port /dev/${port} --baud 921600 \\",
                  "esptool.py --chip esp32 --baud 750000 x\\y"})
        << QStringList{" --chip esp32  --port %port --baud %baud  esptool.py --chip esp32 --baud %baud xy "};
}

void TstFlashScript::loaderGivenScript() {
    QFETCH(QByteArray, script);
    QFETCH(QStringList, expected);

    QTemporaryDir dir;
    const QString path = dir.filePath("variant/flash.sh");
    QVERIFY(WriteFile(path, script));
    QVERIFY(WriteFile(dir.filePath("variant/boot_0x1000.bin"), "image"));

    FirmClass record;
    record.mPath = "variant";
    record.mCommand << "kept";
    const Watchdog watchdog;
    mWindow->LoadFlashCmd(record, FolderItem(dir.path()));
    QVERIFY(!watchdog.Fired());

    QCOMPARE(record.mCommand, QStringList{"kept"} + expected);
    // The firmware's own script is neither changed nor removed, nor joined by another file.
    QCOMPARE(ReadFile(path), script);
    QCOMPARE(Listing(dir.filePath("variant")), (QStringList{"boot_0x1000.bin", "flash.sh"}));
    QCOMPARE(record.mPath, QString("variant"));
    QCOMPARE(record.mName, QString());
}

void TstFlashScript::loaderGeneratedScript() {
    QTemporaryDir dir;
    QVERIFY(WriteFile(dir.filePath("v/app_0x10000.bin"), "app"));
    QVERIFY(WriteFile(dir.filePath("v/boot_0x1000.bin"), "boot"));
    QVERIFY(WriteFile(dir.filePath("v/notes.txt"), "notes"));
    const QStringList before = Listing(dir.filePath("v"));

    FirmClass record;
    record.mPath = "v";
    mWindow->LoadFlashCmd(record, FolderItem(dir.path()));
    // Listed by name: boot after app, so the worked example of the generator needs the reverse
    // order on disk; the text of each entry is what counts.
    QCOMPARE(record.mCommand,
             QStringList{" --chip esp32 --port %port --baud %baud --before default_reset --after no_reset write_flash "
                         "-z  --flash_mode dio --flash_freq 80m --flash_size detect   0x10000 %PATH\\\\app_0x10000.bin "
                         "0x1000 %PATH\\\\boot_0x1000.bin "});
    QCOMPARE(Listing(dir.filePath("v")), before);

    // A second call adds to what the first stored, and again leaves no script behind.
    mWindow->LoadFlashCmd(record, FolderItem(dir.path()));
    QCOMPARE(record.mCommand.size(), 2);
    QCOMPARE(record.mCommand.at(1), record.mCommand.at(0));
    QCOMPARE(Listing(dir.filePath("v")), before);

    // The generator's worked example, with an image name that sorts behind boot_0x1000.bin.
    QTemporaryDir ordered;
    QVERIFY(WriteFile(ordered.filePath("v/a/boot_0x1000.bin"), "boot"));
    QVERIFY(WriteFile(ordered.filePath("v/a/z_app_0x10000.bin"), "app"));
    FirmClass worked;
    worked.mPath = "v/a";
    mWindow->LoadFlashCmd(worked, FolderItem(ordered.path()));
    QCOMPARE(worked.mCommand, QStringList{QString(kGeneratedCommand).replace("app_0x10000", "z_app_0x10000")});
}

void TstFlashScript::loaderFolders_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("link");
    QTest::addColumn<int>("commands");

    const QStringList images = {"boot_0x1000.bin"};
    QTest::newRow("single folder") << "v" << QStringList{"v/boot_0x1000.bin"} << "" << 1;
    QTest::newRow("empty path: the manifest's folder") << "" << images << "" << 1;
    QTest::newRow("two levels with /") << "a/b" << QStringList{"a/b/boot_0x1000.bin"} << "" << 1;
    QTest::newRow("two levels with \\\\") << "a\\\\b" << QStringList{"a/b/boot_0x1000.bin"} << "" << 1;
    QTest::newRow("leading / stays inside") << "/v" << QStringList{"v/boot_0x1000.bin"} << "" << 1;
    QTest::newRow("closing quote") << "v\"" << QStringList{"v/boot_0x1000.bin"} << "" << 0;
    QTest::newRow("missing folder") << "w" << QStringList{"v/boot_0x1000.bin"} << "" << 0;
    QTest::newRow(".. leading out") << "../outside" << QStringList{} << "" << 0;
    QTest::newRow(".. coming back") << "v/../v" << QStringList{"v/boot_0x1000.bin"} << "" << 0;
    QTest::newRow("variant is a file") << "v" << QStringList{"v"} << "" << 0;
    QTest::newRow("flash.sh is a folder") << "v" << QStringList{"v/boot_0x1000.bin", "v/flash.sh/x"} << "" << 0;
    QTest::newRow("flash.sh a dangling link") << "v" << QStringList{"v/boot_0x1000.bin"} << "../target.sh" << 0;
}

void TstFlashScript::loaderFolders() {
    QFETCH(QString, path);
    QFETCH(QStringList, files);
    QFETCH(QString, link);
    QFETCH(int, commands);

    QTemporaryDir dir;
    const QString manifestFolder = dir.filePath("m");
    QDir().mkpath(manifestFolder);
    // Images beside the manifest's folder, where a path with ".." would lead.
    QVERIFY(WriteFile(dir.filePath("outside/boot_0x1000.bin"), "x"));
    for (const QString& name : files)
        QVERIFY(WriteFile(manifestFolder + "/" + name, "x"));
    if (!link.isEmpty())
        QVERIFY(QFile::link(manifestFolder + "/" + link, manifestFolder + "/v/flash.sh"));
    const QStringList before = Snapshot(dir.path());

    FirmClass record;
    record.mPath = path;
    mWindow->LoadFlashCmd(record, FolderItem(manifestFolder));
    QCOMPARE(record.mCommand.size(), commands);
    if (commands)
        QVERIFY2(record.mCommand.at(0).endsWith(" 0x1000 %PATH\\\\boot_0x1000.bin "),
                 qPrintable(record.mCommand.at(0)));
    QCOMPARE(record.mPath, path);

    QCOMPARE(Snapshot(dir.path()), before);
}

QTEST_MAIN(TstFlashScript)
#include "tst_flashscript.moc"

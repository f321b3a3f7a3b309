#include "FlashSupport.h"
#include "TestSupport.h"

#include "platform/SerialPorts.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;
using namespace FlashSupport;

namespace {

// The template of a manifest that Corvane writes itself, with the firmware's file name in.
const QString kOwnTemplate =
    QStringLiteral("--chip esp32 --port %port --baud %baud --before default_reset --after hard_reset write_flash -z "
                   "--flash_mode dio --flash_freq 80m --flash_size detect 0xe000 %PATH\\\\boot_app0.bin 0x1000 "
                   "%PATH\\\\bootloader_qio_80m.bin 0x10000 %PATH\\\\app.bin 0x8000 %PATH\\\\partitions.bin");

const QString kOwnExpanded = QStringLiteral(
    "TOOL --chip esp32 --port DEV --baud 921600 --before default_reset --after hard_reset write_flash -z "
    "--flash_mode dio --flash_freq 80m --flash_size detect 0xe000 PKG/SUB/boot_app0.bin 0x1000 "
    "PKG/SUB/bootloader_qio_80m.bin 0x10000 PKG/SUB/app.bin 0x8000 PKG/SUB/partitions.bin");

// A template as the flash command loader takes it from a flash.sh: a blank at each end and
// doubled blanks where the script's lines met.
const QString kScriptTemplate =
    QStringLiteral(" --chip esp32 --port %port --baud %baud --before default_reset --after no_reset write_flash -z "
                   " --flash_mode dio --flash_freq 80m --flash_size detect  0x1000 %PATH\\\\app.bin ");

} // namespace

class TstCommand : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void composes_data();
    void composes();
    void stopsLeaveTheText();
    void wordsArriveIntact();

private:
    std::unique_ptr<AppFolderLayout> mLayout;
    std::unique_ptr<SeamRecorder> mSeams;
    QTemporaryDir mDir;
    EspWin* mWin = nullptr;
};

void TstCommand::init() {
    mLayout = std::make_unique<AppFolderLayout>();
    QVERIFY(QDir().mkpath(mLayout->Path("firmwares")));
    mSeams = std::make_unique<SeamRecorder>();
    mWin = EspWin::Instance();
}

void TstCommand::cleanup() {
    DisposeWindow();
    mSeams.reset();
    mLayout.reset();
}

void TstCommand::composes_data() {
    QTest::addColumn<bool>("withTool");
    QTest::addColumn<QString>("port");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QString>("expected");

    const QString own = kOwnExpanded;
    QTest::newRow("own manifest") << true << "ttyUSB0"
                                  << "SUB" << QStringList{kOwnTemplate} << own;
    QTest::newRow("own manifest, no sub-folder")
        << true << "ttyUSB0"
        << "" << QStringList{kOwnTemplate} << QString(own).replace("PKG/SUB/", "PKG/");
    QTest::newRow("sub-folder in backslash pairs")
        << true << "ttyUSB0"
        << "a\\\\b\\\\c" << QStringList{"%PATH\\\\x.bin"} << "TOOL PKG/a/b/c/x.bin";
    QTest::newRow("sub-folder in slashes") << true << "ttyUSB0"
                                           << "a/b/c" << QStringList{"%PATH\\\\x.bin"} << "TOOL PKG/a/b/c/x.bin";
    QTest::newRow("two templates") << true << "ttyUSB0"
                                   << "" << QStringList{"first --port %port", "second --baud %baud"}
                                   << "TOOL first --port DEV ; TOOL second --baud 921600";
    QTest::newRow("flash.sh template")
        << true << "ttyUSB0"
        << "SUB" << QStringList{kScriptTemplate}
        << "TOOL  --chip esp32 --port DEV --baud 921600 --before default_reset --after no_reset write_flash -z  "
           "--flash_mode dio --flash_freq 80m --flash_size detect  0x1000 PKG/SUB/app.bin";
    QTest::newRow("flash.sh templates joined") << true << "ttyUSB0"
                                               << "" << QStringList{" one ", " two "} << "TOOL  one  ; TOOL  two";
    QTest::newRow("no tool, two templates")
        << false << "ttyUSB0"
        << "" << QStringList{"first-template", "second-template"} << "first-template ;  second-template";
    QTest::newRow("no port row") << true << ""
                                 << "" << QStringList{"--port %port"} << "TOOL --port DEV";
    QTest::newRow("no placeholders") << true << "ttyUSB0"
                                     << "" << QStringList{"version"} << "TOOL version";
    QTest::newRow("placeholders in any case")
        << true << "ttyUSB0"
        << "" << QStringList{"%PORT %Baud %path\\\\f.bin"} << "TOOL DEV 921600 PKG/f.bin";
    QTest::newRow("one backslash or none is no placeholder")
        << true << "ttyUSB0"
        << "" << QStringList{"%PATH\\x.bin %PATHy.bin"} << "TOOL %PATH\\x.bin %PATHy.bin";
    QTest::newRow("no template") << true << "ttyUSB0"
                                 << "SUB" << QStringList{} << "";
}

void TstCommand::composes() {
    QFETCH(bool, withTool);
    QFETCH(QString, port);
    QFETCH(QString, path);
    QFETCH(QStringList, commands);
    QFETCH(QString, expected);

    const FolderItem tool(mDir.filePath("esp tool/esptool"));
    const FolderItem folder(mDir.filePath("my firmware"));
    mWin->mEspToolApp = withTool ? tool : FolderItem();
    if (port.isEmpty())
        mWin->PortPM.DeleteAllRows();
    else
        ShowOnePort(mWin, port);
    mWin->BaudPM.SetListIndex(14);
    QCOMPARE(mWin->BaudPM.Text(), QString("921600"));
    mWin->InstallEF.SetText("hand edit");

    LoadPresets(mWin, {Record("Sample", folder, path, commands)}, 0);

    expected.replace("TOOL", tool.ShellPath())
        .replace("PKG", folder.ShellPath())
        .replace("DEV", System::DevicePath(port))
        .replace("SUB", path);
    QCOMPARE(mWin->InstallEF.Text(), expected);
}

void TstCommand::stopsLeaveTheText() {
    const FolderItem folder(mDir.path());
    const FirmRef rec = Record("Sample", folder, "", {"--baud %baud"});
    mWin->mEspToolApp = FolderItem(mDir.filePath("esptool"));

    // Records but no rows.
    mWin->mFirm = {rec};
    mWin->InstallEF.SetText("previous");
    mWin->MakeCommand();
    QCOMPARE(mWin->InstallEF.Text(), QString("previous"));

    // Rows but no records.
    mWin->mFirm.clear();
    {
        const QSignalBlocker quiet(&mWin->PrisetPM);
        mWin->PrisetPM.AddRow("Sample");
        mWin->PrisetPM.SetListIndex(0);
    }
    mWin->MakeCommand();
    QCOMPARE(mWin->InstallEF.Text(), QString("previous"));

    // A separator keeps the command of the preset chosen before it.
    LoadPresets(mWin, {rec, Separator(), rec}, 0);
    const QString composed = mWin->InstallEF.Text();
    QVERIFY(composed.endsWith("--baud 921600"));
    mWin->PrisetPM.SetListIndex(1);
    mWin->MakeCommand();
    QCOMPARE(mWin->InstallEF.Text(), composed);
}

// The composed line goes through a real /bin/sh: tool and folder paths full of shell syntax
// must reach the tool as the words they are.
void TstCommand::wordsArriveIntact() {
    const QString odd = QString::fromUtf8("it's \"odd\" $HOME; a&b (c) `d` *?[e] ~ é#!|<>");
    const QString toolFolder = mDir.filePath("tools " + odd);
    QVERIFY(InstallFakeTool(toolFolder + "/esptool"));
    const FolderItem folder(mDir.filePath("firmware " + odd));

    mWin->mEspToolApp = FolderItem(toolFolder + "/esptool");
    ShowOnePort(mWin, "ttyUSB0");
    LoadPresets(
        mWin,
        {Record("Sample", folder, "sub\\\\dir",
                {"--port %port --baud %baud write_flash 0x1000 %PATH\\\\app.bin", " --exit 0  %PATH\\\\b.bin "})},
        0);

    QProcess sh;
    sh.start("/bin/sh", {"-c", mWin->InstallEF.Text()});
    QVERIFY(sh.waitForFinished(60000));
    QCOMPARE(sh.exitCode(), 0);

    const QString dir = QDir(folder.NativePath()).filePath("sub/dir/");
    const QList<QStringList> runs = RecordedRuns(toolFolder);
    QCOMPARE(runs.size(), 2);
    QCOMPARE(runs.at(0), (QStringList{"--port", System::DevicePath("ttyUSB0"), "--baud", "921600", "write_flash",
                                      "0x1000", dir + "app.bin"}));
    QCOMPARE(runs.at(1), (QStringList{"--exit", "0", dir + "b.bin"}));
}

QTEST_MAIN(TstCommand)
#include "tst_command.moc"

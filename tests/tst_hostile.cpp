#include "FlashSupport.h"
#include "TestSupport.h"

#include "catalogue/TemplateWords.h"
#include "platform/SerialPorts.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace TestSupport;
using namespace FlashSupport;

// Names and paths from downloads and archives, through every road by which Corvane puts one
// into a command: each must reach a real /bin/sh as one word of exactly its characters, and
// nothing in it may run.
class TstHostile : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void droppedImageNames_data();
    void droppedImageNames();
    void insertedWords_data();
    void insertedWords();
    void generatedScriptNames();
    void scriptCantNameAnImage();
    void redropThatCantCopyKeepsThePackage();

private:
    // Runs the window's command in a scratch folder; the stand-in tool's arguments.
    QStringList Run(const QString& toolFolder);
    void NothingElseRan() const;
    static bool InstallArgsTool(const QString& path);

    std::unique_ptr<AppFolderLayout> mLayout;
    std::unique_ptr<SeamRecorder> mSeams;
    std::unique_ptr<QTemporaryDir> mDir;
    QString mScratch;
    EspWin* mWin = nullptr;
};

namespace {

const QStringList kSupport = {"boot_app0.bin", "bootloader_qio_80m.bin", "partitions.bin"};

QStringList Split0(const QByteArray& bytes) {
    QStringList words;
    for (const QByteArray& w : bytes.split('\0'))
        words << QString::fromUtf8(w);
    words.removeLast();
    return words;
}

} // namespace

// Writes its arguments NUL-terminated, so that a newline inside one is seen as such.
bool TstHostile::InstallArgsTool(const QString& path) {
    return WriteFile(path, "#!/bin/sh\nprintf '%s\\0' \"$@\" > \"$(dirname \"$0\")/args0\"\n") &&
           QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner);
}

void TstHostile::init() {
    mLayout = std::make_unique<AppFolderLayout>();
    mSeams = std::make_unique<SeamRecorder>();
    mDir = std::make_unique<QTemporaryDir>();
    mScratch = mDir->filePath("scratch");
    QVERIFY(QDir().mkpath(mScratch));
    QVERIFY(QDir().mkpath(mLayout->Path("firmwares")));
    for (const QString& name : kSupport)
        QVERIFY(WriteFile(mLayout->Path("tools/bin/" + name), name.toUtf8()));
    QVERIFY(InstallArgsTool(mLayout->Path("Corvane.app/Contents/Resources/esptool")));
    mWin = EspWin::Instance();
    ShowOnePort(mWin, "ttyUSB0");
}

void TstHostile::cleanup() {
    DisposeWindow();
    mSeams.reset();
    mDir.reset();
    mLayout.reset();
}

QStringList TstHostile::Run(const QString& toolFolder) {
    QFile::remove(toolFolder + "/args0");
    QProcess sh;
    sh.setWorkingDirectory(mScratch);
    sh.setProcessChannelMode(QProcess::MergedChannels);
    sh.start("/bin/sh", {"-c", "--", mWin->InstallEF.Text()});
    if (!sh.waitForFinished(60000))
        return {"sh did not end"};
    return Split0(ReadFile(toolFolder + "/args0"));
}

// Whatever ran would have left a file where the shell stood, or beside the firmwares.
void TstHostile::NothingElseRan() const {
    QCOMPARE(QDir(mScratch).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden), QStringList());
    QVERIFY(!QFileInfo::exists(mLayout->Path("firmwares/PWN")));
}

void TstHostile::droppedImageNames_data() {
    QTest::addColumn<QString>("dropped");
    QTest::addColumn<QString>("kept");
    const QStringList same = {"fw$(id>PWN).bin",
                              "a;touch PWN;.bin",
                              "`touch PWN`.bin",
                              "firmware (1).bin",
                              "firmware v2.bin",
                              "it's.bin",
                              "%port.bin",
                              "100%baud 50%PATH.bin",
                              "-rf *.bin",
                              "x${IFS}y&z|w<v>~#.bin",
                              "<--ReplacePath--> <--ReplaceVersion-->.bin",
                              QString::fromUtf8("日本 é\u00a0.bin"),
                              " lead and trail .bin"};
    for (const QString& name : same)
        QTest::newRow(qPrintable(name)) << name << name;
    // What a manifest line can't carry becomes "_" in the package, and nothing else changes.
    QTest::newRow("double quote") << "d\"q.bin"
                                  << "d_q.bin";
    QTest::newRow("backslashes") << "a\\\\b\\c.bin"
                                 << "a__b_c.bin";
    QTest::newRow("line end and tab") << "new\nline\t.bin"
                                      << "new_line_.bin";
}

void TstHostile::droppedImageNames() {
    QFETCH(QString, dropped);
    QFETCH(QString, kept);
    const QString image = mDir->filePath("drop/" + dropped);
    QVERIFY(WriteFile(image, "firmware image"));

    mWin->DoDropFile(FolderItem(image));

    const QString base = kept.chopped(4);
    const QString package = mLayout->Path("firmwares/" + base + "/");
    QCOMPARE(mWin->mFirm.size(), 1);
    QCOMPARE(mWin->mFirm.at(0)->mPath, base);
    const QStringList args = Run(mLayout->Path("Corvane.app/Contents/Resources"));
    QCOMPARE(args.size(), 26);
    QCOMPARE(args.mid(0, 4), (QStringList{"--chip", "esp32", "--port", System::DevicePath("ttyUSB0")}));
    QCOMPARE(args.mid(18),
             (QStringList{"0xe000", package + "boot_app0.bin", "0x1000", package + "bootloader_qio_80m.bin", "0x10000",
                          package + kept, "0x8000", package + "partitions.bin"}));
    QCOMPARE(ReadFile(package + kept), QByteArray("firmware image"));
    NothingElseRan();
}

void TstHostile::insertedWords_data() {
    QTest::addColumn<QString>("toolFolder");
    QTest::addColumn<QString>("firmFolder");
    QTest::addColumn<QString>("subPath");
    QTest::addColumn<QString>("port");
    QTest::addColumn<QString>("subFolder");

    QTest::newRow("plain") << "t"
                           << "f"
                           << "a\\\\b"
                           << "ttyUSB0"
                           << "a/b/";
    QTest::newRow("blank in path") << "t"
                                   << "f"
                                   << "p q"
                                   << "ttyUSB0"
                                   << "p q/";
    QTest::newRow("command in path") << "t"
                                     << "f"
                                     << "$(touch PWN)`touch PWN`;touch PWN"
                                     << "ttyUSB0"
                                     << "$(touch PWN)`touch PWN`;touch PWN/";
    QTest::newRow("placeholders in folders") << "100%baud %port"
                                             << "x%PATH\\\\y %baud"
                                             << "%port\\\\%PATH\\\\"
                                             << "tty%baud"
                                             << "%port/%PATH//";
    QTest::newRow("quotes and line ends") << "it's \"q\"\nx"
                                          << "f'\n"
                                          << "a\nb'c\"d"
                                          << "tty'x y;z"
                                          << "a\nb'c\"d/";
    QTest::newRow("non-ASCII") << QString::fromUtf8("ツール") << QString::fromUtf8("ファーム é")
                               << QString::fromUtf8("版\u00a01") << "ttyUSB0" << QString::fromUtf8("版\u00a01/");
}

// The tool, the record's folder and sub-path and the port are put into the command by Corvane.
void TstHostile::insertedWords() {
    QFETCH(QString, toolFolder);
    QFETCH(QString, firmFolder);
    QFETCH(QString, subPath);
    QFETCH(QString, port);
    QFETCH(QString, subFolder);

    const QString tools = mDir->filePath(toolFolder);
    QVERIFY(InstallArgsTool(tools + "/esptool"));
    mWin->mEspToolApp = FolderItem(tools + "/esptool");
    ShowOnePort(mWin, port);
    const FolderItem folder(mDir->filePath(firmFolder));
    LoadPresets(mWin, {Record("Sample", folder, subPath, {"--port %port --baud %baud 0x10 %PATH\\\\app.bin"})}, 0);

    QCOMPARE(Run(tools), (QStringList{"--port", System::DevicePath(port), "--baud", "921600", "0x10",
                                      folder.NativePath() + "/" + subFolder + "app.bin"}));
    NothingElseRan();
}

namespace {

QByteArray Type1Manifest(const QString& variant) {
    return "{\n    \"name\": \"Odd\",\n    \"description\": \"d\",\n    \"repository\": \"r\",\n"
           "    \"version\": \"1\",\n    \"firmware_category\": [\n        {\n            \"V\": {\n"
           "                \"path\": \"" +
           variant.toUtf8() + "\",\n                \"default_baud\": 921600\n            }\n        }\n    ]\n}\n";
}

int RecordWithPath(const EspWin* w, const QString& path) {
    for (int i = 0; i < w->mFirm.size(); ++i)
        if (w->mFirm.at(i) && w->mFirm.at(i)->mPath == path)
            return i;
    return -1;
}

} // namespace

// A variant folder without flash.sh: its image names go into a generated script, and from
// there into the command.
void TstHostile::generatedScriptNames() {
    const QStringList names = {"x;touch${IFS}PWN;_0x10000.bin",
                               "a b_0x1000.bin",
                               "it's_0x8000.bin",
                               "%port_0x9000.bin",
                               "q\"_0xe000.bin",
                               "z--baud 921600_0x3000.bin",
                               "y${port}_0x4000.bin",
                               "w_0x1;touch PWN;.bin",
                               "v_0x$(touch PWN).bin",
                               QString::fromUtf8("é 日_0x5000.bin")};
    for (const QString& name : names)
        QVERIFY(WriteFile(mLayout->Path("firmwares/odd/v/" + name), "img"));
    QVERIFY(WriteFile(mLayout->Path("firmwares/odd/odd.json"), Type1Manifest("v")));
    DisposeWindow();
    mWin = EspWin::Instance();
    ShowOnePort(mWin, "ttyUSB0");

    const int row = RecordWithPath(mWin, "v");
    QVERIFY(row >= 0);
    mWin->PrisetPM.SetListIndex(row);
    QVERIFY(!QFileInfo::exists(mLayout->Path("firmwares/odd/v/flash.sh")));

    const QStringList args = Run(mLayout->Path("Corvane.app/Contents/Resources"));
    const qsizetype images = args.indexOf("detect") + 1;
    QVERIFY(images > 0);
    QStringList pairs;
    for (qsizetype i = images; i + 1 < args.size(); i += 2)
        pairs << args.at(i) + " " + args.at(i + 1);
    QStringList expected;
    for (const QString& name : names) {
        const QString address = name.section("_0x", 1, 1).section('.', 0, 0);
        expected << "0x" + address + " " + mLayout->Path("firmwares/odd/v/") + name;
    }
    pairs.sort();
    expected.sort();
    QCOMPARE(pairs, expected);
    NothingElseRan();
}

// A name that a script line can't hold leaves the variant without a command: better none than
// one that writes only part of the firmware.
void TstHostile::scriptCantNameAnImage() {
    QVERIFY(WriteFile(mLayout->Path("firmwares/odd/v/boot_0x1000.bin"), "img"));
    QVERIFY(WriteFile(mLayout->Path("firmwares/odd/v/a\\b_0x2000.bin"), "img"));
    QVERIFY(WriteFile(mLayout->Path("firmwares/odd/odd.json"), Type1Manifest("v")));
    DisposeWindow();
    mWin = EspWin::Instance();

    const int row = RecordWithPath(mWin, "v");
    QVERIFY(row >= 0);
    QCOMPARE(mWin->mFirm.at(row)->mCommand, QStringList());
    QVERIFY(!QFileInfo::exists(mLayout->Path("firmwares/odd/v/flash.sh")));
}

// The second drop of an image whose copy can't be completed (here its bytes can't be read)
// leaves the package of the first drop whole.
void TstHostile::redropThatCantCopyKeepsThePackage() {
    const QString image = mDir->filePath("drop/app.bin");
    QVERIFY(WriteFile(image, "good image"));
    mWin->DoDropFile(FolderItem(image));
    const QString kept = mLayout->Path("firmwares/app/app.bin");
    const QByteArray manifest = ReadFile(mLayout->Path("firmwares/app.json"));
    QCOMPARE(ReadFile(kept), QByteArray("good image"));

    QVERIFY(QFile::remove(image));
    QVERIFY(QFile::link("/proc/self/mem", image));
    mWin->DoDropFile(FolderItem(image));

    QCOMPARE(ReadFile(kept), QByteArray("good image"));
    QCOMPARE(ReadFile(mLayout->Path("firmwares/app.json")).size(), manifest.size());
    QCOMPARE(QDir(mLayout->Path("firmwares/app")).entryList(QDir::Files | QDir::Hidden).size(), kSupport.size() + 1);
}

QTEST_MAIN(TstHostile)
#include "tst_hostile.moc"

#include "FlashSupport.h"
#include "TestSupport.h"

#include "platform/SerialPort.h"

#include <QImage>
#include <QProcess>
#include <QTableWidget>

using namespace TestSupport;
using namespace FlashSupport;

namespace {

const QString kBundle = "Corvane.app/Contents/Resources/";
const QString kPortArgs = " --port /dev/ttyUSB0";
const QStringList kSupport = {"boot_app0.bin", "bootloader_qio_80m.bin", "partitions.bin"};

// This stand-in ends each argument with a NUL and each run with a \1, so that a newline inside an
// argument shows.
bool InstallArgsTool(const QString& path) {
    return WriteFile(path, "#!/bin/sh\n{ printf '%s\\0' \"$@\"; printf '\\1'; } >>\"${0%/*}/args0\"\n") &&
           QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner);
}

QByteArray Type1Manifest(const QByteArray& variant) {
    return "{\n\"description\": \"d\",\n\"repository\": \"r\",\n\"firmware_category\": [\n{\n\"V\": {\n\"path\": \"" +
           variant + "\",\n\"default_baud\": 921600\n}\n}\n]\n}\n";
}

// Each row's file and address.
QStringList Rows(const Listbox& list) {
    QStringList rows;
    for (int i = 0; i < list.ListCount(); ++i)
        rows << list.Cell(i, 0) << list.Cell(i, 1);
    return rows;
}

} // namespace

// The flash command, hostile names in it through a real /bin/sh, the tool, the upload list.
class TstFlash : public QObject {
    Q_OBJECT
    std::optional<AppFolderLayout> mLayout;
    std::optional<SeamRecorder> mSeams;
    std::optional<QTemporaryDir> mDir;
    EspWin* w = nullptr;
    QString Dir(const QString& name) const { return mDir->filePath(name); }
    void Sample() { LoadPresets(w, {Record("Sample", FolderItem(mDir->path()), "", {"--port %port"})}, 0); }
    // The command through a real /bin/sh in an empty folder: the stand-in's arguments, run by run.
    QList<QStringList> Run(const QString& toolFolder) {
        QProcess sh;
        sh.setWorkingDirectory(Dir("scratch"));
        sh.start("/bin/sh", {"-c", "--", w->InstallEF.Text()});
        sh.waitForFinished(60000);
        QList<QStringList> runs;
        for (const QString& run : QString::fromUtf8(ReadFile(toolFolder + "/args0")).split('\1', Qt::SkipEmptyParts))
            runs.append(run.chopped(1).split(QChar(0)));
        return runs;
    }

    // Whatever ran would have left a file where the shell stood, or beside the firmwares.
    void NothingElseRan() {
        QCOMPARE(QDir(Dir("scratch")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden), QStringList());
        QVERIFY(!QFileInfo::exists(mLayout->Path("firmwares/PWN")));
    }

private slots:
    void init() {
        mLayout.emplace();
        mSeams.emplace();
        mDir.emplace();
        for (const QString& name : kSupport)
            QVERIFY(WriteFile(mLayout->Path("tools/bin/" + name), name.toUtf8()));
        QVERIFY(QDir().mkpath(Dir("scratch")) && QDir().mkpath(mLayout->Path("firmwares")) &&
                InstallArgsTool(mLayout->Path(kBundle + "esptool")));
        w = EspWin::Instance();
        ShowOnePort(w, "ttyUSB0");
    }

    void cleanup() { DisposeWindow(); }
    void composes_data() {
        // port, sub-path, the command (TOOL, PKG, DEV, BAUD: tool, folder, device, speed), templates
        QTest::addColumn<QStringList>("c");
        const QList<QStringList> rows = {
            {"sub-folder", "ttyUSB0", "sub", "TOOL DEV BAUD PKG/sub/a PKG/sub/b", "%port %baud %PATH\\\\a %PATH\\\\b"},
            {"no sub-folder", "ttyUSB0", "", "TOOL PKG/a.bin", "%PATH\\\\a.bin"},
            {"sub-folder in backslash pairs", "ttyUSB0", "a\\\\b\\\\c", "TOOL PKG/a/b/c/x", "%PATH\\\\x"},
            {"two templates", "ttyUSB0", "", "TOOL one DEV ; TOOL two BAUD", "one %port", "two %baud"},
            {"flash.sh blanks", "ttyUSB0", "", "TOOL  one  PKG/a  ; TOOL  two", " one  %PATH\\\\a ", " two "},
            {"no tool", "ttyUSB0", "", "one ;  two", "one", "two"},
            {"no port row", "", "", "TOOL --port DEV", "--port %port"},
            {"placeholders in any case", "ttyUSB0", "", "TOOL DEV BAUD PKG/f v", "%PORT %Baud %path\\\\f v"},
            {"one backslash or none is no placeholder", "ttyUSB0", "", "TOOL %PATH\\x %PATHy", "%PATH\\x %PATHy"}};
        for (const QStringList& row : rows)
            QTest::newRow(qPrintable(row[0])) << row.mid(1);
    }

    void composes() {
        QFETCH(QStringList, c);
        const FolderItem tool(Dir("esp tool/esptool")), folder(Dir("my firmware"));
        w->mEspToolApp = c[2].contains("TOOL") ? tool : FolderItem();
        c[0].isEmpty() ? w->PortPM.DeleteAllRows() : ShowOnePort(w, c[0]);
        LoadPresets(w, {Record("Sample", folder, c[1], c.mid(3))}, 0);
        c[2].replace("DEV", System::DevicePath(c[0])).replace("BAUD", w->BaudPM.Text());
        QCOMPARE(w->InstallEF.Text(), c[2].replace("TOOL", tool.ShellPath()).replace("PKG", folder.ShellPath()));
    }

    // On a separator, with no row chosen or no preset for it, the command stands as it is.
    void stopsLeaveTheText() {
        const FirmRef rec = Record("Sample", FolderItem(mDir->path()), "", {"--baud %baud"});
        w->InstallEF.SetText("previous");
        LoadPresets(w, {rec, Separator()}, 1);
        w->PrisetPM.AddRow("past the records");
        for (int row : {2, -1}) {
            w->PrisetPM.SetListIndex(row);
            w->MakeCommand();
        }
        w->mFirm.clear();
        w->PrisetPM.SetListIndex(0);
        w->MakeCommand();
        QCOMPARE(w->InstallEF.Text(), QString("previous"));
        w->mFirm = {rec};
        w->MakeCommand();
        QVERIFY(w->InstallEF.Text().endsWith(" --baud " + w->BaudPM.Text()));
    }

    // The tool, the firmware folder, the sub-path and the port are put in by Corvane: each must
    // reach the tool as the word it is, in every run.
    void insertedWords_data() {
        QTest::addColumn<QStringList>("c"); // tool folder, firmware folder, sub-path, port, the sub-folder
        const QString odd = QString::fromUtf8("it's \"odd\" $HOME; a&b (c) `d` *?[e] ~ é#!|<>");
        const QString run = "c$(touch PWN)`touch PWN`;touch PWN";
        QTest::newRow("shell syntax") << QStringList{"t " + odd, "f " + odd, "a\\\\b " + run, "ttyUSB0", "a/b " + run};
        QTest::newRow("placeholders") << QStringList{"9%baud %port", "x%PATH\\\\y %baud", "%port\\\\%PATH\\\\",
                                                     "tty%baud", "%port/%PATH/"};
        QTest::newRow("quotes, line ends")
            << QStringList{"it's \"q\"\nx", "f'\n", "a\nb'c\"d", "tty'x y;z", "a\nb'c\"d"};
        QTest::newRow("non-ASCII") << QString::fromUtf8("ツール/ファーム é/版\u00a01/ttyUSB0/版\u00a01").split('/');
    }

    void insertedWords() {
        QFETCH(QStringList, c);
        QVERIFY(InstallArgsTool(Dir(c[0]) + "/esptool"));
        w->mEspToolApp = FolderItem(Dir(c[0]) + "/esptool");
        ShowOnePort(w, c[3]);
        const FolderItem folder(Dir(c[1]));
        LoadPresets(w, {Record("S", folder, c[2], {"--port %port --baud %baud %PATH\\\\a", " -z  %PATH\\\\b "})}, 0);
        const QString images = folder.NativePath() + "/" + c[4] + "/";
        QCOMPARE(Run(Dir(c[0])),
                 (QList<QStringList>{{"--port", System::DevicePath(c[3]), "--baud", w->BaudPM.Text(), images + "a"},
                                     {"-z", images + "b"}}));
        NothingElseRan();
    }

    // A dropped image is packaged with a manifest of its own; its name must come out of the
    // command as it went in, but for what a manifest line can't carry, which becomes "_".
    void droppedImageNames_data() {
        QTest::addColumn<QStringList>("names"); // dropped, kept
        for (const QString& name :
             QString::fromUtf8("fw$(id>PWN).bin/a;touch PWN;.bin/`touch PWN`.bin/it's.bin/"
                               "%port.bin/100%baud 50%PATH.bin/-rf *.bin/x${IFS}y&z|w<v>~#.bin/"
                               "<--ReplacePath--> <--ReplaceVersion-->.bin/ a b .bin/日本 é\u00a0.bin")
                 .split('/'))
            QTest::newRow(qPrintable(name)) << QStringList{name, name};
        QTest::newRow("double quote") << QStringList{"d\"q.bin", "d_q.bin"};
        QTest::newRow("backslashes") << QStringList{"a\\\\b\\c.bin", "a__b_c.bin"};
        QTest::newRow("line end and tab") << QStringList{"new\nline\t.bin", "new_line_.bin"};
    }

    void droppedImageNames() {
        QFETCH(QStringList, names);
        const QString image = Dir("drop/" + names[0]), base = mLayout->Path("firmwares/" + names[1].chopped(4));
        QVERIFY(WriteFile(image, "firmware image"));
        w->DoDropFile(FolderItem(image));
        const QStringList args = Run(mLayout->Path(kBundle)).value(0);
        QCOMPARE(args.size(), 26);
        QCOMPARE(args.mid(18), (QStringList{"0xe000", base + "/" + kSupport[0], "0x1000", base + "/" + kSupport[1],
                                            "0x10000", base + "/" + names[1], "0x8000", base + "/" + kSupport[2]}));
        NothingElseRan();
        // A second drop whose copy can't be completed (its bytes can't be read) leaves the package whole.
        const qsizetype manifest = ReadFile(base + ".json").size();
        QVERIFY(QFile::remove(image) && QFile::link("/proc/self/mem", image));
        w->DoDropFile(FolderItem(image));
        QCOMPARE(ReadFile(base + "/" + names[1]), QByteArray("firmware image"));
        QCOMPARE(ReadFile(base + ".json").size(), manifest);
        QCOMPARE(QDir(base).entryList(QDir::Files | QDir::Hidden).size(), kSupport.size() + 1);
    }

    // Image names of a variant without flash.sh go into a generated script, and so into the command;
    // a name no script line can hold leaves none rather than one that writes part of the firmware.
    void generatedScriptNames() {
        const QStringList names = QString::fromUtf8("x;touch${IFS}PWN;_0x10000.bin/a b_0x1000.bin/it's_0x8000.bin/"
                                                    "%port_0x9000.bin/q\"_0xe000.bin/z--baud 921600_0x3000.bin/"
                                                    "y${port}_0x4000.bin/w_0x1;touch PWN;.bin/v_0x$(touch PWN).bin/"
                                                    "é 日_0x5000.bin")
                                      .split('/');
        const QString v = mLayout->Path("firmwares/odd/v/");
        for (const QString& name : names)
            QVERIFY(WriteFile(v + name, "img"));
        QVERIFY(WriteFile(mLayout->Path("firmwares/odd/odd.json"), Type1Manifest("v")));
        QVERIFY(WriteFile(mLayout->Path("firmwares/bad/w/boot_0x1000.bin"), "img"));
        QVERIFY(WriteFile(mLayout->Path("firmwares/bad/w/a\\b_0x2000.bin"), "img"));
        QVERIFY(WriteFile(mLayout->Path("firmwares/bad/bad.json"), Type1Manifest("w")));
        DisposeWindow();
        w = EspWin::Instance();
        for (const FirmRef& rec : w->mFirm) // "w" has no command, nor has a separator
            QCOMPARE(rec->mCommand.isEmpty(), rec->mPath != "v");
        w->PrisetPM.SetListIndex(int(w->mFirm.size()) - 1); // "odd" comes last
        const QStringList args = Run(mLayout->Path(kBundle)).value(0);
        QCOMPARE(args.size(), args.indexOf("detect") + 1 + 2 * names.size());
        for (const QString& name : names)
            QCOMPARE(args.value(args.indexOf(v + name) - 1), "0x" + name.section("_0x", 1, 1).section('.', 0, 0));
        NothingElseRan();
    }

    // The tool found at start-up fronts the command; the tool popup and typing leave it so, each
    // rebuilding the command; the dialog's answer replaces it, and its cancel leaves none.
    void toolChoice() {
        Sample();
        const FolderItem found(mLayout->Path(kBundle + "esptool")), ck(Dir("ck tool/esptool-ck"));
        const QString command = found.ShellPath() + kPortArgs;
        QCOMPARE(w->EspToolEF.Text(), found.ShellPath());
        QCOMPARE(w->InstallEF.Text(), command);
        QCOMPARE(w->tooltypePM.ListIndex(), 1);
        for (int row : {0, 1}) { // no esptool-ck item: neither row shows a tool
            w->InstallEF.SetText("hand edit");
            w->tooltypePM.SetListIndex(row);
            QCOMPARE(w->mEspToolUse, row);
            QCOMPARE(w->EspToolEF.Text(), QString());
            QCOMPARE(w->InstallEF.Text(), command);
        }
        w->mEspToolCk = ck;
        w->tooltypePM.SetListIndex(0);
        w->tooltypePM.SetListIndex(1);
        QCOMPARE(w->EspToolEF.Text(), ck.NativePath());
        QCOMPARE(w->mEspTool, ck.ShellPath());
        w->tooltypePM.SetListIndex(0);
        QCOMPARE(w->mEspTool, QString());
        w->InstallEF.SetText("hand edit");
        w->EspToolEF.SetText("/somewhere/else/esptool");
        QCOMPARE(w->InstallEF.Text(), command);
        mSeams->openAnswer = FolderItem(Dir("with blank/esptool"));
        w->SelectESPPB.Push();
        QCOMPARE(mSeams->lastDialog.InitialDirectory, GetFolderItem(""));
        QCOMPARE(w->EspToolEF.Text(), Dir("with blank/esptool"));
        QCOMPARE(w->InstallEF.Text(), mSeams->openAnswer.ShellPath() + kPortArgs);
        mSeams->openAnswer = FolderItem();
        w->SelectESPPB.Push();
        QCOMPARE(w->EspToolEF.Text(), QString());
        QCOMPARE(w->InstallEF.Text(), kPortArgs.trimmed());
    }

    // The upload list paints its rows in alternating backgrounds, so the eye can follow a row.
    void uploadListRows() {
        for (const char* name : {"x.bin", "y.bin"}) {
            QVERIFY(WriteFile(Dir(name), "x"));
            w->SetUploadFileToList(FolderItem(Dir(name)), "0x1000");
        }
        w->Show();
        auto* table = static_cast<QTableWidget*>(w->ulb.Widget());
        QVERIFY(table->rowCount() >= 2);
        const QImage shot = table->viewport()->grab().toImage();
        const auto background = [&](int row) {
            return shot.pixelColor(table->visualItemRect(table->item(row, 1)).topLeft() + QPoint(2, 2));
        };
        QVERIFY(background(0) != background(1));
        QVERIFY(background(0) != table->palette().color(QPalette::Base));
    }

    // Every neighbour of the list rebuilds the command. Files go to the first free row; Delete keeps
    // the last row, free; a settings file's names beside it replace the rows, fields as they stand.
    void uploadList() {
        Sample();
        const QString command = w->InstallEF.Text(), dir = Dir("settings/");
        const QString a = UploadList::RowText("a.bin", dir + "a.bin"), b = UploadList::RowText("b.bin", dir + "b.bin"),
                      c = UploadList::RowText("c.bin", dir + "c.bin");
        QCOMPARE(w->ulb.CellType(0, 1), int(Listbox::TypeEditable));
        w->ulb.SetListIndex(0);
        QVERIFY(w->DeletePB.Enabled());
        auto* table = static_cast<QTableWidget*>(w->ulb.Widget());
        const std::function<void()> edits[] = {
            [&] { table->item(0, 1)->setText("0x1000"); }, [&] { w->AddressEF.SetText("0x2000"); },
            [&] { w->ResetEF.SetText("nodemcu"); }, [&] { w->UploadEF.SetText("file.bin"); }};
        for (const auto& edit : edits) {
            w->InstallEF.SetText("hand edit");
            edit();
            QCOMPARE(w->InstallEF.Text(), command);
        }
        for (const char* name : {"a.bin", "b.bin", "c.bin"})
            QVERIFY(WriteFile(dir + name, "x"));
        w->InstallEF.SetText("hand edit");
        w->SetUploadFileToList(FolderItem(dir + "a.bin"), "0x1000");
        w->SetUploadFileToList(FolderItem(dir + "b.bin"), "0x2000");
        QCOMPARE(w->ulb.CellType(1, 1), int(Listbox::TypeEditable));
        w->ulb.SetCell(1, 0, "");
        w->SetUploadFileToList(FolderItem(dir + "c.bin"), "0x3000");
        QCOMPARE(Rows(w->ulb), QStringList({a, "0x1000", c, "0x3000"}));
        QCOMPARE(w->ulb.CellTag(1, 0), FolderItem(dir + "c.bin"));
        w->SetInstallSetting(FolderItem());
        w->SetInstallSetting(FolderItem(dir + "none.txt"));
        QCOMPARE(w->InstallEF.Text(), QString("hand edit"));
        w->ulb.SetListIndex(0);
        w->DeletePB.Push();
        QCOMPARE(Rows(w->ulb), QStringList({c, "0x3000"}));
        QCOMPARE(w->InstallEF.Text(), command);
        w->ulb.SetListIndex(0);
        w->DeletePB.Push();
        QCOMPARE(Rows(w->ulb), QStringList({"", "0x3000"}));
        QVERIFY(w->ulb.CellTag(0, 0).IsNil());
        const std::pair<QByteArray, QStringList> files[] = {
            {"", {"", "0x00100000"}},
            {"\nmissing.bin,0x9\r\na.bin, 0x1,x\r\n\nb.bin\ra.bin,0x3", {a, " 0x1", b, "", a, "0x3"}}};
        for (const auto& [content, rows] : files) {
            QVERIFY(WriteFile(dir + "install.txt", content));
            w->InstallEF.SetText("hand edit");
            w->SetInstallSetting(FolderItem(dir + "install.txt"));
            QCOMPARE(Rows(w->ulb), rows);
            QCOMPARE(w->InstallEF.Text(), command);
        }
    }
};

QTEST_MAIN(TstFlash)
#include "tst_flash.moc"

#include "FlashSupport.h"
#include "TestSupport.h"

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace TestSupport;
using namespace FlashSupport;

class TstToolChoice : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void startUp();
    void popupRows();
    void typingKeepsTheTool();
    void dialogChoosesTool();
    void dialogCancelDropsTool();
    void realDialogTakesBareExecutable();
    void toolOnPath_data();
    void toolOnPath();

private:
    std::unique_ptr<AppFolderLayout> mLayout;
    std::unique_ptr<SeamRecorder> mSeams;
    QTemporaryDir mDir;
    EspWin* mWin = nullptr;
};

void TstToolChoice::init() {
    mLayout = std::make_unique<AppFolderLayout>();
    QVERIFY(QDir().mkpath(mLayout->Path("firmwares")));
    QVERIFY(InstallFakeTool(mLayout->Path("Corvane.app/Contents/Resources/esptool")));
    mSeams = std::make_unique<SeamRecorder>();
    mWin = EspWin::Instance();
    ShowOnePort(mWin, "ttyUSB0");
    LoadPresets(mWin, {Record("Sample", FolderItem(mDir.path()), "", {"--port %port"})}, 0);
}

void TstToolChoice::cleanup() {
    DisposeWindow();
    mSeams.reset();
    mLayout.reset();
}

void TstToolChoice::startUp() {
    // The parked popup shows the row of mEspToolUse, and with no esptool-ck item there is
    // nothing for it to show: the tool found at start-up stands.
    QCOMPARE(mWin->tooltypePM.ListIndex(), 1);
    QCOMPARE(mWin->mEspToolUse, 1);
    QVERIFY(mWin->tooltypePM.Parked());
    mWin->Show();
    QVERIFY(!mWin->tooltypePM.Widget()->isVisible());
    QCOMPARE(mWin->mEspTool, QString());
    const FolderItem found(mLayout->Path("Corvane.app/Contents/Resources/esptool"));
    QCOMPARE(mWin->mEspToolApp, found);
    QCOMPARE(mWin->EspToolEF.Text(), found.ShellPath());
    QCOMPARE(mWin->InstallEF.Text(), found.ShellPath() + " --port /dev/ttyUSB0");
}

void TstToolChoice::popupRows() {
    const QString command = mWin->InstallEF.Text();
    const FolderItem tool = mWin->mEspToolApp;

    // Row 0, driven by code: the pane shows the empty esptool.py text, the tool stays.
    mWin->tooltypePM.SetListIndex(0);
    QCOMPARE(mWin->mEspToolUse, 0);
    QCOMPARE(mWin->EspToolEF.Text(), QString());
    QCOMPARE(mWin->mEspTool, QString());
    QCOMPARE(mWin->mEspToolApp, tool);
    QCOMPARE(mWin->InstallEF.Text(), command);

    // Row 1 with an esptool-ck item: plain path shown, escaped path kept, command unchanged.
    const FolderItem ck(mDir.filePath("ck tool/esptool-ck"));
    mWin->mEspToolCk = ck;
    mWin->tooltypePM.SetListIndex(1);
    QCOMPARE(mWin->mEspToolUse, 1);
    QCOMPARE(mWin->EspToolEF.Text(), ck.NativePath());
    QCOMPARE(mWin->mEspTool, ck.ShellPath());
    QCOMPARE(mWin->InstallEF.Text(), command);
}

void TstToolChoice::typingKeepsTheTool() {
    const QString command = mWin->InstallEF.Text();
    mWin->InstallEF.SetText("my own edit");
    mWin->EspToolEF.SetText("/somewhere/else/esptool");
    QCOMPARE(mWin->InstallEF.Text(), command);
}

void TstToolChoice::dialogChoosesTool() {
    const FolderItem chosen(mDir.filePath("with blank/esptool"));
    mSeams->openAnswer = chosen;
    mWin->SelectESPPB.Push();

    QCOMPARE(mSeams->openQuestions, 1);
    QCOMPARE(mSeams->lastDialog.Title, QString("Select ESPTool"));
    QCOMPARE(mSeams->lastDialog.PromptText, QString::fromUtf8("ESPToolを選択して下さい...."));
    QCOMPARE(mSeams->lastDialog.Filter, QString("BinHex"));
    QCOMPARE(mSeams->lastDialog.InitialDirectory, GetFolderItem(""));

    QCOMPARE(mWin->mEspToolApp, chosen);
    QCOMPARE(mWin->EspToolEF.Text(), mDir.filePath("with blank/esptool"));
    QCOMPARE(mWin->InstallEF.Text(), chosen.ShellPath() + " --port /dev/ttyUSB0");
    QVERIFY(mWin->InstallEF.Text().contains("with\\ blank"));
}

void TstToolChoice::dialogCancelDropsTool() {
    mSeams->openAnswer = FolderItem();
    mWin->SelectESPPB.Push();
    QCOMPARE(mSeams->openQuestions, 1);
    QVERIFY(mWin->mEspToolApp.IsNil());
    QCOMPARE(mWin->EspToolEF.Text(), QString());
    QCOMPARE(mWin->InstallEF.Text(), QString("--port /dev/ttyUSB0"));
}

// Without a seam the platform's own dialog comes up; the flash tool, a file without an
// extension, must be selectable in it.
void TstToolChoice::realDialogTakesBareExecutable() {
    const QString tool = mDir.filePath("bare/esptool");
    QVERIFY(InstallFakeTool(tool));
    Seams::SetOpenDialog(nullptr);
    mWin->Show();

    QString title;
    bool answered = false;
    // The dialog lists its folder in the background: choose the file on every tick until
    // the dialog has taken it, then confirm.
    QTimer poll;
    connect(&poll, &QTimer::timeout, this, [&] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        title = dialog->windowTitle();
        // As a user would: the path typed into the name field, which keeps a focused
        // field's text from selectFile.
        dialog->selectFile(tool);
        if (auto* name = dialog->findChild<QLineEdit*>("fileNameEdit"))
            name->setText(tool);
        if (dialog->selectedFiles() != QStringList{tool})
            return;
        answered = true;
        static_cast<QDialog*>(dialog)->accept();
    });
    poll.start(20);
    // Should the dialog refuse the file, it would stay open: close it so the test ends.
    QTimer giveUp;
    giveUp.setSingleShot(true);
    connect(&giveUp, &QTimer::timeout, this, [] {
        if (QWidget* modal = QApplication::activeModalWidget())
            modal->close();
    });
    giveUp.start(60000);

    mWin->SelectESPPB.Push();
    QVERIFY(answered);
    QCOMPARE(title, QString("Select ESPTool"));
    QCOMPARE(mWin->mEspToolApp, FolderItem(tool));
    QCOMPARE(mWin->EspToolEF.Text(), tool);
}

void TstToolChoice::toolOnPath_data() {
    QTest::addColumn<QStringList>("files"); // "folder/name" and how: x runs, - doesn't, / a folder
    QTest::addColumn<bool>("beside");
    QTest::addColumn<QString>("found");

    QTest::newRow("found") << QStringList{"a/esptool x"} << false << "a/esptool";
    QTest::newRow("first on PATH") << QStringList{"a/esptool x", "b/esptool x"} << false << "a/esptool";
    QTest::newRow("not executable") << QStringList{"a/esptool -", "b/esptool x"} << false << "b/esptool";
    QTest::newRow("not executable anywhere") << QStringList{"a/esptool -", "b/esptool.py -"} << false << "";
    QTest::newRow("a folder") << QStringList{"a/esptool /", "b/esptool.py x"} << false << "b/esptool.py";
    QTest::newRow("esptool.py only") << QStringList{"b/esptool.py x"} << false << "b/esptool.py";
    QTest::newRow("esptool before an earlier esptool.py")
        << QStringList{"a/esptool.py x", "b/esptool x"} << false << "b/esptool";
    QTest::newRow("nothing on PATH") << QStringList{} << false << "";
    QTest::newRow("beside the program first") << QStringList{"a/esptool x"} << true << "";
}

// pip and pipx put the tool on PATH; it is taken as if it lay beside the program, and the
// dialog still replaces it.
void TstToolChoice::toolOnPath() {
    QFETCH(QStringList, files);
    QFETCH(bool, beside);
    QFETCH(QString, found);
    DisposeWindow();
    if (!beside)
        QVERIFY(QFile::remove(mLayout->Path("Corvane.app/Contents/Resources/esptool")));
    QTemporaryDir path;
    for (const QString& file : files) {
        const QString at = path.filePath(file.section(' ', 0, 0));
        const QString how = file.section(' ', 1);
        if (how == "/") {
            QVERIFY(QDir().mkpath(at));
        } else {
            QVERIFY(WriteFile(at, "#!/bin/sh\necho stand-in\n"));
            QVERIFY(QFile::setPermissions(at, how == "x" ? QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
                                                         : QFile::ReadOwner | QFile::WriteOwner));
        }
    }
    const QByteArray oldPath = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(path.filePath("a") + ':' + path.filePath("b")));
    mWin = EspWin::Instance();
    qputenv("PATH", oldPath);
    ShowOnePort(mWin, "ttyUSB0");
    LoadPresets(mWin, {Record("Sample", FolderItem(mDir.path()), "", {"--port %port"})}, 0);

    const FolderItem tool = beside            ? FolderItem(mLayout->Path("Corvane.app/Contents/Resources/esptool"))
                            : found.isEmpty() ? FolderItem()
                                              : FolderItem(path.filePath(found));
    QCOMPARE(mWin->mEspToolApp, tool);
    QCOMPARE(mWin->EspToolEF.Text(), tool.IsNil() ? QString() : tool.ShellPath());
    QCOMPARE(mWin->InstallEF.Text(), (tool.IsNil() ? QString() : tool.ShellPath() + ' ') + "--port /dev/ttyUSB0");

    const FolderItem chosen(mDir.filePath("chosen/esptool"));
    mSeams->openAnswer = chosen;
    mWin->SelectESPPB.Push();
    QCOMPARE(mWin->mEspToolApp, chosen);
    QCOMPARE(mWin->InstallEF.Text(), chosen.ShellPath() + " --port /dev/ttyUSB0");
}

QTEST_MAIN(TstToolChoice)
#include "tst_toolchoice.moc"

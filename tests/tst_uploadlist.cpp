#include "FlashSupport.h"
#include "TestSupport.h"

#include <QImage>
#include <QPainter>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;
using namespace FlashSupport;

namespace {

// The rows of the list as (first cell, address) pairs.
QList<QStringList> Rows(const Listbox& list) {
    QList<QStringList> rows;
    for (int i = 0; i < list.ListCount(); ++i)
        rows.append({list.Cell(i, 0), list.Cell(i, 1)});
    return rows;
}

QString RowText(const QString& path) {
    const FolderItem f(path);
    return f.Name() + " (" + f.NativePath() + ")";
}

QRgb Painted(EspWin* w, int row, int column) {
    QImage image(16, 8, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    Graphics g(&painter, image.width(), image.height());
    const bool done = w->ulb.PaintBackground(g, row, column);
    painter.end();
    if (done)
        return 0;
    const QRgb corner = image.pixel(0, 0);
    return corner == image.pixel(15, 7) ? corner : 1;
}

} // namespace

class TstUploadList : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void designAndSelection();
    void rowColours();
    void editsRebuildCommand();
    void deleteKeepsLastRow();
    void filesGoToFreeRows();
    void settingsFile_data();
    void settingsFile();
    void settingsFileMissing();

private:
    std::unique_ptr<AppFolderLayout> mLayout;
    std::unique_ptr<SeamRecorder> mSeams;
    std::unique_ptr<QTemporaryDir> mDir;
    EspWin* mWin = nullptr;
};

void TstUploadList::init() {
    mLayout = std::make_unique<AppFolderLayout>();
    QVERIFY(QDir().mkpath(mLayout->Path("firmwares")));
    mSeams = std::make_unique<SeamRecorder>();
    mDir = std::make_unique<QTemporaryDir>();
    mWin = EspWin::Instance();
    mWin->mEspToolApp = FolderItem(mDir->filePath("esptool"));
    ShowOnePort(mWin, "ttyUSB0");
    LoadPresets(mWin, {Record("Sample", FolderItem(mDir->path()), "", {"--port %port"})}, 0);
}

void TstUploadList::cleanup() {
    DisposeWindow();
    mSeams.reset();
    mLayout.reset();
    mDir.reset();
}

void TstUploadList::designAndSelection() {
    QCOMPARE(Rows(mWin->ulb), (QList<QStringList>{{"", "0x00000000"}}));
    QCOMPARE(mWin->ulb.CellType(0, 1), 3);
    QCOMPARE(mWin->ulb.CellType(0, 0), 0);
    QVERIFY(!mWin->DeletePB.Enabled());

    mWin->ulb.SetListIndex(0);
    QVERIFY(mWin->DeletePB.Enabled());
    mWin->ulb.SetListIndex(-1);
    QVERIFY(!mWin->DeletePB.Enabled());

    QCOMPARE(mWin->ReplaceToRelativePath("/some/file.bin"), QString());
    QCOMPARE(mWin->ReplaceToRelativePath(""), QString());
}

void TstUploadList::rowColours() {
    for (const QString& name : {"a.bin", "b.bin", "c.bin"}) {
        QVERIFY(WriteFile(mDir->filePath(name), "x"));
        mWin->SetUploadFileToList(FolderItem(mDir->filePath(name)), "0x0");
    }
    const QRgb even = qRgb(0xD2, 0xFF, 0xF3);
    const QRgb odd = qRgb(0xD2, 0xED, 0xF5);
    QCOMPARE(Painted(mWin, 0, 0), even);
    QCOMPARE(Painted(mWin, 0, 1), even);
    QCOMPARE(Painted(mWin, 1, 0), odd);
    QCOMPARE(Painted(mWin, 1, 1), odd);
    QCOMPARE(Painted(mWin, 2, 1), even);
}

// Each of the list's neighbours has the command rebuilt, overwriting a hand edit.
void TstUploadList::editsRebuildCommand() {
    const QString command = mWin->InstallEF.Text();
    QVERIFY(command.endsWith("--port /dev/ttyUSB0"));
    auto* table = static_cast<QTableWidget*>(mWin->ulb.Widget());

    const QList<std::pair<const char*, std::function<void()>>> edits = {
        {"address cell", [&] { table->item(0, 1)->setText("0x1000"); }},
        {"AddressEF", [&] { mWin->AddressEF.SetText("0x2000"); }},
        {"ResetEF", [&] { mWin->ResetEF.SetText("nodemcu"); }},
        {"UploadEF", [&] { mWin->UploadEF.SetText("file.bin"); }},
    };
    for (const auto& [what, edit] : edits) {
        mWin->InstallEF.SetText("hand edit");
        edit();
        QVERIFY2(mWin->InstallEF.Text() == command, what);
    }
}

void TstUploadList::deleteKeepsLastRow() {
    QVERIFY(WriteFile(mDir->filePath("a.bin"), "a"));
    QVERIFY(WriteFile(mDir->filePath("b.bin"), "b"));
    mWin->SetUploadFileToList(FolderItem(mDir->filePath("a.bin")), "0x1000");
    mWin->SetUploadFileToList(FolderItem(mDir->filePath("b.bin")), "0x2000");
    const QString command = mWin->InstallEF.Text();

    mWin->ulb.SetListIndex(0);
    QVERIFY(mWin->DeletePB.Enabled());
    mWin->InstallEF.SetText("hand edit");
    mWin->DeletePB.Push();
    QCOMPARE(Rows(mWin->ulb), (QList<QStringList>{{RowText(mDir->filePath("b.bin")), "0x2000"}}));
    QCOMPARE(mWin->ulb.CellTag(0, 0), FolderItem(mDir->filePath("b.bin")));
    QCOMPARE(mWin->InstallEF.Text(), command);

    // The last row stays, free, its address untouched.
    mWin->ulb.SetListIndex(0);
    mWin->DeletePB.Push();
    QCOMPARE(Rows(mWin->ulb), (QList<QStringList>{{"", "0x2000"}}));
    QVERIFY(mWin->ulb.CellTag(0, 0).IsNil());
}

void TstUploadList::filesGoToFreeRows() {
    for (const QString& name : {"a.bin", "b.bin", "c.bin"})
        QVERIFY(WriteFile(mDir->filePath(name), "x"));
    const QString a = mDir->filePath("a.bin"), b = mDir->filePath("b.bin"), c = mDir->filePath("c.bin");
    mWin->InstallEF.SetText("hand edit");

    mWin->SetUploadFileToList(FolderItem(a), "0x1000");
    QCOMPARE(Rows(mWin->ulb), (QList<QStringList>{{RowText(a), "0x1000"}}));
    mWin->SetUploadFileToList(FolderItem(b), "0x2000");
    QCOMPARE(mWin->ulb.ListCount(), 2);
    QCOMPARE(mWin->ulb.CellTag(1, 0), FolderItem(b));
    QCOMPARE(mWin->ulb.CellType(1, 1), 3);

    // A row freed in the middle is taken before any new one is added.
    mWin->ulb.SetCell(0, 0, "");
    mWin->SetUploadFileToList(FolderItem(c), "0x3000");
    QCOMPARE(Rows(mWin->ulb), (QList<QStringList>{{RowText(c), "0x3000"}, {RowText(b), "0x2000"}}));
    QCOMPARE(mWin->ulb.CellTag(0, 0), FolderItem(c));
    QCOMPARE(mWin->InstallEF.Text(), QString("hand edit"));
}

void TstUploadList::settingsFile_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("expected"); // name, address, name, address...

    QTest::newRow("empty file") << QByteArray() << QStringList{"", "0x00100000"};
    QTest::newRow("one entry overwrites the reset address")
        << QByteArray("a.bin,0x1000\n") << QStringList{"a.bin", "0x1000"};
    QTest::newRow("blank lines and missing files are passed over")
        << QByteArray("\nmissing.bin,0x9000\n\nb.bin,0x2000\n\n") << QStringList{"b.bin", "0x2000"};
    QTest::newRow("no comma gives no address") << QByteArray("c.bin") << QStringList{"c.bin", ""};
    QTest::newRow("blanks are not trimmed")
        << QByteArray("a.bin, 0x1000\n a.bin,0x2000\nb.bin ,0x3000\n") << QStringList{"a.bin", " 0x1000"};
    QTest::newRow("only two fields count") << QByteArray("a.bin,0x1,extra\r\n") << QStringList{"a.bin", "0x1"};
    QTest::newRow("same file twice, any line ends") << QByteArray("a.bin,0x1\r\nb.bin,0x2\ra.bin,0x3")
                                                    << QStringList{"a.bin", "0x1", "b.bin", "0x2", "a.bin", "0x3"};
    QTest::newRow("nothing usable") << QByteArray("x.bin,0x1\n\n") << QStringList{"", "0x00100000"};
}

void TstUploadList::settingsFile() {
    QFETCH(QByteArray, content);
    QFETCH(QStringList, expected);

    const QString dir = mDir->filePath("settings");
    for (const QString& name : {"a.bin", "b.bin", "c.bin"})
        QVERIFY(WriteFile(dir + "/" + name, "x"));
    QVERIFY(WriteFile(dir + "/install.txt", content));
    // Rows from before go.
    QVERIFY(WriteFile(mDir->filePath("old.bin"), "x"));
    mWin->SetUploadFileToList(FolderItem(mDir->filePath("old.bin")), "0x7");
    const QString command = mWin->InstallEF.Text();
    mWin->InstallEF.SetText("hand edit");

    mWin->SetInstallSetting(FolderItem(dir + "/install.txt"));

    QList<QStringList> want;
    for (int i = 0; i < expected.size(); i += 2)
        want.append({expected.at(i).isEmpty() ? QString() : RowText(dir + "/" + expected.at(i)), expected.at(i + 1)});
    QCOMPARE(Rows(mWin->ulb), want);
    for (int i = 0; i < want.size(); ++i) {
        if (!expected.at(2 * i).isEmpty()) {
            QCOMPARE(mWin->ulb.CellTag(i, 0), FolderItem(dir + "/" + expected.at(2 * i)));
            QCOMPARE(mWin->ulb.CellType(i, 1), 3);
        }
    }
    QCOMPARE(mWin->InstallEF.Text(), command);
}

void TstUploadList::settingsFileMissing() {
    QVERIFY(WriteFile(mDir->filePath("a.bin"), "x"));
    mWin->SetUploadFileToList(FolderItem(mDir->filePath("a.bin")), "0x1000");
    const QList<QStringList> before = Rows(mWin->ulb);
    mWin->InstallEF.SetText("hand edit");

    mWin->SetInstallSetting(FolderItem());
    mWin->SetInstallSetting(FolderItem(mDir->filePath("no-such-settings.txt")));
    QCOMPARE(Rows(mWin->ulb), before);
    QCOMPARE(mWin->InstallEF.Text(), QString("hand edit"));
}

QTEST_MAIN(TstUploadList)
#include "tst_uploadlist.moc"

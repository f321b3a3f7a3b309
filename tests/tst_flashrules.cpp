#include "flash/Flash.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

// Flashing's window-free rules: where the tool is found beside the program, and the upload
// list's rows and settings lines.
class TstFlashRules : public QObject {
    Q_OBJECT
private slots:
    void toolBeside_data();
    void toolBeside();
    void settingsLine_data();
    void settingsLine();
    void rows();
};

void TstFlashRules::toolBeside_data() {
    QTest::addColumn<QStringList>("files"); // a trailing "/" makes a folder
    QTest::addColumn<QString>("found");
    const QString resources = "Corvane.app/Contents/Resources/";
    QTest::newRow("in the bundle first") << QStringList{resources + "esptool", "esptool/esptool", "tools/esptool"}
                                         << resources + "esptool";
    QTest::newRow("esptool folder second")
        << QStringList{resources, "esptool/esptool", "tools/esptool"} << "esptool/esptool";
    QTest::newRow("tools folder third") << QStringList{resources, "tools/esptool"} << "tools/esptool";
    QTest::newRow("an empty esptool folder hides tools") << QStringList{resources, "esptool/", "tools/esptool"} << "";
    QTest::newRow("none of the three") << QStringList{resources, "bin/esptool"} << "";
    QTest::newRow("no bundle") << QStringList{"esptool/esptool", "tools/esptool"} << "";
    QTest::newRow("bundle without Resources") << QStringList{"Corvane.app/Contents/", "tools/esptool"} << "";
    QTest::newRow("Resources is a file") << QStringList{"Corvane.app/Contents/Resources", "tools/esptool"} << "";
    QTest::newRow("bundle of another name")
        << QStringList{"Other.app/Contents/Resources/esptool", "tools/esptool"} << "";
}

void TstFlashRules::toolBeside() {
    QFETCH(QStringList, files);
    QFETCH(QString, found);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    for (const QString& name : files) {
        const QString path = dir.filePath(name);
        QVERIFY(QDir().mkpath(name.endsWith('/') ? path : QFileInfo(path).path()));
        if (!name.endsWith('/')) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
    }
    const FolderItem tool = FlashToolBeside(FolderItem(dir.path()));
    QCOMPARE(tool.IsNil() ? QString() : QDir(dir.path()).relativeFilePath(tool.NativePath()), found);
}

void TstFlashRules::settingsLine_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("address");
    QTest::newRow("name and address") << "app.bin,0x10000"
                                      << "app.bin"
                                      << "0x10000";
    QTest::newRow("no comma") << "app.bin"
                              << "app.bin"
                              << "";
    QTest::newRow("blank behind the comma stays") << "app.bin, 0x10000"
                                                  << "app.bin"
                                                  << " 0x10000";
    QTest::newRow("blank before the comma is the name's") << "app.bin ,0x1"
                                                          << "app.bin "
                                                          << "0x1";
    QTest::newRow("third field ignored") << "a.bin,0x1,extra"
                                         << "a.bin"
                                         << "0x1";
    QTest::newRow("no name") << ",0x1"
                             << ""
                             << "0x1";
}

void TstFlashRules::settingsLine() {
    QFETCH(QString, line);
    QFETCH(QString, name);
    QFETCH(QString, address);
    const UploadList::SettingsEntry entry = UploadList::ReadSettingsLine(line);
    QCOMPARE(entry.Name, name);
    QCOMPARE(entry.Address, address);
}

void TstFlashRules::rows() {
    QCOMPARE(UploadList::RowText("app.bin", "/fw/app.bin"), QString("app.bin (/fw/app.bin)"));
    QCOMPARE(UploadList::RelativePath("/fw/app.bin"), QString());
    QCOMPARE(UploadList::RelativePath(QString()), QString());
}

QTEST_GUILESS_MAIN(TstFlashRules)
#include "tst_flashrules.moc"

#include "flash/Flash.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

// Flashing's window-free rules: where the tool is looked for.
class TstFlashRules : public QObject {
    Q_OBJECT
    QString mApp = QCoreApplication::applicationDirPath();
    QTemporaryDir mPath;
    // a/ and b/ are on PATH; the rest lies beside the program.
    QString Where(const QString& entry) const {
        return (entry.startsWith("a/") || entry.startsWith("b/") ? mPath.path() : mApp) + '/' + entry;
    }

private slots:
    void init() {
        for (const char* name : {"Corvane.app", "esptool", "tools", "bin"})
            QDir(mApp + '/' + name).removeRecursively();
        QDir(mPath.path()).removeRecursively();
    }

    // Beside the program, in the first of three places, else esptool then esptool.py on PATH.
    void toolSearch_data() {
        // What is found, then what lies where: "name/" a folder, "name -" a file that doesn't run.
        QTest::addColumn<QStringList>("files");
        const QString res = "Corvane.app/Contents/Resources/";
        QTest::newRow("first place") << QStringList{res + "esptool", res + "esptool", "esptool/esptool", "a/esptool"};
        QTest::newRow("second place") << QStringList{"esptool/esptool", res, "esptool/esptool", "tools/esptool"};
        QTest::newRow("third place") << QStringList{"tools/esptool", res, "tools/esptool"};
        QTest::newRow("empty esptool folder hides tools") << QStringList{"", res, "esptool/", "tools/esptool"};
        QTest::newRow("none of the three") << QStringList{"", res, "bin/esptool"};
        QTest::newRow("no bundle") << QStringList{"", "esptool/esptool", "tools/esptool"};
        QTest::newRow("Resources is a file") << QStringList{"", "Corvane.app/Contents/Resources", "tools/esptool"};
        QTest::newRow("first on PATH") << QStringList{"a/esptool", "a/esptool", "b/esptool"};
        QTest::newRow("only esptool.py runs") << QStringList{"b/esptool.py", "a/esptool -", "b/esptool.py"};
        QTest::newRow("esptool before esptool.py") << QStringList{"b/esptool", "a/esptool.py", "b/esptool"};
        QTest::newRow("nothing") << QStringList{""};
    }
    void toolSearch() {
        QFETCH(QStringList, files);
        const auto rw = QFile::ReadOwner | QFile::WriteOwner;
        for (const QString& entry : files.mid(1)) {
            const QString path = Where(entry.section(' ', 0, 0));
            QFile file(path);
            QVERIFY(path.endsWith('/') ? QDir().mkpath(path)
                                       : QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
                                             file.setPermissions(entry.endsWith(" -") ? rw : rw | QFile::ExeOwner));
        }
        const QByteArray oldPath = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(mPath.filePath("a") + ':' + mPath.filePath("b")));
        const FolderItem tool = FindFlashTool();
        qputenv("PATH", oldPath);
        QCOMPARE(tool, files[0].isEmpty() ? FolderItem() : FolderItem(Where(files[0])));
    }
};

QTEST_GUILESS_MAIN(TstFlashRules)
#include "tst_flashrules.moc"

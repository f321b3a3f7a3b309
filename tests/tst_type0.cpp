#include "CatalogueSupport.h"

#include "catalogue/Cuts.h"

#include <QTemporaryDir>
#include <QTest>

using namespace TestSupport;
using namespace CatalogueSupport;

class TstType0 : public QObject {
    Q_OBJECT
private slots:
    void init() { mWindow = QuietWindow(); }
    void cleanup() { DisposeWindow(); }
    void reader_data();
    void reader();
    void lineEnds_data();
    void lineEnds();
    void unreadable();

private:
    // Reads the bytes as a manifest after `before` plain entries; true when the file was stopped.
    bool Read(const QByteArray& bytes, int before, QStringList* described);

    AppFolderLayout mLayout;
    SeamRecorder mSeams;
    QTemporaryDir mDir;
    EspWin* mWindow = nullptr;
};

bool TstType0::Read(const QByteArray& bytes, int before, QStringList* described) {
    const QString path = mDir.filePath("manifest.json");
    WriteFile(path, bytes);
    mWindow->mFirm.clear();
    for (int i = 0; i < before; ++i)
        mWindow->mFirm.append(Record("pre"));
    bool stopped = false;
    try {
        mWindow->LoadFirmJsonType0(FolderItem(path));
    } catch (const NilObjectException&) {
        stopped = true;
    }
    *described = Describe(mWindow->mFirm, FolderItem(mDir.path()));
    return stopped;
}

void TstType0::reader_data() {
    QTest::addColumn<int>("before");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<bool>("stopped");

    const QString pre = "pre||||";

    QTest::newRow("worked example") << 0
                                    << QStringList{"[",
                                                   "    {",
                                                   "        \"name\": \"Sample\",",
                                                   "        \"version\": \"1.2.0\",",
                                                   "        \"path\": \"sample\",",
                                                   "        \"commands\": [",
                                                   "            \"--port %port --baud %baud erase_flash\",",
                                                   "            \"--port %port --baud %baud write_flash 0x1000 "
                                                   "%PATH\\\\app.bin\"",
                                                   "        ]",
                                                   "    },",
                                                   "    {",
                                                   "        \"name\": \"Other\",",
                                                   "        \"path\": \"other\",",
                                                   "        \"commands\": [",
                                                   "            \"--port %port write_flash 0x0 %PATH\\\\o.bin\"",
                                                   "        ]",
                                                   "    }",
                                                   "]"}
                                    << QStringList{"Sample|1.2.0|sample|[ --port %port --baud %baud erase_flash]"
                                                   "[--port %port --baud %baud write_flash 0x1000 %PATH\\\\app.bin ]|F",
                                                   "Other||other|[ --port %port write_flash 0x0 %PATH\\\\o.bin ]|F"}
                                    << false;

    QTest::newRow("last key keeps its quote") << 0 << QStringList{"{", "\"name\": \"A\",", "\"path\": \"sample\"", "}"}
                                              << QStringList{"A||sample\"||F"} << false;
    QTest::newRow("inner quote-comma cuts the value")
        << 0 << QStringList{"{", "\"name\": \"a\",b\",", "}"} << QStringList{"a||||F"} << false;
    QTest::newRow("a value holding the key separator ends there")
        << 0 << QStringList{"{", "\"name\": \"x\": y\",", "}"} << QStringList{"x||||F"} << false;
    QTest::newRow("empty path") << 0 << QStringList{"{", "\"path\": \"\",", "}"} << QStringList{"||||F"} << false;
    QTest::newRow("keys ignore letter case")
        << 0 << QStringList{"{", "\"NAME\": \"Up\",", "\"Version\": \"2\",", "\"PaTh\": \"p\",", "}"}
        << QStringList{"Up|2|p||F"} << false;
    QTest::newRow("key and value need quote, colon and one blank")
        << 0 << QStringList{"{", "\"name\":\"x\",", "\"name\" : \"y\",", "\"version\":  \"z\",", "}"}
        << QStringList{"|\"z|||F"} << false;
    QTest::newRow("indentation and blanks at the end")
        << 0 << QStringList{"\t  {  ", "\t\t\"name\": \"A\",\t ", " }, "} << QStringList{"A||||F"} << false;
    QTest::newRow("unknown keys and empty lines are passed over")
        << 0 << QStringList{"{", "", "\"description\": \"d\",", "\"baud\": \"921600\",", "\"name\": \"A\",", "}"}
        << QStringList{"A||||F"} << false;
    QTest::newRow("a key given twice keeps the last; commands twice add") << 0 << QStringList{"{",
                                                                                              "\"name\": \"A\",",
                                                                                              "\"name\": \"B\",",
                                                                                              "\"commands\": [",
                                                                                              "\"x\"",
                                                                                              "]",
                                                                                              "\"commands\": [",
                                                                                              "\"y\"",
                                                                                              "]",
                                                                                              "}"}
                                                                          << QStringList{"B|||[ x ][ y ]|F"} << false;

    QTest::newRow("commands: [] on one line reads on to a line ]")
        << 0 << QStringList{"{", "\"commands\": []", "\"a\"", "]", "}"} << QStringList{"|||[ a ]|F"} << false;
    QTest::newRow("empty list gives one blank")
        << 0 << QStringList{"{", "\"commands\": [", "]", "}"} << QStringList{"|||[ ]|F"} << false;
    QTest::newRow("a comma behind the last command stays")
        << 0 << QStringList{"{", "\"commands\": [", "\"a\",", "]", "}"} << QStringList{"|||[ a,]|F"} << false;
    QTest::newRow("lines without a comma join into one command")
        << 0 << QStringList{"{", "\"commands\": [", "\"a\"", "\"b\"", "]", "}"} << QStringList{"|||[ a b ]|F"} << false;
    QTest::newRow("comma and blank between strings don't cut")
        << 0 << QStringList{"{", "\"commands\": [", "\"a\", \"b\"", "]", "}"} << QStringList{"|||[ a, b ]|F"} << false;
    QTest::newRow("three commands, an empty line inside")
        << 0 << QStringList{"{", "\"commands\": [", "\"a\",", "", "\"b\",", "\"c\"", "]", "}"}
        << QStringList{"|||[ a][b][c ]|F"} << false;
    QTest::newRow("quoted path placeholder loses its quotes")
        << 0
        << QStringList{"{", "\"commands\": [", "\"w 0x0 \\\"%PATH\\\"\\\\x.bin 0x1 \\\"%path\\\"\\\\y.bin\"", "]", "}"}
        << QStringList{"|||[ w 0x0 %PATH\\\\x.bin 0x1 %PATH\\\\y.bin ]|F"} << false;
    QTest::newRow("a line ], doesn't end the list")
        << 0 << QStringList{"{", "\"commands\": [", "\"a\",", "],", "]", "}"} << QStringList{"|||[ a,],]|F"} << false;

    QTest::newRow("key line before the first opener stops the file")
        << 0 << QStringList{"\"name\": \"x\",", "{", "\"name\": \"A\",", "}"} << QStringList{} << true;
    QTest::newRow("closer before the first opener stops the file")
        << 1 << QStringList{"}", "{", "\"name\": \"A\",", "}"} << QStringList{pre} << true;
    QTest::newRow("a command list before the first opener is read, then stops")
        << 0 << QStringList{"\"commands\": [", "\"a\"", "]", "{", "\"name\": \"A\",", "}"} << QStringList{} << true;

    QTest::newRow("no separator behind one entry")
        << 1 << QStringList{"{", "\"name\": \"A\",", "}"} << QStringList{pre, "A||||F"} << false;
    QTest::newRow("separator behind two entries, even for no record")
        << 2 << QStringList{"[", "]"} << QStringList{pre, pre, "-||||"} << false;
    QTest::newRow("a key before the first opener writes into the separator")
        << 2 << QStringList{"\"name\": \"Renamed\",", "{", "\"name\": \"A\",", "}"}
        << QStringList{pre, pre, "Renamed||||", "A||||F"} << false;
    QTest::newRow("a closer before the first opener appends the separator again")
        << 2 << QStringList{"},", "{", "\"name\": \"A\",", "}"} << QStringList{pre, pre, "-||||F", "-||||F=2", "A||||F"}
        << false;
    QTest::newRow("a second closer appends the record again")
        << 0 << QStringList{"{", "\"name\": \"A\",", "},", "}"} << QStringList{"A||||F", "A||||F=0"} << false;
    QTest::newRow("a key behind a closer changes the listed record")
        << 0 << QStringList{"{", "\"name\": \"A\",", "},", "\"version\": \"9\","} << QStringList{"A|9|||F"} << false;
    QTest::newRow("an opener drops the unclosed record")
        << 0 << QStringList{"{", "\"name\": \"lost\",", "{", "\"name\": \"B\",", "}"} << QStringList{"B||||F"} << false;
    QTest::newRow("an entry never closed gives no record")
        << 0 << QStringList{"[", "{", "\"name\": \"A\","} << QStringList{} << false;
    QTest::newRow("entries don't carry over")
        << 0 << QStringList{"{", "\"name\": \"A\",", "\"version\": \"1\",", "}", "{", "\"path\": \"p\",", "}"}
        << QStringList{"A|1|||F", "||p||F"} << false;

    // The list ends at the end of the file; its record, never closed, is lost like any other.
    QTest::newRow("file ends inside the command list")
        << 0 << QStringList{"{", "\"name\": \"A\",", "\"commands\": [", "\"x\","} << QStringList{} << false;
    QTest::newRow("closed record, then a list cut off by the end")
        << 0 << QStringList{"{", "\"name\": \"A\",", "}", "\"commands\": [", "\"x\","} << QStringList{"A|||[ x,]|F"}
        << false;
    QTest::newRow("a file of one line commands, no record in hand")
        << 0 << QStringList{"\"commands\": ["} << QStringList{} << true;
    QTest::newRow("a file of one line commands, the separator in hand")
        << 2 << QStringList{"\"commands\": ["} << QStringList{pre, pre, "-|||[ ]|"} << false;
}

void TstType0::reader() {
    QFETCH(int, before);
    QFETCH(QStringList, lines);
    QFETCH(QStringList, expected);
    QFETCH(bool, stopped);

    QStringList described;
    QCOMPARE(Read(Lines(lines), before, &described), stopped);
    QCOMPARE(described, expected);

    // Without its last line end the file reads the same.
    QByteArray bare = Lines(lines);
    bare.chop(1);
    QCOMPARE(Read(bare, before, &described), stopped);
    QCOMPARE(described, expected);
}

void TstType0::lineEnds_data() {
    QTest::addColumn<QByteArray>("end");
    QTest::newRow("LF") << QByteArray("\n");
    QTest::newRow("CR") << QByteArray("\r");
    QTest::newRow("CRLF") << QByteArray("\r\n");
}

void TstType0::lineEnds() {
    QFETCH(QByteArray, end);
    const QStringList lines{
        "[", "{", "\"name\": \"A\",", "\"commands\": [", "\"a\",", "\"b\"", "]", "},", "{", "\"name\": \"B\",",
        "}", "]"};
    QStringList described;
    QVERIFY(!Read(Lines(lines, end.constData()), 0, &described));
    QCOMPARE(described, (QStringList{"A|||[ a][b ]|F", "B||||F"}));
}

void TstType0::unreadable() {
    // A file that isn't there, or is a folder, leaves the catalogue as it was.
    mWindow->mFirm = {Record("a"), Record("b")};
    mWindow->LoadFirmJsonType0(FolderItem(mDir.filePath("missing.json")));
    mWindow->LoadFirmJsonType0(FolderItem(mDir.path()));
    QCOMPARE(Names(mWindow->mFirm), (QStringList{"a", "b"}));
}

QTEST_MAIN(TstType0)
#include "tst_type0.moc"

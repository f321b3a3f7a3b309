// The catalogue's window-free units (text helpers, readers, flash.sh writer) over real files in a scratch folder.
#include "catalogue/Catalogue.h"
#include "catalogue/Cuts.h"
#include "platform/Text.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

bool Write(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
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

// name|version|path|[command]...|F, F for `folder`; a type 1 record adds
// |baud|device|framework|description|keywords|author|repository.
QStringList Describe(const QVector<FirmRef>& firm, const FolderItem& folder, bool extras = true) {
    QStringList out;
    for (int i = 0; i < firm.size(); ++i) {
        const FirmClass& r = *firm.at(i);
        QStringList fields{r.mName, r.mVersion, r.mPath, r.mCommand.isEmpty() ? "" : "[" + r.mCommand.join("][") + "]",
                           r.mFirmFolder == folder ? "F" : r.mFirmFolder.NativePath()};
        if (extras && r.mType == 1)
            fields << r.mBaud << r.mDevice << r.mFramework << r.mDescription << r.mKeywords << r.mAuthor
                   << r.mRepository;
        out << fields.join('|');
    }
    return out;
}

// A bound on every read, so that a loop that never ends fails instead of hanging.
const auto Bounded = [] { return Catalogue::KeepGoing([n = 0]() mutable { return ++n < 1000000; }); };

// True when a key line with no record in hand stopped the read.
bool ReadManifest(int type, const FolderItem& file, QVector<FirmRef>& into,
                  const Catalogue::KeepGoing& keepGoing = Bounded()) try {
    const auto stream = TextInputStream::Open(file);
    type == 0 ? Catalogue::ReadType0(*stream, file.Parent(), into, keepGoing)
              : Catalogue::ReadType1(*stream, file.Parent(), into, keepGoing);
    return false;
} catch (const NilObjectException&) {
    return true;
}

const char* const kEnds[][2] = {{"LF", "\n"}, {"CR", "\r"}, {"CRLF", "\r\n"}, {"no last line end", ""}};

// One data row per table row, with `ends` one per line end; a test looks its row up by index.
template <typename Row, size_t N> void AddRows(const Row (&rows)[N], bool ends = false) {
    QTest::addColumn<int>("row");
    QTest::addColumn<QByteArray>("end");
    for (size_t i = 0; i < N; ++i)
        for (int e = 0; e < (ends ? 4 : 1); ++e)
            QTest::addRow("%s%s%s", rows[i].name, ends ? ", " : "", ends ? kEnds[e][0] : "")
                << int(i) << QByteArray(kEnds[e][1]);
}

const auto N = [](double v) { return QString::number(v); };

const char* const kGivenScript = "esptool.py --chip esp32 --port /dev/${port} --baud 921600 --before default_reset "
                                 "--after no_reset write_flash -z \\\n--flash_mode dio --flash_freq 80m --flash_size "
                                 "detect \\\n0x1000 boot_0x1000.bin \\\n0x10000 app_0x10000.bin";
const QString kHead = " --chip esp32 --port %port --baud %baud --before default_reset --after no_reset write_flash -z "
                      " --flash_mode dio --flash_freq 80m --flash_size detect";
const QString kGivenCommand = kHead + "  0x1000 %PATH\\\\boot_0x1000.bin 0x10000 %PATH\\\\app_0x10000.bin ";
// A generated script lists its images by name, app before boot.
const QString kGeneratedCommand = kHead + "   0x10000 %PATH\\\\app_0x10000.bin 0x1000 %PATH\\\\boot_0x1000.bin ";
const QString kBootCommand = kHead + "   0x1000 %PATH\\\\boot_0x1000.bin ";
const char* const kType0Worked =
    "[\n{\n'name': 'Sample',\n'version': '1.2.0',\n'path': 'sample',\n'commands': [\n'--port %port --baud %baud "
    "erase_flash',\n'--port %port write_flash 0x1000 %PATH\\\\app.bin'\n]\n},\n{\n'name': 'Other',\n'path': "
    "'other',\n'commands': [\n'--port %port write_flash 0x0 %PATH\\\\o.bin'\n]\n}\n]";
const char* const kType1Worked =
    "{\n'name': 'Sample',\n'description': 'Demo firmware',\n'keywords': 'demo, test',\n'author': 'Someone',\n"
    "'repository': 'somewhere',\n'version': '1.2.0',\n'firmware_category': [\n{\n'Minimal': {\n'path': 'minimal',\n"
    "'device': [\n'Board1'\n],\n'default_baud': 921600\n}\n},\n{\n'Full': {\n'path': 'full',\n'device': [\n"
    "'Board1'\n],\n'default_baud': 115200\n}\n}\n],\n'framework': 'Arduino'\n}";
const QString kPre = "pre||||", kNone = "|||||||", kTail = "|Board1|Arduino|Demo firmware|demo, test|Someone|somewhere";

// Manifests (' for ") read behind `before` plain records; type 2: a variant's own flash.sh and its commands.
// clang-format off
const struct { int type; const char* name; int before; const char* text; QStringList want; bool stopped = false; }
kManifests[] = {
    {0, "worked example", 0, kType0Worked, {"Sample|1.2.0|sample|[ --port %port --baud %baud erase_flash][--port %port "
        "write_flash 0x1000 %PATH\\\\app.bin ]|F", "Other||other|[ --port %port write_flash 0x0 %PATH\\\\o.bin ]|F"}},
    {0, "the last key keeps its quote, an inner quote-comma or key separator cuts", 0, "{\n'name': 'a',b',\n"
        "'version': 'x': y',\n'path': 'p'\n}", {"a|x|p'||F"}},
    {0, "invalid UTF-8", 0, "{\n'name': 'S\xff\xfe\xc3(',\n'path': '',\n}", {"S\xff\xfe\xc3(||||F"}},
    {0, "indentation and blanks at the end", 0, "\t  {  \n\t\t'name': 'A',\t \n }, ", {"A||||F"}},
    {0, "a key twice keeps the last; commands twice add", 0,
        "{\n'name': 'A',\n'name': 'B',\n'commands': [\n'x'\n]\n'commands': [\n'y'\n]\n}", {"B|||[ x ][ y ]|F"}},
    {0, "commands: [] on one line reads on to a line ]", 0, "{\n'commands': []\n'a'\n]\n}", {"|||[ a ]|F"}},
    {0, "empty list gives one blank", 0, "{\n'commands': [\n]\n}", {"|||[ ]|F"}},
    {0, "a comma behind the last command stays", 0, "{\n'commands': [\n'a',\n]\n}", {"|||[ a,]|F"}},
    {0, "lines without a comma join", 0, "{\n'commands': [\n'a'\n'b'\n]\n}", {"|||[ a b ]|F"}},
    {0, "three commands, an empty line inside", 0, "{\n'commands': [\n'a',\n\n'b',\n'c'\n]\n}", {"|||[ a][b][c ]|F"}},
    {0, "quoted path placeholder loses its quotes", 0, "{\n'commands': [\n'w 0x0 \\'%PATH\\'\\\\x.bin "
        "0x1 \\'%path\\'\\\\y.bin'\n]\n}", {"|||[ w 0x0 %PATH\\\\x.bin 0x1 %PATH\\\\y.bin ]|F"}},
    {0, "placeholder quotes: one after the other, cut short, any letter case, at a cut", 0, "{\n'commands': [\n"
        "'a\\'%PAT\\' b \\'%Path\\'\\'%pATH\\'c','d\\'%PATH',\\'%PATH\\'','e'\n]\n}",
        {"|||[ a\\%PAT\\ b %PATH%PATHc][d\\%PATH,%PATH][e ]|F"}},
    {0, "a key with a letter that folds to an ASCII one; keys that only look alike", 0, "{\n'name': 'A',\n"
        "'N\xe2\x84\xaaME': 'x',\n'n\xc3\xa4me': 'y',\n'command\xc5\xbf': [\n'a'\n]\n}", {"A|||[ a ]|F"}},
    {0, "key line before the first opener stops", 0, "'name': 'x',\n{\n'name': 'A',\n}", {}, true},
    {0, "closer before the first opener stops", 1, "}\n{\n'name': 'A',\n}", {kPre}, true},
    {0, "a list before the first opener is read, then stops", 0, "'commands': [\n'a'\n]\n{\n'name': 'A',\n}", {}, true},
    {0, "no separator behind one entry", 1, "{\n'name': 'A',\n}", {kPre, "A||||F"}},
    {0, "separator behind two entries, even for no record", 2, "[\n]", {kPre, kPre, "-||||"}},
    {0, "a key before the first opener writes into the separator", 2, "'name': 'Renamed',\n{\n'name': 'A',\n}",
        {kPre, kPre, "Renamed||||", "A||||F"}},
    {0, "a closer before the first opener appends the separator again", 2, "},\n{\n'name': 'A',\n}",
        {kPre, kPre, "-||||F", "-||||F", "A||||F"}},
    {0, "an opener drops the unclosed record", 0, "{\n'name': 'lost',\n{\n'name': 'B',\n}", {"B||||F"}},
    {0, "entries don't mix", 0, "{\n'name': 'A',\n'version': '1',\n}\n{\n'path': 'p',\n}", {"A|1|||F", "||p||F"}},
    {0, "file ends inside the command list", 0, "{\n'name': 'A',\n'commands': [\n'x',", {}},
    {0, "closed record, then a list cut off by the end", 0, "{\n'name': 'A',\n}\n'commands': [\n'x',", {"A|||[ x,]|F"}},
    {0, "one line commands, the separator in hand", 2, "'commands': [", {kPre, kPre, "-|||[ ]|"}},

    {1, "worked example: flash.sh read, a folder without one made from its images", 0, kType1Worked,
        {"Sample Minimal|1.2.0|minimal|[" + kGivenCommand + "]|F|921600" + kTail,
         "Sample Full|1.2.0|full|[" + kGeneratedCommand + "]|F|115200" + kTail}},
    {1, "single variant", 0, "{\n'name': 'Solo',\n'description': 'One',\n'repository': 'r',\n'version': '2.0',\n"
        "'firmware_category': {\n'path': 'solo',\n'device': [\n'B2',\n'B3'\n],\n'default_baud': 460800,\n"
        "'framework': 'IDF',\n}\n}", {"Solo|2.0|solo||F|460800,|B2,|IDF,|One|||r"}},
    {1, "one-line device: the line behind it read as device, the one behind that dropped", 0, "{\n'name': 'D',\n"
        "'firmware_category': [\n{\n'V1': {\n'device': ['Board1'],\n'default_baud': 921600\n}\n},\n{\n'V2': {\n"
        "'default_baud': 2,\n'device': ['B']\n}\n},\n{\n'V3': {\n}\n}\n]\n}",
        {"D V1||||F||default_baud: 921600|||||", "D V3||||F" + kNone}},
    {1, "letter case", 0, "{\n'NAME': 'Up',\n'Version': '3',\n'FIRMWARE_CATEGORY': {\n'Default_Baud': 9600\n"
        "'DEVICE': [\n'B'\n]\n}\n'FrameWork': 'X'\n}", {"Up|3|||F|9600|B|X||||"}},
    {1, "cuts that don't fit", 0, "{\n'name':'NoBlank',\n'name' : 'Spaced',\n'name': 'Kept'\n{\n'V': {\n"
        "'version': '1', 'x': '2',\n'description': 'a','b',\n'default_baud': '921600',\n'path': 'p' ,\n}",
        {"Kept' V|1|p' ,||F|'921600|||a|||"}},
    {1, "single-line manifest after two entries", 2,
        "{'name': 'x', 'description': 'd', 'repository': 'r', 'firmware_category': {}}", {kPre, kPre, "-||||"}},
    {1, "no separator behind one entry", 1, "{\n'name': 'S',\n'firmware_category': {\n}\n}", {kPre, "S||||F" + kNone}},
    {1, "fill-in over this file only", 3, "{\n'name': 'S',\n'firmware_category': {\n}\n'version': '7',\n"
        "'framework': 'Arduino'\n}", {kPre, kPre, kPre, "-||||", "S|7|||F|||Arduino||||"}},
    {1, "first line dropped, variant name line eaten", 0, "[\n{\n'name': 'Lost',\n'default_baud': 5\n}\n]",
        {" name||||F|5||||||"}},
    {1, "abandoned and unclosed records", 0, "{\n'name': 'E',\n'version': '1',\n'firmware_category': [\n{\n"
        "'Gone': {\n'default_baud': 1\n{\n'Closed': {\n'path': 'c'\n},\n{\n'Open': {\n'default_baud': 3,",
        {"E Closed|1|c'||F" + kNone}},
    {1, "carried values and the fill-in pass", 0, "{\n'name': 'F',\n'firmware_category': [\n{\n'A': {\n"
        "'default_baud': 1\n}\n},\n'version': '2.0',\n{\n'B': {\n'version': '3.0',\n'name': 'Renamed',\n"
        "'default_baud': 2\n}\n},\n{\n'C': {\n}\n}\n],\n'framework': 'Arduino',\n'version': '9.9'\n}",
        {"F A|9.9'|||F|1||Arduino,||||", "Renamed|3.0|||F|2||Arduino,||||", "Renamed C|3.0|||F|||Arduino,||||"}},
    {1, "variant folders: \\\\ between levels, the manifest's own, never one outside", 0, "{\n'name': 'P',\n"
        "'firmware_category': [\n{\n'A': {\n'path': '',\n}\n},\n{\n'B': {\n'path': 'deep\\\\er',\n}\n},\n{\n'C': {\n"
        "'path': '/full',\n}\n},\n{\n'D': {\n'path': 'full/../full',\n}\n},\n{\n'E': {\n'path': 'missing',\n}\n},\n{\n"
        "'F': {\n'path': 'file',\n}\n},\n{\n'G': {\n'path': 'dir',\n}\n},\n{\n'H': {\n'path': 'link',\n}\n}\n]\n}",
        {"P A|||[" + kBootCommand + "]|F" + kNone, "P B||deep\\\\er|[" + kBootCommand + "]|F" + kNone,
         "P C||/full|[" + kGeneratedCommand + "]|F" + kNone, "P D||full/../full||F" + kNone, "P E||missing||F" + kNone,
         "P F||file||F" + kNone, "P G||dir||F" + kNone, "P H||link||F" + kNone}},
    {1, "a key with a letter that folds to an ASCII one", 0, "{\n'name': 'K',\n'\xe2\x84\xaa" "eywords': 'kw',\n"
        "'firmware_category': {\n}\n}", {"K||||F|||||kw||"}},
    {1, "keys with no record open are lost", 0, "{\n'path': 'p',\n'default_baud': 1,\n'device': [\n'B'\n],\n"
        "'firmware_category': {\n}\n'path': 'q',\n'device': [\n'C'\n]\n}", {"||||F" + kNone}},
    {2, "flash.sh: worked example", 0, kGivenScript, {kGivenCommand}},
    {2, "flash.sh: no opening line", 0, "#!/bin/sh\necho esptool.py --chip esp32 --port x\n# esptool.py --chip esp32 "
        "a\nesptool.py --chip esp8266 --port /dev/${port} w\nesptool.py --chip esp32\nesptool.py  --chip esp32 b", {}},
    {2, "flash.sh: empty", 0, "", {}},
    {2, "flash.sh: letter case", 0, "ESPTOOL.PY --CHIP ESP32 --port /DEV/${PORT} --BAUD 921600 x\n0X1000 A.BIN",
        {" --CHIP ESP32 --port %port --baud %baud x 0X1000 %PATH\\\\A.BIN "}},
    {2, "flash.sh: ends inside a command", 0, "esptool.py --chip esp32 erase_flash \\\n0x1000 a.bin \\",
        {" --chip esp32 erase_flash  0x1000 %PATH\\\\a.bin "}},
    {2, "flash.sh: several commands", 0, "esptool.py --chip esp32 --port /dev/${port} erase_flash\n\necho between\n"
        "esptool.py --chip esp32 --baud 750000 w \\\n0x0 a.bin\n\nesptool.py --chip esp32 --baud 115200 chip_id",
        {" --chip esp32 --port %port erase_flash ", " --chip esp32 --baud %baud w  0x0 %PATH\\\\a.bin ",
         " --chip esp32 --baud 115200 chip_id "}},
    {2, "flash.sh: address lines", 0, "esptool.py --chip esp32 w 0x0 o.bin \\\n0x1000  two_blanks.bin \\\n0x2000 a.bin "
        "0x3000 b.bin \\\n0x4000 with blank.bin \\\n0x5000\n-z 0x6000 c.bin", {" --chip esp32 w 0x0 o.bin  0x1000 "
        "%PATH\\\\ 0x2000 %PATH\\\\a.bin 0x4000 %PATH\\\\with 0x5000 %PATH\\\\ -z 0x6000 c.bin "}},
    {2, "flash.sh: a lone backslash ends the command", 0, "esptool.py --chip esp32 a \\\nb \\\n  \\  \nc\n"
        "esptool.py --chip esp32 d", {" --chip esp32 a  b  ", " --chip esp32 d "}},
    {2, "flash.sh: continuations taken whole, replacements over all", 0, "esptool.py --chip esp32 \\\n--port "
        "/dev/${port} --baud 921600 \\\nesptool.py --chip esp32 --baud 750000 x\\y",
        {" --chip esp32  --port %port --baud %baud  esptool.py --chip esp32 --baud %baud xy "}},
    {2, "flash.sh: invalid UTF-8", 0, "# \xff\xfe\nesptool.py --chip esp32 --port /dev/${port} \xc3(\n0x1000 \xff.bin",
        {" --chip esp32 --port %port \xc3( 0x1000 %PATH\\\\\xff.bin "}},
};

// Files in a folder v, the script to write there (where a link there leads), its entries (none: nothing written).
const struct { const char* name; QStringList files; const char* script; const char* link; QStringList entries; }
kWrites[] = {
    {"by name; hidden files, folders and names without an address left out", {"a_0x1000_0x2000.bin", "app_0x10000.bin",
        "boot_0x1000", "boot_0x1000.bin", "notes.txt", "up_0X20.bin", ".hidden_0x5.bin", "sub_0x7/x_0x9.bin"},
        "flash.sh", "", {"0x1000 a_0x1000_0x2000.bin", "0x10000 app_0x10000.bin", "0x1000 boot_0x1000",
        "0x1000 boot_0x1000.bin", "0x20 up_0X20.bin"}},
    {"names the shell or the reader would read otherwise", {"%port_0x9000.bin", "it's_0x8000.bin", "q$x{_0x5000.bin",
        "with blank_0x3000.bin", "y${port}_0x4000.bin", "z--baud 921600_0x3000.bin"}, "flash.sh", "",
        {"0x9000 ''%'port_0x9000.bin'", "0x8000 'it'\"'\"'s_0x8000.bin'", "0x5000 'q$x{_0x5000.bin'",
         "0x3000 'with blank_0x3000.bin'", "0x4000 'y$''{port}_0x4000.bin'", "0x3000 'z-''-baud 921600_0x3000.bin'"}},
    {"no address in any name", {"app.bin", ".hidden_0x1000.bin", "sub_0x1000/app.bin"}, "flash.sh", "", {}},
    {"a name no script line can hold", {"boot_0x1000.bin", "a\\b_0x2000.bin"}, "flash.sh", "", {}},
    {"script name is a folder", {"app_0x1000.bin", "flash.sh/keep"}, "flash.sh", "", {}},
    {"folder is a regular file", {"variant"}, "variant/flash.sh", "", {}},
    {"script a dangling link", {"app_0x1000.bin"}, "flash.sh", "elsewhere.sh", {}},
};

const struct { const char* name; QString got; QString want; } kTexts[] = {
    {"NthField", NthField("a,b,c", ",", 1) + NthField("a,b,c", ",", 2) + "/" + NthField("a,b,c", ",", 4) + "/"
        + NthField("a,b", ",", 0) + "/" + NthField("abc", ",", 1) + "/" + NthField("abc", ",", 2), "ab///abc/"},
    {"NthField, empty fields and separators", NthField("abc", "", 1) + "/" + NthField("abc", "", 2) + "/"
        + NthField(",a", ",", 1) + "/" + NthField(",a", ",", 2) + "/" + NthField(",,", ",", 2) + NthField("", ",", 1),
        "abc///a/"},
    {"NthField, case and long separators", NthField("oneXSEPtwo", "xsep", 2) + "/"
        + NthField("\"a\": \"b\": c", "\": ", 2) + "/" + NthField("ä_0xé_0xö", "_0X", 2), "two/\"b/é"},
    {"InStr, Same; InStrB: case counts", N(InStr("Hello", "h")) + N(InStr("Hello", "LLO")) + N(InStr("Hello", "x"))
        + N(InStr(3, "abcabc", "a")) + N(Same("ABC", "abc")) + N(Same("ABC", "abd")) + "/" + N(InStrB("c.SLAB", "SLAB"))
        + N(InStrB("ab", "a")) + N(InStrB("c.slab", "SLAB")), "130410/310"},
    {"Replace", Replace("aXbxc", "x", "-") + "/" + Replace("abc", "z", "-") + Replace("abc", "A", "-") + "/"
        + ReplaceAll("aXbxc", "x", "-") + "/" + ReplaceAll("abc", "", "-") + "/"
        + ReplaceAll("%PATH\\\\a %path\\\\b", "%PATH\\\\", "/p/"), "a-bxc/abc-bc/a-b-c/abc//p/a /p/b"},
    {"ReplaceEach one pass", ReplaceEach("a%Xb%x", {{"", "z"}, {"%x", "1"}, {"b", "%x"}}), "a1%x1"},
    {"PresetRow", Catalogue::PresetRow(FirmClass{"-", "1"}) + "/" + Catalogue::PresetRow(FirmClass{"S"}) + "/"
        + Catalogue::PresetRow(FirmClass{"S", "V1"}) + "/" + Catalogue::PresetRow(FirmClass{"S", "v2"}) + "/"
        + Catalogue::PresetRow(FirmClass{"S", "1.2"}), "-/S ()/S (V1)/S (v2)/S (v1.2)"},
    {"Mid", Mid("Hello", 2) + "/" + Mid("Hello", 0) + "/" + Mid("Hello", 5) + "/" + Mid("Hello", 6) + "/"
        + Mid("Hello", 2, 3) + "/" + Mid("Hello", 5, 1) + "/" + Mid("Hello", 2, 0) + Mid("Hello", 2, -1),
        "ello/Hello/o//ell/o/"},
    {"Left, Len, Trim: characters, not bytes", Left("Hello", 2) + "/" + Left("Hi", 5) + "/" + N(Len("日本"))
        + Mid("日本語", 2, 1) + Left("ÄÖ", 1) + "/" + Trim(" \t a b \r\n"), "He/Hi/2本Ä/a b"},
    {"Val", N(Val("115200")) + "/" + N(Val("921600,")) + "/" + N(Val("  12abc")) + "/" + N(Val("1.5")) + "/"
        + N(Val(".5")) + "/" + N(Val("-7")), "115200/921600/12/1.5/0.5/-7"},
    {"Val of no number, exponents", N(Val("abc")) + N(Val("")) + N(Val(".")) + N(Val("+")) + "/" + N(Val("-1.09e2"))
        + "/" + N(Val("2E+1")) + "/" + N(Val("3e")) + "/" + N(Val("5e-1x")) + "/" + N(Val("2e09")) + N(Val("1e9")),
        "0000/-109/20/3/0.5/2e+091e+09"},
    {"line endings", ReplaceLineEndings("a\nb\rc\r\nd\r", EndOfLine::Windows()) + ReplaceLineEndings("\r\n\r\n", "\n"),
        "a\r\nb\r\nc\r\nd\r\n\n\n"},
    {"ShellWord", ShellWord("a b'c\nd%/é"), "a\\ b\\'c'\n'd%/é"},
    {"IsKey: letters A to Z fold, their neighbours don't", N(Cuts::IsKey(u"AZaz", QLatin1String("azAZ")))
        + N(Cuts::IsKey(u"[@", QLatin1String("{`"))) + N(Cuts::IsKey(u"name", QLatin1String("names"))), "100"},
};

// clang-format on

} // namespace

class TstCatalogue : public QObject {
    Q_OBJECT
    std::unique_ptr<QTemporaryDir> mDir;
    QString Dir(const QString& name) const { return mDir->filePath(name); }
    static QByteArray Read(const QString& p) {
        QFile f(p);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : "";
    }

    // Manifest rows are written with ' for ", to spare the backslashes.
    static QByteArray Q(const char* s) { return QByteArray(s).replace('\'', '"'); }
    static QByteArray WithEnd(QByteArray s, const char* end) { return *end ? s.replace("\n", end) + end : s; }

private slots:
    void init() {
        mDir = std::make_unique<QTemporaryDir>();
        // Variant folders: with their own flash.sh, without one, and with one that is no file to read or write.
        for (const char* name : {"minimal/boot_0x1000.bin", "full/boot_0x1000.bin", "full/app_0x10000.bin",
                                 "boot_0x1000.bin", "deep/er/boot_0x1000.bin", "file", "dir/boot_0x1000.bin",
                                 "dir/flash.sh/x", "link/boot_0x1000.bin", "s/boot_0x1000.bin"})
            QVERIFY(Write(Dir(name), "b"));
        QVERIFY(Write(Dir("minimal/flash.sh"), kGivenScript + QByteArray("\n")) &&
                QFile::link(Dir("nowhere.sh"), Dir("link/flash.sh")));
    }

    void text_data() { AddRows(kTexts); }
    void text() {
        QFETCH(int, row);
        QCOMPARE(kTexts[row].got, kTexts[row].want);
    }

    void readers_data() { AddRows(kManifests, true); }
    void readers() {
        QFETCH(int, row);
        QFETCH(QByteArray, end);
        const auto& m = kManifests[row];
        const FolderItem file(Dir("m.json"));
        const QByteArray text = WithEnd(m.type == 2 ? QByteArray(m.text) : Q(m.text), end);
        QStringList want = QStringList(m.want).replaceInStrings("'", "\"");
        // A flash.sh is read through the manifest of a variant whose folder holds it.
        if (m.type == 2)
            want = QStringList{"V||s|" + (want.isEmpty() ? "" : "[" + want.join("][") + "]") + "|F" + kNone};
        QVERIFY(Write(m.type == 2 ? Dir("s/flash.sh") : file.NativePath(), text));
        QVERIFY(m.type < 2 ||
                Write(file.NativePath(), Q("{\n'name': 'V',\n'firmware_category': {\n'path': 's',\n}\n}")));
        const QStringList files = Snapshot(mDir->path());
        QVector<FirmRef> into;
        for (int i = 0; i < m.before; ++i)
            into << std::make_shared<FirmClass>(FirmClass{"pre"});
        QCOMPARE(ReadManifest(qMin(m.type, 1), file, into), m.stopped);
        QCOMPARE(Describe(into, FolderItem(mDir->path())), want);
        // A script made for the read is gone again; a given one is as it was.
        QCOMPARE(Snapshot(mDir->path()), files);
        QVERIFY(Read(Dir("minimal/flash.sh")) == kGivenScript + QByteArray("\n") &&
                (m.type < 2 || Read(Dir("s/flash.sh")) == text));
    }

    // The readers' exact search finds what Qt's own search finds, from every start.
    void indexOfExact() {
        const QString texts[] = {
            "", "\"", "\": ", "a\": b\": ", "\"\"\": x", "\",\"\",\"", "ab\"", "x\u00e9\": \U0001F600\": "};
        const QString finds[] = {"", "\"", "\": ", "\",\"", "\"\"\":", "\U0001F600\""};
        for (const QString& text : texts)
            for (const QString& find : finds)
                for (qsizetype from = 0; from <= text.size() + 1; ++from)
                    QVERIFY2(IndexOfExact(text, find, from) == QStringView(text).indexOf(find, from),
                             qPrintable(text + " / " + find + " / " + N(from)));
    }

    void stopsWhenAsked() {
        // Told to stop at any pass, a read leaves a prefix of the whole read, and no script it made.
        const FolderItem file(Dir("m.json"));
        for (const int type : {0, 1}) {
            QVERIFY(Write(file.NativePath(), Q(type == 0 ? kType0Worked : kType1Worked)));
            QVector<FirmRef> whole;
            int passes = 0;
            ReadManifest(type, file, whole, [&] { return ++passes > 0; });
            QVERIFY(passes > 5);
            for (int stopAt = 1, pass = 0; stopAt <= passes; ++stopAt, pass = 0) {
                QVector<FirmRef> part;
                ReadManifest(type, file, part, [&] { return ++pass < stopAt; });
                // Asked once more at most: a flash.sh read hands the stop on to the manifest's reader.
                QVERIFY2(pass == stopAt || (type == 1 && pass == stopAt + 1), qPrintable(N(stopAt)));
                QCOMPARE(Describe(part, file.Parent(), false),
                         Describe(whole, file.Parent(), false).mid(0, stopAt < passes ? part.size() : whole.size()));
                QVERIFY(!QFile::exists(Dir("full/flash.sh")));
            }
        }
    }

    void writer_data() { AddRows(kWrites); }
    void writer() {
        QFETCH(int, row);
        const auto& w = kWrites[row];
        QVERIFY(QDir().mkpath(Dir("v")) && (!*w.link || QFile::link(Dir(w.link), Dir(QString("v/") + w.script))));
        for (const QString& name : w.files)
            QVERIFY(Write(Dir("v/" + name), "x"));
        const QStringList before = Snapshot(mDir->path());
        const FolderItem file(Dir(QString("v/") + w.script));
        QVERIFY(!Catalogue::WriteFlashScript(file, [] { return false; }) && Snapshot(mDir->path()) == before);
        QCOMPARE(Catalogue::WriteFlashScript(file, Bounded()), !w.entries.isEmpty());
        if (!w.entries.isEmpty()) {
            const QByteArray bytes = Read(file.NativePath());
            QVERIFY(bytes.startsWith("#!/bin/bash\r\n") && bytes.count("\n") == bytes.count("\r\n"));
            QVERIFY2(bytes.endsWith(" \\\r\n" + w.entries.join(" \\\r\n").toUtf8() + "\r\n\r\n"), bytes.data());
            // Written again, the script is replaced whole.
            QVERIFY(Catalogue::WriteFlashScript(file, Bounded()) && Read(file.NativePath()) == bytes);
            // Read back, each entry gives its address and its image as one word; read as the script made
            // for a folder without one, the same, and that script is gone again.
            QString command = kHead + "  ";
            for (const QString& entry : w.entries)
                command += " " + entry.section(' ', 0, 0) + " %PATH\\\\" + entry.section(' ', 1);
            FirmClass given{"", "", "v"}, generated{"", "", "v"};
            Catalogue::ReadFlashScript(given, FolderItem(mDir->path()), Bounded());
            QVERIFY(QFile::remove(file.NativePath()));
            Catalogue::ReadFlashScript(generated, FolderItem(mDir->path()), Bounded());
            QCOMPARE(given.mCommand, QStringList{command + " "});
            QCOMPARE(generated.mCommand, given.mCommand);
        }
        // Nothing else was written, and a link was never followed out of the folder.
        QCOMPARE(Snapshot(mDir->path()), before);
    }

    void packageManifest() {
        // Read back, the manifest of a dropped image names the image as one word of its command.
        const QDateTime stamp(QDate(2026, 1, 2), QTime(3, 4, 5));
        const char* const words[][2] = {
            {"fw_1", "fw_1.bin"}, {"fw (1)", "'fw (1).bin'"}, {"it's 50% --${x}", "'it'\\''s 50'%' --${x}.bin'"}};
        for (const auto& [base, word] : words) {
            QVERIFY(Write(Dir("p.json"), Catalogue::PackageManifest(base, base + QString(".bin"), stamp).toUtf8()));
            QVector<FirmRef> into;
            QVERIFY(!ReadManifest(0, FolderItem(Dir("p.json")), into) && into.size() == 1);
            QCOMPARE(Describe(into, FolderItem(mDir->path())).value(0).section('|', 0, 2),
                     base + QString(" Ver260102_030405|Ver260102_030405|") + base);
            QCOMPARE(into[0]->mCommand.value(0).section(" 0x10000 %PATH\\\\", 1).section(" 0x8000 ", 0, 0),
                     QString(word));
        }
    }

    void demoCatalogue() {
        // The shipped examples read whole, and every image their commands name is there.
        QCOMPARE(QProcess::execute("cp", {"-r", CORVANE_DEMO_FIRMWARES, Dir("fw")}), 0);
        QVector<FirmRef> into;
        QVERIFY(!ReadManifest(0, FolderItem(Dir("fw/example-blink/example-blink.json")), into) &&
                !ReadManifest(1, FolderItem(Dir("fw/example-multi/example-multi.json")), into));
        QStringList rows;
        for (const FirmRef& r : into) {
            rows << r->mName + " " + r->mBaud + " " + N(r->mCommand.size());
            const QString folder = r->mFirmFolder.NativePath() + "/" + r->mPath + "/";
            for (const QString& word : r->mCommand.join(' ').split(' ', Qt::SkipEmptyParts))
                QVERIFY2(!word.startsWith("%PATH\\\\") || QFile::exists(folder + word.mid(7)), qPrintable(word));
        }
        QCOMPARE(rows, (QStringList{"Example Blink  1", "Example Hello  2", "-  0", "Example Multi Script 460800 2",
                                    "Example Multi Generated 921600 1"}));
    }
};

QTEST_GUILESS_MAIN(TstCatalogue)
#include "tst_catalogue.moc"

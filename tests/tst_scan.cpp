// The catalogue's folder walk, the file and folder classes under it, and the preset menu it fills.
#include "TestSupport.h"

#include "catalogue/Catalogue.h"
#include "platform/TextOutputStream.h"

#include <QPointer>
#include <QProcess>
#include <QSignalSpy>
#include <QTimer>

#include <dirent.h>
#include <sys/stat.h>

using namespace TestSupport;
using Kind = FolderListing::Kind;

class TstScan : public QObject {
    Q_OBJECT
    std::unique_ptr<SeamRecorder> mSeams;
    std::unique_ptr<QTemporaryDir> mDir;

    // A manifest of one entry whose name tells where it was found.
    static QByteArray Entry(const QByteArray& n) {
        return "[\n{\n\"name\": \"" + n + "\",\n\"commands\": [\n\"write_flash 0x0 " + n + "\"\n]\n}\n]\n";
    }

    static FirmRef Record(const QString& name, const QString& baud = {}, const QString& version = {}) {
        auto r = std::make_shared<FirmClass>();
        r->mName = name, r->mVersion = version, r->mBaud = baud, r->mFirmFolder = GetFolderItem("");
        r->mCommand << "--baud %baud " + name;
        return r;
    }

    // Every field of every record, or with `all` false the names only.
    static QStringList Describe(const QVector<FirmRef>& firm, bool all = false) {
        QStringList out;
        for (const FirmRef& r : firm)
            out << (QStringList{r->mName, r->mVersion, r->mPath, r->mFirmFolder.CanonicalPath(), r->mBaud, r->mDevice}
                    << QString::number(r->mType) << r->mDescription << r->mCommand)
                       .mid(0, all ? -1 : 1)
                       .join('|');
        return out;
    }

    static QStringList Rows(const PopupMenu& popup) {
        QStringList out;
        for (int i = 0; i < popup.ListCount(); ++i)
            out << popup.List(i);
        return out;
    }

    static QStringList Listing(const QString& d) { return QDir(d).entryList(QDir::AllEntries | QDir::NoDotAndDotDot); }
    static bool Fifo(const QString& path) { return ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0; }
    static int OpenFds() { return int(QDir("/proc/self/fd").entryList(QDir::System | QDir::NoDotAndDotDot).size()); }
    // Sets a file's time stamp, as unpacking an archive does.
    static bool SetStamp(const QString& p, const QString& s) { return QProcess::execute("touch", {"-md", s, p}) == 0; }
    QString Dir(const QString& name) const { return mDir->filePath(name); }
    static QString App(const QString& name) { return AppFolder() + "/" + name; }
    // A window whose start-up finds an empty firmware folder: no records and no question.
    static EspWin* Quiet() { return QDir().mkpath(App("firmwares")) ? EspWin::Instance() : nullptr; }

private slots:
    void init() { AppFolderLayout::Clear(), mSeams.reset(new SeamRecorder), mDir.reset(new QTemporaryDir); }
    void cleanup() { DisposeWindow(), mSeams.reset(), AppFolderLayout::Clear(); }

    void items() {
        const FolderItem root(mDir->path()), a = root.Child("a.json"), pack = root.Child("pack"), img = root.Child("i");
        QVERIFY(root.Directory() && !a.Exists() && !a.IsNil() && FolderItem().Child("x").IsNil());
        QVERIFY(a.Name() + FolderItem("/x").Name() == "a.jsonx" && root.Child("") == root && !FolderItem().Exists());
        QVERIFY(!FolderItem().Delete() && !FolderItem().CreateAsFolder() && !FolderListing(FolderItem()).IsOpen());
        const QList<QPair<QString, QString>> parents = {
            {"/a/b", "/a"},   {"/a", "/"},      {"/a/b/", "/a"},  {"/a//b", "/a"}, {"/a/./b", "/a"},
            {"/a/../b", "/"}, {"/a/b/..", "/"}, {"/a/b/.", "/a"}, {"/", ""},       {"r/x", QDir::currentPath() + "/r"}};
        for (const auto& [path, parent] : parents)
            QCOMPARE(FolderItem(path).Parent(), parent.isEmpty() ? FolderItem() : FolderItem(parent));
        for (const char* name : {"b.json", "a.json", "C.json", "sub", ".dot"})
            QVERIFY(WriteFile(Dir(name), "x"));
        // A link whose target is gone is listed but does not exist.
        QVERIFY(a.Exists() && a.Visible() && !root.Child(".dot").Visible() && QFile::link(Dir("-"), Dir("dangling")));
        QVERIFY(!root.Child("dangling").Exists() && root.Item(0).IsNil() && root.Item(7).IsNil() && !a.Directory());
        // Sorted by name; the count is taken anew, also when the folder's stamp was set back after a change.
        QStringList names;
        for (int i = 1; i <= root.Count(); ++i)
            names << root.Item(i).Name();
        QCOMPARE(names, (QStringList{".dot", "C.json", "a.json", "b.json", "dangling", "sub"}));
        QVERIFY(QFile::remove(Dir("a.json")) && root.Count() == 5 && root.Item(3).Name() == "b.json");
        QVERIFY(WriteFile(Dir("e.json"), "x") && SetStamp(mDir->path(), "@1000") && root.Count() == 6);
        QVERIFY(QFile::remove(Dir("e.json")) && SetStamp(mDir->path(), "@2000") && root.Count() == 5);

        // A second copy replaces the first and keeps the source's permissions, writable. Onto itself: nothing
        // to do. Refused: into what is no folder, from what is missing or no regular file, a folder through a file.
        const auto perms = QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther, want = perms | QFile::WriteOwner;
        QVERIFY(pack.CreateAsFolder() && Fifo(Dir("p")) && WriteFile(Dir("i"), "1") && img.CopyFileTo(pack));
        QVERIFY(ReadFile(Dir("pack/i")) == "1" && WriteFile(Dir("i"), "2") && QFile::setPermissions(Dir("i"), perms));
        QVERIFY(img.CopyFileTo(pack) && img.CopyFileTo(pack, "b") && pack.Child("i").CopyFileTo(pack));
        QVERIFY(!img.CopyFileTo(img) && !root.Child("-").CopyFileTo(pack) && !img.Child("sub").CreateAsFolder());
        QVERIFY((QFile::permissions(Dir("pack/i")) & want) == want && !root.Child("p").CopyFileTo(pack));
        QVERIFY(Listing(Dir("pack")) == QStringList({"b", "i"}) && ReadFile(Dir("pack/i")) == "2");
        QVERIFY(pack.Child("i").Delete() && !pack.Child("i").Exists() && !pack.Child("i").Delete());
        QVERIFY(root.Child("e").CreateAsFolder() && QFile::link(Dir("e"), Dir("to-e")) && root.Child("to-e").Delete());
        QVERIFY(root.Child("e").Directory() && root.Child("e").Delete() && !root.Child("e").Exists());
    }

    // A path must reach a program as one intact word through a real shell.
    void shellPath() {
        QString script = "printf '%s|'", expected;
        for (const QString name : {"my tools", "it's \"q\"", "$HOME `id`", "a;b&c|d>e<f(g)", "*?[x]{a,b}~",
                                   "Ü ファーム é", "back\\slash", "two\nlines", "a=b"}) {
            const FolderItem item = FolderItem(mDir->path()).Child(name);
            QVERIFY(WriteFile(Dir(name), "x") && item.NativePath() == Dir(name));
            script += " " + item.ShellPath();
            expected += Dir(name) + "|";
        }
        QProcess sh;
        sh.start("/bin/sh", {"-c", script});
        QVERIFY(sh.waitForFinished(30000));
        QCOMPARE(QString::fromUtf8(sh.readAllStandardOutput()), expected);
    }

    void streams() {
        QVERIFY(WriteFile(Dir("m.txt"), QByteArray("one\ntwo\rthree\r\n\n \tx \r\nh\xc3\xa9\xff\0z", 28)));
        auto in = TextInputStream::Open(FolderItem(Dir("m.txt")));
        QStringList lines;
        while (in && !in->Eof())
            lines << in->ReadLine();
        QCOMPARE(lines, (QStringList{"one", "two", "three", "", " \tx ", QString::fromUtf8("h\xc3\xa9\xff\0z", 6)}));
        QVERIFY(in->ReadLine() == "" && in->Text().startsWith("one\n")); // "" for ever at the end
        in = TextInputStream::OfText(" \t b \r\n\t\nrest\nof it");
        const QStringList read = {in->ReadTrimmedLine(), in->ReadTrimmedLineView().toString(), in->ReadAll()};
        QVERIFY(read == QStringList({"b", "", "rest\nof it"}) && in->Eof() && !TextInputStream::Open(FolderItem("-")));
        // The old file stands until the new one is whole.
        const QString path = Dir("out.json");
        auto out = WriteFile(path, "old") ? TextOutputStream::Create(FolderItem(path)) : nullptr;
        QVERIFY(out);
        out->Write("a\nb é");
        QVERIFY(ReadFile(path) == "old" && out->Close() && ReadFile(path) == "a\nb \xc3\xa9" && !out->Close());
        QVERIFY(!TextOutputStream::Create(FolderItem(Dir("."))) && !TextOutputStream::Create(FolderItem(path + "/in")));
    }

    void folderListing() {
        for (const QString name : {"b.json", "B.json", "a.json", "_x", "10", "9", ".dot", "..x", "ä.json", "Ω", "~"})
            QVERIFY(WriteFile(Dir(name), "x"));
        QVERIFY(QDir(mDir->path()).mkdir("dir") && Fifo(Dir("pipe")) && QFile::link(Dir("dir"), Dir("to-dir")));
        QVERIFY(QFile::link(Dir("a.json"), Dir("to-file")) && QFile::link(Dir("gone"), Dir("dangling")));
        // The walk's listing gives the entries and visibility FolderItem gives, and each entry's kind,
        // also where the file system gives no type (DT_UNKNOWN) or a link: then one stat tells.
        const QMap<QString, Kind> kinds = {
            {"dir", Kind::Directory}, {"to-dir", Kind::Directory}, {"pipe", Kind::Other}, {"dangling", Kind::Missing}};
        const FolderItem root(mDir->path());
        FolderListing listing(root);
        QVERIFY(listing.IsOpen() && listing.Count() == root.Count());
        for (int i = 1; i <= root.Count(); ++i) {
            const FolderItem item = root.Item(i);
            const Kind kind = kinds.value(item.Name(), Kind::File);
            QVERIFY(listing.Name(i) == item.Name() && listing.Item(i) == item && listing.Visible(i) == item.Visible());
            QVERIFY(listing.ItemsParent() == item.Parent());
            QVERIFY2(listing.KindOf(i) == kind && FolderListing::KindOf(item.NativePath(), DT_UNKNOWN) == kind &&
                         FolderListing::KindOf(item.NativePath(), DT_LNK) == kind,
                     qPrintable(item.Name()));
        }
        QVERIFY(listing.Name(0).isNull() && listing.Item(listing.Count() + 1).IsNil() && !listing.Visible(0));
        // Reached by a path that is not clean, the parent is still the one each entry names.
        for (const QString& path : {Dir("dir/../dir/.//"), Dir("to-dir"), QString("/"), QString("//")}) {
            FolderListing other{FolderItem(path)};
            QVERIFY(WriteFile(Dir("dir/x"), "x") && other.IsOpen() && other.Refresh() && other.Count() > 0);
            QVERIFY2(other.ItemsParent() == other.Item(1).Parent(), qPrintable(path));
        }
        QVERIFY(listing.KindOf(0) == Kind::Missing && FolderListing::KindOf(Dir("gone"), DT_UNKNOWN) == Kind::Missing);
        // A folder reached by a link is the same folder.
        QCOMPARE(FolderListing(root.Child("to-dir")).Id(), FolderListing(root.Child("dir")).Id());
        QVERIFY(!FolderListing(root.Child("a.json")).IsOpen() && !FolderListing(root.Child("nothing")).IsOpen());
        // Listed again once it changed, even with its stamp set back; gone, it says so.
        FolderListing settled(SetStamp(mDir->path(), "@1000") ? root : FolderItem());
        QVERIFY(WriteFile(Dir("new.json"), "x") && SetStamp(mDir->path(), "@2000") && settled.Refresh());
        QVERIFY(settled.Count() == root.Count() && listing.Refresh() && listing.Count() == root.Count());
        QVERIFY(QDir(mDir->path()).removeRecursively() && !listing.Refresh() && !listing.Refresh());
    }

    // The walk reads its entries its own way, to the same bytes and verdicts as ReadManifestBytes:
    // around the size of its first read, at the cap, through links, and for what is no file.
    void manifestBytes() {
        const int fds = OpenFds();
        for (const int n : {65535, 65536, 65537, 200000})
            QVERIFY(WriteFile(Dir(QString("s%1.json").arg(n)), QByteArray("0123456789abcdefghi").repeated(n).left(n)));
        QVERIFY(WriteFile(Dir("odd.json"), QByteArray("h\xc3\xa9\r\n\xff\0x", 8)) && WriteFile(Dir("empty.json"), ""));
        QVERIFY(WriteFile(Dir("cap.json"), "") && QFile::resize(Dir("cap.json"), kMaxManifestBytes));
        QVERIFY(WriteFile(Dir("over.json"), "") && QFile::resize(Dir("over.json"), kMaxManifestBytes + 1));
        QVERIFY(QDir(mDir->path()).mkdir("folder.json") && Fifo(Dir("pipe.json")));
        QVERIFY(QFile::link(Dir("odd.json"), Dir("to-file.json")) && QFile::link("/dev/zero", Dir("zero.json")));
        QVERIFY(QFile::link("/proc/self/pagemap", Dir("pagemap.json")));
        const QStringList good = {"cap", "empty", "odd", "s200000", "s65535", "s65536", "s65537", "to-file"};
        bool ok = true, listed = false;
        {
            FolderListing listing{FolderItem(mDir->path())};
            QCOMPARE(listing.Count(), 13);
            for (int i = 1; i <= listing.Count(); ++i) {
                const QString p = listing.Item(i).NativePath();
                const QByteArray walked = listing.ReadEntry(i, &listed), read = ReadManifestBytes(listing.Item(i), &ok);
                QVERIFY2(ok == good.contains(QFileInfo(p).baseName()) && listed == ok && walked == read, qPrintable(p));
                QCOMPARE(read.size(), ok ? QFileInfo(p).size() : 0);
                QVERIFY(read.size() > 1000000 || read == (ok ? ReadFile(p) : QByteArray()));
            }
            QVERIFY(listing.ReadEntry(0, &ok).isEmpty() && !ok);
        }
        QVERIFY(ReadManifestBytes(FolderItem(), &ok).isEmpty() && !ok);
        QCOMPARE(OpenFds(), fds); // every read closed what it opened
    }

    void checkJsonType() {
        // Only `"key": ` counts, letter case ignored; type 0 wins over type 1, which needs all three keys.
        const QString t1 = "\"description\": \"d\",\n\"repository\": \"r\",\n\"firmware_category\": \"c\",";
        QStringList neither = {"\"commands\":[", "\"commands\" : [", "commands: [", "\"subcommands\": [", ""};
        for (const char* key : {"description\": ", "repository\": ", "firmware_category\": "})
            neither << QString(t1).replace(key, "x: ");
        const QStringList zero = {"\"commands\": [", "{\"a\": 1, \"Commands\": ", t1 + "\"commands\": "};
        EspWin* w = Quiet();
        for (const auto& [type, texts] : {std::pair(-1, neither), {0, zero}, {1, QStringList{t1, t1.toUpper()}}})
            for (const QString& text : texts)
                QVERIFY2(w->CheckJsonType(text) == type, qPrintable(text));
    }

    // Which single file the catalogue takes: a manifest by its name, an image only where images may come.
    void fileNames() {
        const QStringList manifests = {"m.json", "NOTES.JSON", "m.crvj", "m.CrVj"}, image = {"i.bin"};
        const QStringList neither = {"a.json.txt", "mjson",     "json",   ".json",    ".m.json", "m.txt",
                                     "dir.json/",  "gone.json", ".i.bin", "dir.bin/", "gone.bin"};
        EspWin* w = Quiet();
        for (const auto& [names, allowBin, loads] :
             {std::tuple(manifests, false, true), {neither, true, false}, {image, false, false}, {image, true, true}}) {
            for (const QString& name : names) {
                QVERIFY(name.endsWith('/') ? QDir().mkpath(Dir(name))
                                           : name[0] == 'g' || WriteFile(Dir(name), Entry("M")));
                w->LoadFirmJsonFile(FolderItem(QDir::cleanPath(Dir(name))), allowBin);
                const int package = loads && name.endsWith(".bin") ? 2 : 0; // a folder and its manifest
                QVERIFY2(w->mFirm.size() == loads && Listing(App("firmwares")).size() == package, qPrintable(name));
                w->mFirm.clear();
                QVERIFY(QDir(App("firmwares")).removeRecursively() && QDir().mkpath(App("firmwares")));
            }
        }
    }

    void startupWalk() {
        const QString root = App("firmwares");
        for (const QString f : {"a.json", "b/b1.json", "b/c/c.json", "b/z.json", "b2.crvj", ".h.json", ".h/h.json",
                                "dir.json/in.json", "notes.txt"})
            QVERIFY(WriteFile(root + "/" + f, Entry(QFileInfo(f).baseName().toUtf8())));
        // Its first key comes before any record: that file stops, the walk goes on. One byte past the
        // cap, a manifest by its first lines; and one that never ends.
        QVERIFY(WriteFile(root + "/0bad.json", "\"name\": \"Bad\",\n{\n\"commands\": [\n]\n}\n"));
        QVERIFY(WriteFile(root + "/ab.json", Entry("big")) && QFile::resize(root + "/ab.json", kMaxManifestBytes + 1));
        QVERIFY(QFile::link("/proc/self/pagemap", root + "/pagemap.json") && WriteFile(root + "/image.bin", "x"));
        QVERIFY(QFile::link(root + "/nowhere.json", root + "/gone.json"));
        EspWin* w = EspWin::Instance();
        QCOMPARE(Describe(w->mFirm), (QStringList{"a", "b1", "-", "c", "-", "z", "-", "b2", "-", "in"}));
        QVERIFY(w->mFirm.at(0)->mFirmFolder == FolderItem(root) && w->mFirmFolderX == FolderItem(root));
        QVERIFY(w->PrisetPM.ListCount() == 10 && w->PrisetPM.ListIndex() == 0 && w->InstallEF.Text().endsWith("0x0 a"));
        // A walk makes no packages of images and asks nothing.
        QVERIFY(!QFile::exists(root + "/image.json") && !QFile::exists(root + "/image"));
        QCOMPARE(mSeams->folderQuestions + mSeams->beeps + mSeams->messages.size() + w->SelectFiremTimer.Mode(), 0);
    }

    // Links back up the path are not followed; a link across to a sibling is. Nothing of one walk's
    // path is left behind to cut the next one short.
    void linkLoop() {
        EspWin* w = Quiet();
        const QString root = Dir("tree");
        QVERIFY(WriteFile(root + "/loop/a.json", Entry("A")) && WriteFile(root + "/sibling/s.json", Entry("S")));
        const auto link = [&](const QString& to, const QString& at) { return QFile::link(root + to, root + at); };
        QVERIFY(QDir().mkpath(root + "/loop/deep") && link("", "/loop/up") && link("/loop", "/loop/self"));
        QVERIFY(link("/loop", "/loop/deep/back") && link("/sibling", "/loop/sib"));
        w->LoadFirmJsonFolder(FolderItem(root), false);
        w->LoadFirmJsonFolder(FolderItem(root), false);
        QCOMPARE(Describe(w->mFirm), (QStringList{"A", "S", "-", "S", "-", "A", "-", "S", "-", "S"}));
    }

    // A name that is no UTF-8 can't be spelt as a path: such a file is read through its folder, also
    // once the walk has been down a sub-folder; such a folder is passed over.
    void oddNames() {
        EspWin* w = Quiet();
        const QByteArray odd = QFile::encodeName(mDir->path()) + "/\xff\xfe", z = QFile::encodeName(Dir("0.json"));
        QVERIFY(WriteFile(Dir("0.json"), Entry("Z")) && WriteFile(Dir("o"), Entry("O")) && !::mkdir(odd + "d", 0700));
        QVERIFY(::rename(QFile::encodeName(Dir("o")), odd + ".json") == 0 && ::symlink(z, odd + "d/in.json") == 0);
        // Right behind a sub-folder; and a settled folder is not simply listed again after it.
        QVERIFY(WriteFile(Dir("a/a.json"), Entry("A")) && SetStamp(mDir->path(), "@1000"));
        w->LoadFirmJsonFolder(FolderItem(mDir->path()), false);
        QProcess::execute("rm", {"-rf", mDir->path()}); // QDir can't remove what it can't name
        QCOMPARE(Describe(w->mFirm), (QStringList{"Z", "A", "-", "O"}));
    }

    // Without a firmware folder the question comes once the window is up. The folder chosen then, or
    // later with the button, is loaded each time it is chosen; a cancel changes nothing.
    void chosenFolder() {
        QVERIFY(WriteFile(Dir("chosen/a.json"), Entry("A")) && WriteFile(Dir("chosen/b.json"), Entry("B")));
        for (const bool answered : {false, true}) {
            DisposeWindow(), mSeams.reset(), mSeams.reset(new SeamRecorder);
            mSeams->folderAnswer = answered ? FolderItem(Dir("chosen")) : FolderItem();
            EspWin* w = EspWin::Instance();
            QVERIFY(w->SelectFiremTimer.Mode() == 1 && w->mFirmFolderX.IsNil() && mSeams->beeps == 0);
            QTRY_COMPARE(mSeams->folderQuestions, 1);
            QVERIFY(mSeams->beeps == 1 && mSeams->messages.size() == 1 && w->SelectFiremTimer.Mode() == 0);
            QCOMPARE(Describe(w->mFirm), answered ? QStringList({"A", "B"}) : QStringList());
            QVERIFY(w->PrisetPM.ListIndex() == (answered ? 0 : -1) && w->mFirmFolderX == mSeams->folderAnswer);
        }
        EspWin* w = EspWin::Instance();
        w->PrisetPM.SetListIndex(1);
        w->firmfolderBtn.Push();
        QVERIFY(w->mFirm.size() == 6 && w->PrisetPM.ListCount() == 6 && w->PrisetPM.ListIndex() == 0);
        mSeams->folderAnswer = FolderItem();
        w->PrisetPM.SetListIndex(1);
        w->firmfolderBtn.Push();
        QVERIFY(mSeams->folderQuestions == 3 && w->PrisetPM.ListIndex() == 1 && w->mFirmFolderX.Name() == "chosen");
    }

    void package() {
        for (const char* name : {"boot_app0.bin", "partitions.bin", ".hidden.bin", "notes.txt", "z.bin"})
            QVERIFY(WriteFile(App("tools/bin/") + name, name));
        EspWin* w = Quiet();
        const QString fw = App("firmwares");
        QVERIFY(WriteFile(Dir("sample.bin"), "image") && SetStamp(Dir("sample.bin"), "2021-03-05 14:07:09"));
        w->LoadFirmJsonFile(FolderItem(Dir("sample.bin")), true);
        const QDateTime stamp = FolderItem(Dir("sample.bin")).ModificationDate();
        QCOMPARE(ReadFile(fw + "/sample.json"), Catalogue::PackageManifest("sample", "sample.bin", stamp).toUtf8());
        QCOMPARE(Listing(fw + "/sample"), (QStringList{"boot_app0.bin", "partitions.bin", "sample.bin", "z.bin"}));
        QCOMPARE(ReadFile(fw + "/sample/sample.bin") + ReadFile(fw + "/sample/z.bin"), "imagez.bin");
        QCOMPARE(w->mFirm.at(0)->mName + "|" + w->mFirm.at(0)->mPath, "sample Ver210305_140709|sample");
        // A folder given with images allowed packages those at its top only.
        QVERIFY(WriteFile(Dir("drop/Photo.BIN"), "photo") && WriteFile(Dir("drop/sub/deep.bin"), "deep"));
        w->LoadFirmJsonFolder(FolderItem(Dir("drop")), true);
        QVERIFY(Listing(fw) == QStringList({"Photo", "Photo.json", "sample", "sample.json"}) && w->mFirm.size() == 2);
    }

    void demoCatalogue() {
        QVERIFY(QProcess::execute("cp", {"-r", CORVANE_DEMO_FIRMWARES, App("firmwares")}) == 0);
        EspWin* w = EspWin::Instance();
        QCOMPARE(Rows(w->PrisetPM), (QStringList{"Example Blink (v1.0.0)", "Example Hello (v0.1.0)", "-",
                                                 "Example Multi Script (v1.0.0)", "Example Multi Generated (v1.0.0)"}));
        QVERIFY(w->PrisetPM.ListIndex() == 0 && w->InstallEF.Text().contains("verify_flash"));
    }

    void readOnce_data() {
        QTest::addColumn<QString>("manifest");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("records"); // three before it, then the separator and what the file gives
        const QString type0 = "example-blink/example-blink.json", type1 = "example-multi/example-multi.json";
        const QByteArray blink = ReadFile(CORVANE_DEMO_FIRMWARES "/" + type0),
                         multi = ReadFile(CORVANE_DEMO_FIRMWARES "/" + type1);
        QTest::newRow("type 0") << type0 << blink << 6;
        QTest::newRow("type 1") << type1 << multi << 6;
        QTest::newRow("type 1 on one line") << type1 << QByteArray(multi).replace('\n', ' ') << 4;
        QTest::newRow("10 MB line") << type0 << QByteArray(blink).replace("chip_id", QByteArray(10 << 20, 'x')) << 6;
        QTest::newRow("list cut off") << type0 << blink.left(blink.indexOf("chip_id")) << 5;
        QTest::newRow("key before any opener") << type0 << "\"name\": \"Bad\",\n" + blink << 6;
        QTest::newRow("neither type") << type0 << QByteArray("{\n\"name\": \"x\"\n}\n") << 3;
        QTest::newRow("empty") << type1 << QByteArray() << 3;
    }

    // The walk reads a manifest's bytes once and hands that text to its reader; what it loads is
    // what typing the text and then letting the reader open the file gives, to the last field.
    void readOnce() {
        QFETCH(QString, manifest);
        QFETCH(QByteArray, bytes);
        QFETCH(int, records);
        EspWin* w = Quiet();
        QVERIFY(QProcess::execute("cp", {"-r", CORVANE_DEMO_FIRMWARES "/.", mDir->path()}) == 0);
        for (const QString& name : Listing(mDir->path()))
            QVERIFY(QFile::remove(Dir(name + "/" + name + ".json")));
        const FolderItem file(Dir(manifest));
        const QVector<FirmRef> before = {Record("pre"), Record("pre2"), Record("pre3")};
        QVERIFY(WriteFile(file.NativePath(), bytes));
        w->mFirm = before;
        const QString text = TextInputStream::Open(file)->ReadAll();
        const int type = text.isEmpty() ? -1 : w->CheckJsonType(text);
        if (type >= 0)
            type == 0 ? w->LoadFirmJsonType0(file) : w->LoadFirmJsonType1(file);
        const QStringList typed = Describe(w->mFirm, true);
        w->mFirm = before;
        w->LoadFirmJsonFolder(FolderItem(mDir->path()), false);
        QVERIFY(typed.size() == records && Describe(w->mFirm, true) == typed);
        QCOMPARE(Listing(Dir("example-multi/generated")).size(), 2); // a script made for the read is gone again
    }

    // Other events run during a long walk: it sees what came and what went meanwhile, and it stops
    // once its window is closed.
    void eventsDuringWalk() {
        EspWin* w = Quiet();
        for (int i = 0; i < 3000; ++i)
            QVERIFY(WriteFile(Dir(QString("%1.json").arg(i, 4, 10, QChar('0'))), Entry("E")));
        bool ok = false;
        QTimer::singleShot(0, w, [&] { ok = WriteFile(Dir("z.json"), Entry("L")) && QFile::remove(Dir("2999.json")); });
        w->LoadFirmJsonFolder(FolderItem(mDir->path()), false);
        const QStringList names = Describe(w->mFirm);
        QVERIFY(ok && names.count("L") == 1 && names.last() == "L" && names.count("E") < 3000);
        QTimer::singleShot(0, w, [w] { w->Close(); });
        w->LoadFirmJsonFolder(FolderItem(mDir->path()), false);
        QVERIFY(w->IsClosed() && w->mFirm.size() < 2 * names.size());
        QPointer<EspWin> watched(w);
        QTRY_VERIFY_WITH_TIMEOUT(watched.isNull(), 30000); // gone once the event loop gets to it
    }

    // The rows, which one a rebuild selects, and the speed and command a selected row gives.
    void presetMenu() {
        EspWin* w = Quiet();
        w->mFirm = {Record("-", "", "1"), Record("S"), Record("S", "", "v2"), Record("S", "", "2")};
        w->MakeFirmPrisetPM();
        QCOMPARE(Rows(w->PrisetPM), (QStringList{"-", "S ()", "S (v2)", "S (v2)"}));
        // {records, last index before a drop, row selected}: the first after a load, the first new one
        // after a drop; the earlier one doesn't survive, and each rebuild with rows raises the handler once.
        for (const auto& [n, drop, row] : {std::tuple(0, 0, -1), {3, 0, 0}, {3, 2, 2}, {12, 2, 4}, {2, 1, 1}}) {
            w->mFirm.clear();
            for (int i = 0; i < n; ++i)
                w->mFirm.append(Record(QString::number(i)));
            w->MakeFirmPrisetPM();
            w->PrisetPM.SetListIndex(n - 1);
            QSignalSpy changes(&w->PrisetPM, &PopupMenu::Change);
            w->mDropBin = drop;
            w->MakeFirmPrisetPM();
            QVERIFY(w->PrisetPM.ListCount() == n && w->mDropBin == 0 && changes.count() == (n > 0 ? 1 : 0));
            QCOMPARE(w->PrisetPM.ListIndex(), row);
        }
        // A row past the records, or none selected, changes nothing.
        const FirmRef past = Record("past", "777");
        const int n = w->BaudPM.ListCount();
        w->mFirm = {past, past};
        w->mFirm.removeLast();
        w->PrisetPM_Change();
        w->mFirm.clear();
        w->MakeFirmPrisetPM();
        w->PrisetPM_Change();
        QCOMPARE(w->BaudPM.ListCount(), n);
        // A speed the list lacks is added and found again later; no speed of its own keeps the user's;
        // a separator changes neither speed nor command. Steps: row, speed, rows added, command.
        w->mFirm = {Record("a", "921600"),  Record("b", "1500000"), Record("c"),        Record("-"),
                    Record("e", "921600,"), Record("f", "2400"),    Record("g", "2400")};
        w->MakeFirmPrisetPM();
        for (const QString step : {"0 921600 0 a", "1 1500000 1 b", "0 921600 1 a", "1 1500000 1 b", "2 1500000 1 c",
                                   "3 1500000 1 c", "4 921600, 2 e", "5 2400 2 f", "6 2400 2 g"}) {
            const QStringList f = step.split(' ');
            w->PrisetPM.SetListIndex(f[0].toInt());
            const QStringList s = {w->BaudPM.Text(), QString::number(w->BaudPM.ListCount() - n), w->InstallEF.Text()};
            QCOMPARE(s, QStringList({f[1], f[2], "--baud " + f[1] + " " + f[3]}));
        }
    }
};

QTEST_MAIN(TstScan)
#include "tst_scan.moc"

#include "platform/FolderItem.h"
#include "platform/FolderListing.h"
#include "platform/TextInputStream.h"
#include "platform/TextOutputStream.h"

#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

using TestSupport::ReadFile;
using TestSupport::WriteFile;

class TstFiles : public QObject {
    Q_OBJECT
private slots:
    void items();
    void listing();
    void shellPath_data();
    void shellPath();
    void changingFiles();
    void readingLines();
    void writing();
    void folderListing();
    void kindWithoutType_data();
    void kindWithoutType();
    void manifestBytes();
};

void TstFiles::items() {
    QTemporaryDir dir;
    const FolderItem root(dir.path());
    QVERIFY(root.Exists());
    QVERIFY(root.Directory());

    const FolderItem missing = root.Child("nothing.json");
    QVERIFY(!missing.IsNil());
    QVERIFY(!missing.Exists());
    QCOMPARE(missing.Name(), QString("nothing.json"));
    QCOMPARE(missing.Parent().NativePath(), root.NativePath());
    QCOMPARE(root.Child(""), root);
    QVERIFY(FolderItem().IsNil());
    QVERIFY(!FolderItem().Exists());
    QVERIFY(FolderItem().Child("x").IsNil());

    QVERIFY(WriteFile(dir.filePath("a.bin"), "x"));
    QVERIFY(WriteFile(dir.filePath(".hidden"), "x"));
    QVERIFY(root.Child("a.bin").Exists());
    QVERIFY(!root.Child("a.bin").Directory());
    QVERIFY(root.Child("a.bin").Visible());
    QVERIFY(!root.Child(".hidden").Visible());

    // A link whose target is gone is listed but does not exist.
    QVERIFY(QFile::link(dir.filePath("gone"), dir.filePath("dangling")));
    QVERIFY(!root.Child("dangling").Exists());

    // Modification time in local time.
    QFile f(dir.filePath("a.bin"));
    QVERIFY(f.open(QIODevice::ReadWrite));
    const QDateTime when(QDate(2021, 3, 5), QTime(14, 7, 9), Qt::LocalTime);
    QVERIFY(f.setFileTime(when, QFileDevice::FileModificationTime));
    f.close();
    QCOMPARE(root.Child("a.bin").ModificationDate(), when);
    QCOMPARE(root.Child("a.bin").ModificationDate().timeSpec(), Qt::LocalTime);
}

void TstFiles::listing() {
    QTemporaryDir dir;
    for (const char* name : {"b.json", "a.json", "C.json", "sub", ".dot"})
        QVERIFY(WriteFile(dir.filePath(name), "x"));
    const FolderItem root(dir.path());
    QCOMPARE(root.Count(), 5);
    QStringList names;
    for (int i = 1; i <= root.Count(); ++i)
        names << root.Item(i).Name();
    // Sorted by name, the same on every call.
    QCOMPARE(names, QStringList({".dot", "C.json", "a.json", "b.json", "sub"}));
    QVERIFY(root.Item(0).IsNil());
    QVERIFY(root.Item(6).IsNil());

    // The count is taken anew: an entry that comes or goes is seen at once.
    QVERIFY(WriteFile(dir.filePath("d.json"), "x"));
    QCOMPARE(root.Count(), 6);
    QVERIFY(QFile::remove(dir.filePath("a.json")));
    QCOMPARE(root.Count(), 5);
    QCOMPARE(root.Item(3).Name(), QString("b.json"));
    QCOMPARE(root.Child("b.json").Count(), 0);
}

void TstFiles::shellPath_data() {
    QTest::addColumn<QString>("name");
    QTest::newRow("blank") << "my tools";
    QTest::newRow("quotes") << "it's \"quoted\"";
    QTest::newRow("dollar and backtick") << "$HOME `id`";
    QTest::newRow("operators") << "a;b&c|d>e<f(g)";
    QTest::newRow("glob") << "*?[x]{a,b}~";
    QTest::newRow("non-ASCII") << QString::fromUtf8("Ü ファーム é");
    QTest::newRow("backslash") << "back\\slash";
    QTest::newRow("newline") << "two\nlines";
    QTest::newRow("equals first") << "a=b";
}

void TstFiles::shellPath() {
    QFETCH(QString, name);
    QTemporaryDir dir;
    QVERIFY(WriteFile(dir.filePath(name), "x"));
    const FolderItem item = FolderItem(dir.path()).Child(name);
    // The path must reach a program as one intact word through a real shell.
    QProcess sh;
    sh.start("/bin/sh", {"-c", "printf '%s|' " + item.ShellPath() + " " + item.ShellPath()});
    QVERIFY(sh.waitForFinished(10000));
    const QString expected = QDir(dir.path()).absoluteFilePath(name);
    QCOMPARE(QString::fromUtf8(sh.readAllStandardOutput()), expected + "|" + expected + "|");
    QCOMPARE(item.NativePath(), expected);
}

void TstFiles::changingFiles() {
    QTemporaryDir dir;
    const FolderItem root(dir.path());
    const FolderItem pack = root.Child("pack");
    QVERIFY(pack.CreateAsFolder());
    QVERIFY(pack.Directory());
    QVERIFY(pack.CreateAsFolder()); // already there: fine

    QVERIFY(WriteFile(dir.filePath("img.bin"), "first"));
    QVERIFY(root.Child("img.bin").CopyFileTo(pack));
    QCOMPARE(ReadFile(dir.filePath("pack/img.bin")), QByteArray("first"));
    // A second copy of the same name replaces the first.
    QVERIFY(WriteFile(dir.filePath("img.bin"), "second"));
    QVERIFY(root.Child("img.bin").CopyFileTo(pack));
    QCOMPARE(ReadFile(dir.filePath("pack/img.bin")), QByteArray("second"));
    // Into a folder that isn't one: refused, nothing raised.
    QVERIFY(!root.Child("img.bin").CopyFileTo(root.Child("img.bin")));
    QVERIFY(!root.Child("missing.bin").CopyFileTo(pack));
    // A folder can't be made through a regular file.
    QVERIFY(!root.Child("img.bin").Child("sub").CreateAsFolder());

    // Onto itself: nothing to do, and the file stays.
    QVERIFY(pack.Child("img.bin").CopyFileTo(pack));
    QCOMPARE(ReadFile(dir.filePath("pack/img.bin")), QByteArray("second"));

    QVERIFY(pack.Child("img.bin").Delete());
    QVERIFY(!pack.Child("img.bin").Exists());
    QVERIFY(!pack.Child("img.bin").Delete());
}

void TstFiles::readingLines() {
    QTemporaryDir dir;
    QVERIFY(WriteFile(dir.filePath("mixed.txt"), "one\ntwo\rthree\r\nfour"));
    auto in = TextInputStream::Open(FolderItem(dir.filePath("mixed.txt")));
    QVERIFY(in);
    QStringList lines;
    while (!in->Eof())
        lines << in->ReadLine();
    QCOMPARE(lines, QStringList({"one", "two", "three", "four"}));
    QCOMPARE(in->ReadLine(), QString()); // "" for ever at the end
    QVERIFY(in->Eof());

    QVERIFY(WriteFile(dir.filePath("blank.txt"), "a\n\nb\n"));
    in = TextInputStream::Open(FolderItem(dir.filePath("blank.txt")));
    QCOMPARE(in->ReadLine(), QString("a"));
    QCOMPARE(in->ReadLine(), QString(""));
    QCOMPARE(in->ReadLine(), QString("b"));
    QVERIFY(in->Eof());

    QVERIFY(WriteFile(dir.filePath("empty.txt"), ""));
    in = TextInputStream::Open(FolderItem(dir.filePath("empty.txt")));
    QVERIFY(in);
    QVERIFY(in->Eof());
    QCOMPARE(in->ReadAll(), QString());

    // UTF-8 text, invalid bytes and NULs read without loss of the lines around them.
    QVERIFY(WriteFile(dir.filePath("odd.txt"), QByteArray("h\xc3\xa9\n\xff\xfe\nnul\0here\n", 17)));
    in = TextInputStream::Open(FolderItem(dir.filePath("odd.txt")));
    QCOMPARE(in->ReadLine(), QString::fromUtf8("hé"));
    QCOMPARE(in->ReadLine().size(), 2);
    QCOMPARE(in->ReadLine(), QString::fromUtf8("nul\0here", 8));

    // What can't be opened gives no stream.
    QVERIFY(!TextInputStream::Open(FolderItem(dir.path())));
    QVERIFY(!TextInputStream::Open(FolderItem(dir.filePath("missing"))));
    QVERIFY(QFile::link(dir.filePath("gone"), dir.filePath("dangling")));
    QVERIFY(!TextInputStream::Open(FolderItem(dir.filePath("dangling"))));
    QVERIFY(!TextInputStream::Open(FolderItem()));
    // Not regular files: a FIFO would block the open, a device would read for ever.
    QVERIFY(::mkfifo(QFile::encodeName(dir.filePath("pipe.json")).constData(), 0600) == 0);
    QVERIFY(!TextInputStream::Open(FolderItem(dir.filePath("pipe.json"))));
    QVERIFY(QFile::link("/dev/zero", dir.filePath("zero.json")));
    QVERIFY(!TextInputStream::Open(FolderItem(dir.filePath("zero.json"))));
}

void TstFiles::writing() {
    QTemporaryDir dir;
    const FolderItem file = FolderItem(dir.path()).Child("out.json");
    QVERIFY(WriteFile(file.NativePath(), "old content that is longer"));
    auto out = TextOutputStream::Create(file);
    QVERIFY(out);
    out->Write("a\n");
    out->Write(QString::fromUtf8("b é"));
    out->Close();
    QCOMPARE(ReadFile(file.NativePath()), QByteArray("a\nb \xc3\xa9"));

    // A name that is a folder, and a path through a regular file, can't be created.
    QVERIFY(!TextOutputStream::Create(FolderItem(dir.path())));
    QVERIFY(!TextOutputStream::Create(file.Child("inside")));
}

void TstFiles::folderListing() {
    QTemporaryDir dir;
    const QStringList names = {"b.json", "B.json", "a.json", "_x", "10", "9", ".dot", "ä.json", "z", "Ω", "sub", "~"};
    for (const QString& name : names)
        QVERIFY(WriteFile(dir.filePath(name), "x"));
    QVERIFY(QDir(dir.path()).mkdir("folder"));
    QVERIFY(QFile::link(dir.filePath("folder"), dir.filePath("to-folder")));
    QVERIFY(QFile::link(dir.filePath("a.json"), dir.filePath("to-file")));
    QVERIFY(QFile::link(dir.filePath("gone"), dir.filePath("dangling")));
    QVERIFY(::mkfifo(QFile::encodeName(dir.filePath("pipe")).constData(), 0600) == 0);

    // The walk's listing gives the entries FolderItem::Item gives, in the same order.
    const FolderItem root(dir.path());
    FolderListing listing(root);
    QVERIFY(listing.IsOpen());
    QCOMPARE(listing.Count(), root.Count());
    for (int i = 1; i <= root.Count(); ++i) {
        QCOMPARE(listing.Name(i), root.Item(i).Name());
        QCOMPARE(listing.Item(i), root.Item(i));
        // The kind the listing tells is the kind a stat finds.
        const FolderItem item = root.Item(i);
        const auto kind = !item.Exists()                          ? FolderListing::Kind::Missing
                          : item.Directory()                      ? FolderListing::Kind::Directory
                          : QFileInfo(item.NativePath()).isFile() ? FolderListing::Kind::File
                                                                  : FolderListing::Kind::Other;
        QCOMPARE(int(listing.KindOf(i)), int(kind));
    }

    // A folder reached by a link is the same folder.
    QCOMPARE(FolderListing(root.Child("to-folder")).Id(), FolderListing(root.Child("folder")).Id());
    QVERIFY(!FolderListing(root.Child("a.json")).IsOpen());
    QVERIFY(!FolderListing(root.Child("nothing")).IsOpen());

    // Listed again once it changed; gone, it says so.
    QVERIFY(WriteFile(dir.filePath("new.json"), "x"));
    QVERIFY(listing.Refresh());
    QCOMPARE(listing.Count(), root.Count());
    QVERIFY(QDir(dir.path()).removeRecursively());
    QVERIFY(!listing.Refresh());
}

void TstFiles::kindWithoutType_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("kind");
    QTest::newRow("file") << "file" << int(FolderListing::Kind::File);
    QTest::newRow("folder") << "folder" << int(FolderListing::Kind::Directory);
    QTest::newRow("link to a file") << "to-file" << int(FolderListing::Kind::File);
    QTest::newRow("link to a folder") << "to-folder" << int(FolderListing::Kind::Directory);
    QTest::newRow("dangling link") << "dangling" << int(FolderListing::Kind::Missing);
    QTest::newRow("FIFO") << "pipe" << int(FolderListing::Kind::Other);
    QTest::newRow("gone since the listing") << "gone" << int(FolderListing::Kind::Missing);
}

// A file system that gives no type in its listing (DT_UNKNOWN) costs a stat, with the same answer.
void TstFiles::kindWithoutType() {
    QFETCH(QString, name);
    QFETCH(int, kind);
    QTemporaryDir dir;
    QVERIFY(WriteFile(dir.filePath("file"), "x"));
    QVERIFY(QDir(dir.path()).mkdir("folder"));
    QVERIFY(QFile::link(dir.filePath("file"), dir.filePath("to-file")));
    QVERIFY(QFile::link(dir.filePath("folder"), dir.filePath("to-folder")));
    QVERIFY(QFile::link(dir.filePath("gone"), dir.filePath("dangling")));
    QVERIFY(::mkfifo(QFile::encodeName(dir.filePath("pipe")).constData(), 0600) == 0);
    QCOMPARE(int(FolderListing::KindOf(dir.filePath(name), DT_UNKNOWN)), kind);
    QCOMPARE(int(FolderListing::KindOf(dir.filePath(name), DT_LNK)), kind);
}

void TstFiles::manifestBytes() {
    QTemporaryDir dir;
    bool ok = false;
    const QByteArray odd("h\xc3\xa9\r\n\xff\0x", 8);
    QVERIFY(WriteFile(dir.filePath("m.json"), odd));
    QCOMPARE(ReadManifestBytes(FolderItem(dir.filePath("m.json")), &ok), odd);
    QVERIFY(ok);
    QVERIFY(WriteFile(dir.filePath("empty.json"), ""));
    QCOMPARE(ReadManifestBytes(FolderItem(dir.filePath("empty.json")), &ok), QByteArray());
    QVERIFY(ok);

    // Up to the cap a manifest is read whole; one byte more and it is passed over.
    for (const qint64 size : {kMaxManifestBytes, kMaxManifestBytes + 1}) {
        const QString path = dir.filePath(QString::number(size));
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        QVERIFY(f.resize(size));
        f.close();
        const QByteArray bytes = ReadManifestBytes(FolderItem(path), &ok);
        QCOMPARE(ok, size == kMaxManifestBytes);
        QCOMPARE(bytes.size(), ok ? size : 0);
    }
    // A file that says it has no size and never ends, and what is no regular file.
    QVERIFY(ReadManifestBytes(FolderItem("/proc/self/pagemap"), &ok).isEmpty());
    QVERIFY(!ok);
    QVERIFY(::mkfifo(QFile::encodeName(dir.filePath("pipe.json")).constData(), 0600) == 0);
    for (const QString& path : {dir.path(), dir.filePath("pipe.json"), dir.filePath("missing"), QString("/dev/zero")}) {
        ReadManifestBytes(FolderItem(path), &ok);
        QVERIFY2(!ok, qPrintable(path));
    }

    // The walk reads its entries its own way, to the same bytes and verdicts: around the size of
    // its first read, through links, and for what is no file.
    for (const int size : {65535, 65536, 65537, 200000}) {
        QByteArray bytes(size, Qt::Uninitialized);
        for (int i = 0; i < size; ++i)
            bytes[i] = char('a' + i % 23);
        QVERIFY(WriteFile(dir.filePath(QString("s%1.json").arg(size)), bytes));
    }
    QVERIFY(QDir(dir.path()).mkdir("folder.json"));
    QVERIFY(QFile::link(dir.filePath("m.json"), dir.filePath("to-file.json")));
    QVERIFY(QFile::link("/dev/zero", dir.filePath("to-zero.json")));
    FolderListing listing{FolderItem(dir.path())};
    QCOMPARE(listing.Count(), 12);
    for (int i = 1; i <= listing.Count(); ++i) {
        bool listed = false;
        const QByteArray walked = listing.ReadEntry(i, &listed);
        const QByteArray direct = ReadManifestBytes(listing.Item(i), &ok);
        QCOMPARE(listed, ok);
        QCOMPARE(walked, direct);
    }
}

QTEST_GUILESS_MAIN(TstFiles)
#include "tst_files.moc"

// The catalogue's units on their own, without a window: manifest text in, records out.
#include "catalogue/Catalogue.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

QStringList Rows(const QVector<FirmRef>& records) {
    QStringList rows;
    for (const FirmRef& r : records)
        rows << Catalogue::PresetRow(*r) + (r->mCommand.isEmpty() ? QString() : " = " + r->mCommand.join(" + "));
    return rows;
}

void Write(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

const QString kType0 = "[\n{\n\"name\": \"Blink\",\n\"version\": \"1.0\",\n\"path\": \"blink\",\n\"commands\": [\n"
                       "\"--chip esp32 --port %port chip_id\",\"--chip esp32 flash_id\"\n]\n},\n{\n"
                       "\"name\": \"Other\",\n\"version\": \"V2\",\n\"commands\": [\n\"erase_flash\"\n]\n}\n]\n";
const QString kType1 =
    "{\n\"name\": \"Multi\",\n\"description\": \"d\",\n\"repository\": \"r\",\n\"version\": \"3\",\n"
    "\"firmware_category\": [\n{\n\"Small\": {\n\"path\": \"small\",\n\"default_baud\": 460800\n}\n},\n"
    "{\n\"Big\": {\n\"path\": \"big\",\n\"default_baud\": 115200\n}\n}\n]\n}\n";

} // namespace

class TstCatalogue : public QObject {
    Q_OBJECT
private slots:
    void init() {
        mDir = std::make_unique<QTemporaryDir>();
        QVERIFY(mDir->isValid());
    }
    void readers_data();
    void readers();
    void stopsWhenAsked();
    void generatedScriptRoundTrip();
    void packageManifest();

private:
    std::unique_ptr<QTemporaryDir> mDir;
};

void TstCatalogue::readers_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("records");
    QTest::addColumn<QStringList>("rows");

    const QString blink = "Blink (v1.0) =  --chip esp32 --port %port chip_id + --chip esp32 flash_id ";
    QTest::newRow("type 0, first") << kType0 << 0 << QStringList{blink, "Other (V2) =  erase_flash "};
    QTest::newRow("type 0 behind one record")
        << kType0 << 1 << QStringList{"x ()", blink, "Other (V2) =  erase_flash "};
    QTest::newRow("type 0 behind two: a separator")
        << kType0 << 2 << QStringList{"x ()", "x ()", "-", blink, "Other (V2) =  erase_flash "};
    QTest::newRow("type 1: flash.sh read, a folder without one made from its images")
        << kType1 << 0
        << QStringList{"Multi Small (v3) =  --chip esp32 --port %port --baud %baud write_flash  0x1000 %PATH\\\\a.bin ",
                       "Multi Big (v3) =  --chip esp32 --port %port --baud %baud --before default_reset --after "
                       "no_reset write_flash -z  --flash_mode dio --flash_freq 80m --flash_size detect   0x10000 "
                       "%PATH\\\\app_0x10000.bin "};
}

void TstCatalogue::readers() {
    QFETCH(QString, text);
    QFETCH(int, records);
    QFETCH(QStringList, rows);

    Write(mDir->filePath("small/flash.sh"),
          "esptool.py --chip esp32 --port /dev/${port} --baud 921600 write_flash \\\n0x1000 a.bin\n");
    Write(mDir->filePath("big/app_0x10000.bin"), "image");
    QVector<FirmRef> into;
    for (int i = 0; i < records; ++i) {
        into.append(std::make_shared<FirmClass>());
        into.last()->mName = "x";
    }
    const auto stream = TextInputStream::OfText(text);
    const FolderItem folder(mDir->path());
    if (Catalogue::ManifestType(text) == 0)
        Catalogue::ReadType0(*stream, folder, into, [] { return true; });
    else
        Catalogue::ReadType1(*stream, folder, into, [] { return true; });
    QCOMPARE(Rows(into), rows);
    for (const FirmRef& r : into.mid(records))
        QVERIFY(r->mName == "-" || r->mFirmFolder == folder);
    // A script made for the read is gone again.
    QVERIFY(!QFile::exists(mDir->filePath("big/flash.sh")));
}

void TstCatalogue::stopsWhenAsked() {
    // Told to stop at any pass, a read leaves a prefix of what the whole read gives.
    for (const QString& text : {kType0, kType1}) {
        const auto read = [&](QVector<FirmRef>& into, const Catalogue::KeepGoing& keepGoing) {
            const auto stream = TextInputStream::OfText(text);
            if (Catalogue::ManifestType(text) == 0)
                Catalogue::ReadType0(*stream, FolderItem(mDir->path()), into, keepGoing);
            else
                Catalogue::ReadType1(*stream, FolderItem(mDir->path()), into, keepGoing);
        };
        QVector<FirmRef> whole;
        int passes = 0;
        read(whole, [&] { return ++passes > 0; });
        QVERIFY(passes > 5);
        for (int stopAt = 1; stopAt <= passes; ++stopAt) {
            QVector<FirmRef> part;
            int pass = 0;
            read(part, [&] { return ++pass < stopAt; });
            QCOMPARE(pass, stopAt);
            QVERIFY(part.size() <= whole.size());
            QCOMPARE(Rows(part), Rows(whole).mid(0, part.size()));
        }
    }
}

void TstCatalogue::generatedScriptRoundTrip() {
    Write(mDir->filePath("v/boot_0x1000.bin"), "b");
    Write(mDir->filePath("v/app_0x10000.bin"), "a");
    Write(mDir->filePath("v/notes.txt"), "n");
    const FolderItem script(mDir->filePath("v/flash.sh"));
    QVERIFY(Catalogue::WriteFlashScript(script, [] { return true; }));
    QFile written(script.NativePath());
    QVERIFY(written.open(QIODevice::ReadOnly));
    const QByteArray bytes = written.readAll();
    QVERIFY(bytes.startsWith("#!/bin/bash\r\n"));
    QVERIFY(bytes.endsWith(" \\\r\n0x10000 app_0x10000.bin \\\r\n0x1000 boot_0x1000.bin\r\n\r\n"));
    // A folder with no image named by an address gets no script.
    QVERIFY(!Catalogue::WriteFlashScript(FolderItem(mDir->filePath("flash.sh")), [] { return true; }));
    QVERIFY(!QFile::exists(mDir->filePath("flash.sh")));
}

void TstCatalogue::packageManifest() {
    const QString text =
        Catalogue::PackageManifest("fw (1)", "fw (1).bin", QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5)));
    QVERIFY(text.contains("\"name\": \"fw (1) Ver260102_030405\",\n"));
    QVERIFY(text.contains("\"version\": \"Ver260102_030405\",\n"));
    QVERIFY(text.contains("\"path\": \"fw (1)\",\n"));
    QVERIFY(text.contains(" 0x10000 %PATH\\\\'fw (1).bin' 0x8000 "));
}

QTEST_GUILESS_MAIN(TstCatalogue)
#include "tst_catalogue.moc"

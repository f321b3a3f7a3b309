// Type 1 manifests at scale: 1,000 manifests of two variants each, one variant with its own
// flash.sh and one whose script is made from its image names, written and deleted again on
// every load; then a single variant of 20,000 images, and a flash.sh of 20,000 commands.
// Run on a Release build: QT_QPA_PLATFORM=offscreen build/bench/bench_type1/bench_type1 [rounds]

#include "BenchTrees.h"
#include "platform/Seams.h"
#include "window/EspWin.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

constexpr int kManifests = 1000;
constexpr int kImages = 20000;
constexpr int kCommands = 20000;

double Ms(const QElapsedTimer& clock) {
    return double(clock.nsecsElapsed()) / 1e6;
}

struct Figures {
    double best, median;
};

Figures Time(int rounds, const std::function<void()>& work) {
    std::vector<double> runs;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer clock;
        clock.start();
        work();
        runs.push_back(Ms(clock));
    }
    std::sort(runs.begin(), runs.end());
    return {runs.front(), runs[runs.size() / 2]};
}

} // namespace

using namespace BenchTrees;

int main(int argc, char* argv[]) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, atoi(argv[1])) : 5;
    Seams::SetSelectFolder([] { return FolderItem(); });
    Seams::SetMsgBox([](const QString&) {});
    Seams::SetBeep([] {});

    const QString root = QCoreApplication::applicationDirPath() + "/firmwares";
    QDir(root).removeRecursively();
    QDir().mkpath(root);
    EspWin* w = EspWin::Instance();

    for (int n = 0; n < kManifests; ++n) {
        const QString dir = QString("%1/fw%2").arg(root).arg(n, 4, 10, QChar('0'));
        bool ok =
            Write(dir + "/manifest.json", Type1Manifest(n, "generated")) && Write(dir + "/script/flash.sh", kScript);
        for (const char* image : {"bootloader.bin", "partitions.bin", "app.bin"})
            ok = ok && Write(dir + "/script/" + image, "image");
        for (const char* image : {"bootloader_0x1000.bin", "partitions_0x8000.bin", "app_0x10000.bin"})
            ok = ok && Write(dir + "/generated/" + image, "image");
        if (!ok)
            return 1;
    }
    const Figures load = Time(rounds, [&] { w->LoadFirmJson(); });
    int commands = 0;
    for (const FirmRef& r : w->mFirm)
        commands += int(r->mCommand.size());
    const bool leftover = QFile::exists(root + "/fw0000/generated/flash.sh");
    std::printf("%d type 1 manifests, 2 variants each: %d records, %d commands, scripts left behind: %s\n", kManifests,
                int(w->mFirm.size()), commands, leftover ? "yes" : "none");
    std::printf("LoadFirmJson (1,000 scripts made and deleted): best %.1f ms, median %.1f ms, %.3f ms per manifest\n",
                load.best, load.median, load.median / kManifests);
    QDir(root).removeRecursively();

    const QString big = QCoreApplication::applicationDirPath() + "/bench-type1";
    QDir(big).removeRecursively();
    for (int i = 0; i < kImages; ++i)
        if (!Write(QString("%1/images/image%2_0x%3.bin")
                       .arg(big)
                       .arg(i, 5, 10, QChar('0'))
                       .arg(0x10000 + i * 0x1000, 0, 16),
                   "x"))
            return 1;
    QByteArray longScript = "#!/bin/bash\n";
    for (int i = 0; i < kCommands; ++i)
        longScript += "esptool.py --chip esp32 --port /dev/${port} --baud 921600 write_flash \\\n0x" +
                      QByteArray::number(0x10000 + i, 16) + " app" + QByteArray::number(i) + ".bin\n\n";
    if (!Write(big + "/script/flash.sh", longScript))
        return 1;

    FirmClass record;
    record.mPath = "images";
    const Figures images = Time(rounds, [&] {
        record.mCommand.clear();
        w->LoadFlashCmd(record, FolderItem(big));
    });
    std::printf("one variant of %d images: one command of %lld characters; best %.1f ms, median %.1f ms\n", kImages,
                record.mCommand.isEmpty() ? 0LL : qint64(record.mCommand.first().size()), images.best, images.median);

    record.mPath = "script";
    const Figures script = Time(rounds, [&] {
        record.mCommand.clear();
        w->LoadFlashCmd(record, FolderItem(big));
    });
    std::printf("a flash.sh of %d commands (%lld bytes): %d commands; best %.1f ms, median %.1f ms\n", kCommands,
                qint64(longScript.size()), int(record.mCommand.size()), script.best, script.median);

    w->Close();
    QDir(big).removeRecursively();
    return 0;
}

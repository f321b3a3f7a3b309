// The catalogue at scale: 10,000 type 0 manifests in 1,000 folders (two entries, one command
// each), loaded in-process by LoadFirmJson through MakeFirmPrisetPM, against the floor of
// reading the same files' bytes once; then the preset popup opened with 20,000 rows.
// Run on a Release build: QT_QPA_PLATFORM=offscreen build/bench/bench_catalogue/bench_catalogue [rounds]

#include "platform/Dialogs.h"
#include "window/EspWin.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

constexpr int kFolders = 1000;
constexpr int kPerFolder = 10;

QByteArray Manifest(int folder, int file) {
    QByteArray text = "[\n";
    for (int entry = 0; entry < 2; ++entry) {
        const QByteArray name =
            QByteArray::number(folder) + "-" + QByteArray::number(file) + "-" + QByteArray::number(entry);
        text += "    {\n"
                "        \"name\": \"Firmware " +
                name +
                "\",\n"
                "        \"version\": \"1.0." +
                QByteArray::number(entry) +
                "\",\n"
                "        \"path\": \"images\",\n"
                "        \"commands\": [\n"
                "            \"--chip esp32 --port %port --baud %baud write_flash -z 0x1000 %PATH\\\\bootloader.bin "
                "0x10000 %PATH\\\\app-" +
                name +
                ".bin\"\n"
                "        ]\n"
                "    }" +
                (entry == 0 ? ",\n" : "\n");
    }
    return text + "]\n";
}

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

qint64 ReadAll(const QStringList& paths) {
    qint64 bytes = 0;
    for (const QString& path : paths) {
        QFile f(path);
        if (f.open(QIODevice::ReadOnly))
            bytes += f.readAll().size();
    }
    return bytes;
}

double OpenPopupMs(QComboBox* combo) {
    QElapsedTimer clock;
    clock.start();
    combo->showPopup();
    QCoreApplication::processEvents();
    const double ms = Ms(clock);
    combo->hidePopup();
    QCoreApplication::processEvents();
    return ms;
}

} // namespace

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
    w->Show();

    QStringList paths;
    qint64 total = 0;
    for (int folder = 0; folder < kFolders; ++folder) {
        const QString dir = QString("%1/folder%2").arg(root).arg(folder, 4, 10, QChar('0'));
        QDir().mkpath(dir);
        for (int file = 0; file < kPerFolder; ++file) {
            const QString path = QString("%1/manifest%2.json").arg(dir).arg(file, 2, 10, QChar('0'));
            QFile f(path);
            if (!f.open(QIODevice::WriteOnly))
                return 1;
            total += f.write(Manifest(folder, file));
            paths << path;
        }
    }
    ReadAll(paths); // a warm cache for both sides

    qint64 read = 0;
    const Figures floor = Time(rounds, [&] { read = ReadAll(paths); });
    const Figures listed = Time(rounds, [&] {
        QStringList found;
        QDirIterator it(root, {"*.json"}, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext())
            found << it.next();
        ReadAll(found);
    });
    const Figures load = Time(rounds, [&] { w->LoadFirmJson(); });

    std::printf("tree: %d manifests in %d folders, %lld bytes (read back %lld)\n", kFolders * kPerFolder, kFolders,
                total, read);
    std::printf("records: %d, preset rows: %d, command: %s\n", int(w->mFirm.size()), w->PrisetPM.ListCount(),
                qPrintable(w->InstallEF.Text().left(60)));
    std::printf("floor, read every file's bytes once: best %.1f ms, median %.1f ms\n", floor.best, floor.median);
    std::printf("  (with listing the folders as well:  best %.1f ms, median %.1f ms)\n", listed.best, listed.median);
    std::printf("LoadFirmJson through MakeFirmPrisetPM: best %.1f ms, median %.1f ms\n", load.best, load.median);
    std::printf("ratio to the floor: %.2fx (medians), %.2fx (best)\n", load.median / floor.median,
                load.best / floor.best);

    auto* combo = qobject_cast<QComboBox*>(w->PrisetPM.Widget());
    std::vector<double> full;
    for (int i = 0; i < rounds; ++i)
        full.push_back(OpenPopupMs(combo));
    std::sort(full.begin(), full.end());
    w->mFirm.resize(20000);
    const Figures rebuild = Time(rounds, [&] { w->MakeFirmPrisetPM(); });
    std::vector<double> opens;
    for (int i = 0; i < rounds; ++i)
        opens.push_back(OpenPopupMs(combo));
    const double first = opens.front();
    std::sort(opens.begin(), opens.end());
    std::printf("popup with %d rows: first open %.1f ms, median %.1f ms\n", int(w->mFirm.size()), first,
                opens[opens.size() / 2]);
    std::printf("popup with the loaded rows: median open %.1f ms; rebuild of 20,000 rows: median %.1f ms\n",
                full[full.size() / 2], rebuild.median);

    w->Close();
    QDir(root).removeRecursively();
    return 0;
}

// The catalogue at scale: 10,000 type 0 manifests in 1,000 folders (two entries, one command
// each) and 1,000 type 1 manifests (two variants, each with its flash.sh), loaded in-process by
// LoadFirmJson through MakeFirmPrisetPM, against the floor of reading the same tree once: every
// folder listed once and every manifest and flash.sh read once, with plain system calls (and, for
// comparison, with QDirIterator and QFile). Then the preset popup opened with 30,000 rows. A digest
// of the loaded catalogue, its rows and selection lets two builds be compared.
// Run on a Release build: QT_QPA_PLATFORM=offscreen build/bench/bench_catalogue/bench_catalogue [rounds]

#include "BenchTrees.h"
#include "platform/Seams.h"
#include "window/EspWin.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

QString ReadLoad() {
    QFile f("/proc/loadavg");
    return f.open(QIODevice::ReadOnly) ? QString::fromLatin1(f.readAll().trimmed()) : QString("?");
}

constexpr int kFolders = 1000;
constexpr int kPerFolder = 10;
constexpr int kType1 = 1000;
constexpr int kPopupRows = 30000;

double Ms(const QElapsedTimer& clock) {
    return double(clock.nsecsElapsed()) / 1e6;
}

// Wall time, and the process's own CPU time, which other loads of a shared machine disturb less.
struct Figures {
    double best, median, cpuMedian, sysMedian;
};

// User and system CPU of the process so far: the kernel's share is what no reader can shave.
std::pair<double, double> CpuMs() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    const auto ms = [](const timeval& t) { return double(t.tv_sec) * 1e3 + double(t.tv_usec) / 1e3; };
    return {ms(u.ru_utime), ms(u.ru_stime)};
}

// One timed piece of work; several are timed round by round in turn, so a load that comes and
// goes on a shared machine falls on all of them alike.
struct Work {
    std::function<void()> work;
    std::function<void()> setUp = [] {};
};

std::vector<Figures> TimeInTurn(int rounds, const std::vector<Work>& works) {
    std::vector<std::vector<double>> runs(works.size()), cpu(works.size()), sys(works.size());
    for (int i = 0; i < rounds; ++i) {
        for (std::size_t k = 0; k < works.size(); ++k) {
            works[k].setUp();
            QElapsedTimer clock;
            clock.start();
            const auto [user0, sys0] = CpuMs();
            works[k].work();
            const auto [user1, sys1] = CpuMs();
            cpu[k].push_back(user1 - user0 + sys1 - sys0);
            sys[k].push_back(sys1 - sys0);
            runs[k].push_back(Ms(clock));
        }
    }
    std::vector<Figures> out;
    for (std::size_t k = 0; k < works.size(); ++k) {
        std::sort(runs[k].begin(), runs[k].end());
        std::sort(cpu[k].begin(), cpu[k].end());
        std::sort(sys[k].begin(), sys[k].end());
        out.push_back(
            {runs[k].front(), runs[k][runs[k].size() / 2], cpu[k][cpu[k].size() / 2], sys[k][sys[k].size() / 2]});
    }
    return out;
}

Figures Time(int rounds, const std::function<void()>& work) {
    return TimeInTurn(rounds, {{work}}).front();
}

bool ReadOnce(const QByteArray& name) {
    return name.endsWith(".json") || name == "flash.sh";
}

// The floor: each folder listed once, each file the catalogue reads read once, no more.
qint64 ReadTree(const QByteArray& folder) {
    qint64 bytes = 0;
    DIR* dir = opendir(folder.constData());
    if (!dir)
        return 0;
    QList<QByteArray> folders, files;
    while (const dirent* d = readdir(dir)) {
        const QByteArray name(d->d_name);
        if (name == "." || name == "..")
            continue;
        if (d->d_type == DT_DIR)
            folders << folder + "/" + name;
        else if (ReadOnce(name))
            files << folder + "/" + name;
    }
    closedir(dir);
    static char buffer[1 << 16];
    for (const QByteArray& file : files) {
        const int fd = open(file.constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            continue;
        for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;)
            bytes += n;
        close(fd);
    }
    for (const QByteArray& sub : folders)
        bytes += ReadTree(sub);
    return bytes;
}

qint64 ReadTreeQt(const QString& root) {
    qint64 bytes = 0;
    QDirIterator it(root, {"*.json", "flash.sh"}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile f(it.next());
        if (f.open(QIODevice::ReadOnly))
            bytes += f.readAll().size();
    }
    return bytes;
}

// Every field of every record (folders taken from the root), the popup's rows, its selection and
// the command, as one digest: two builds that load the same tree alike print the same.
QByteArray CatalogueDigest(EspWin* w, const QString& root) {
    QCryptographicHash hash(QCryptographicHash::Sha1);
    const auto add = [&](const QString& s) { hash.addData(s.toUtf8().append('\0')); };
    for (const FirmRef& r : w->mFirm) {
        if (!r) {
            add("nil");
            continue;
        }
        for (const QString* field : {&r->mName, &r->mVersion, &r->mPath, &r->mBaud, &r->mDevice, &r->mFramework,
                                     &r->mDescription, &r->mKeywords, &r->mAuthor, &r->mRepository})
            add(*field);
        add(r->mCommand.join(QChar(1)));
        add(QDir(root).relativeFilePath(r->mFirmFolder.NativePath()) + QString::number(r->mType));
    }
    for (int i = 0; i < w->PrisetPM.ListCount(); ++i)
        add(w->PrisetPM.List(i));
    add(QString::number(w->PrisetPM.ListIndex()) + QString(w->InstallEF.Text()).replace(root, "<root>"));
    return hash.result().toHex().left(16);
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

    if (!BenchTrees::WriteType0Tree(root + "/type0", kFolders, kPerFolder) ||
        !BenchTrees::WriteType1Tree(root + "/type1", kType1))
        return 1;
    const QByteArray native = QFile::encodeName(root);
    qint64 bytes = ReadTree(native); // a warm cache for both sides

    // Each load starts, as at start-up, from an empty catalogue and popup.
    const std::vector<Figures> timed = TimeInTurn(rounds, {{[&] { bytes = ReadTree(native); }},
                                                           {[&] { ReadTreeQt(root); }},
                                                           {[&] { w->LoadFirmJson(); },
                                                            [&] {
                                                                w->mFirm.clear();
                                                                w->MakeFirmPrisetPM();
                                                            }}});
    const Figures floor = timed[0], qtFloor = timed[1], load = timed[2];

    int commands = 0;
    for (const FirmRef& r : w->mFirm)
        commands += r ? int(r->mCommand.size()) : 0;
    std::printf("load average: %s\n", qPrintable(ReadLoad()));
    std::printf("tree: %d type 0 manifests in %d folders and %d type 1 manifests with %d flash.sh; %lld bytes "
                "read\n",
                kFolders * kPerFolder, kFolders, kType1, 2 * kType1, bytes);
    std::printf("records: %d, commands: %d, preset rows: %d, command: %s\n", int(w->mFirm.size()), commands,
                w->PrisetPM.ListCount(), qPrintable(w->InstallEF.Text().left(60)));
    std::printf("catalogue digest: %s\n", CatalogueDigest(w, root).constData());
    std::printf("| | wall, best | wall, median | ratio | CPU, median | ratio | of it system |\n"
                "|---|---|---|---|---|---|---|\n");
    const std::pair<const char*, Figures> rows[] = {
        {"floor: list each folder once, read each manifest and flash.sh once", floor},
        {"the same with QDirIterator and QFile", qtFloor},
        {"LoadFirmJson through MakeFirmPrisetPM", load}};
    for (const auto& [name, f] : rows)
        std::printf("| %s | %.1f ms | %.1f ms | %.2fx | %.1f ms | %.2fx | %.1f ms |\n", name, f.best, f.median,
                    f.median / floor.median, f.cpuMedian, f.cpuMedian / floor.cpuMedian, f.sysMedian);

    auto* combo = qobject_cast<QComboBox*>(w->PrisetPM.Widget());
    std::vector<double> full;
    for (int i = 0; i < rounds; ++i)
        full.push_back(OpenPopupMs(combo));
    std::sort(full.begin(), full.end());
    while (w->mFirm.size() < kPopupRows)
        w->mFirm.append(w->mFirm.at(w->mFirm.size() % 3));
    w->mFirm.resize(kPopupRows);
    const Figures rebuild = Time(rounds, [&] { w->MakeFirmPrisetPM(); });
    std::vector<double> opens;
    for (int i = 0; i < rounds; ++i)
        opens.push_back(OpenPopupMs(combo));
    const double first = opens.front();
    std::sort(opens.begin(), opens.end());
    std::printf("popup with %d rows: first open %.1f ms, median %.1f ms\n", int(w->mFirm.size()), first,
                opens[opens.size() / 2]);
    std::printf("popup with the loaded rows: median open %.1f ms; rebuild of %d rows: median %.1f ms\n",
                full[full.size() / 2], kPopupRows, rebuild.median);

    w->Close();
    QDir(root).removeRecursively();
    return 0;
}

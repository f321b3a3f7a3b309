// One listing of the machine's serial ports: its time and its system calls, ours against Qt's
// own (QSerialPortInfo over udev), on this machine and on a desktop with 32 ttyS entries laid
// out as sysfs in a private mount namespace (needs root and unshare; skipped otherwise).
// Run: build/bench/bench_ports/bench_ports [rounds, default 200]
// System calls are counted with strace -f -c over one listing, less a run that lists nothing.

#include "PortTreeSupport.h"
#include "platform/PortList.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <unistd.h>
#include <vector>

namespace {

QString Describe(const QList<SerialPort>& ports) {
    QStringList names;
    for (const SerialPort& p : ports)
        names << (p.VendorId ? QStringLiteral("%1(%2)").arg(p.Name).arg(p.VendorId, 4, 16, QLatin1Char('0')) : p.Name);
    return names.join(' ');
}

QList<SerialPort> List(const QString& which) {
    if (which == "qt")
        return ListSerialPortsByQt();
    if (which == "ours")
        return ListSerialPorts();
    return {};
}

double MedianMicros(const QString& which, int rounds) {
    List(which); // warm the caches the way a second press of Scan finds them
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer t;
        t.start();
        const auto ports = List(which);
        times.push_back(double(t.nsecsElapsed()) / 1000.0);
        Q_UNUSED(ports);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

// Calls of one run of this program that does one listing (or none), as strace counts them;
// as user nobody, without root's 8250 table, when `asUser`.
long SyscallsOfOneRun(const QString& which, bool asUser = false) {
    const QString strace = QStandardPaths::findExecutable("strace");
    if (strace.isEmpty())
        return -1;
    QTemporaryDir dir;
    const QString out = dir.filePath("strace.txt");
    QProcess p;
    QStringList args{"-f", "-c", "-o", out};
    if (asUser) {
        const QString setpriv = QStandardPaths::findExecutable("setpriv");
        if (setpriv.isEmpty() || ::geteuid() != 0)
            return -1;
        args << setpriv << "--reuid=65534"
             << "--regid=65534"
             << "--clear-groups";
    }
    p.start(strace, args + QStringList{QCoreApplication::applicationFilePath(), "--once", which});
    if (!p.waitForFinished(60000) || p.exitCode() != 0)
        return -1;
    QFile f(out);
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : f.readAll().split('\n')) {
        const QList<QByteArray> cols = line.simplified().split(' ');
        if (cols.size() >= 5 && cols.last() == "total")
            return cols.at(3).toLong();
    }
    return -1;
}

QString Names(const QList<SerialPort>& ports) {
    QStringList names;
    for (const SerialPort& p : ports)
        names << p.Name;
    return names.join(' ');
}

// Runs this program inside a private mount namespace where the tree at `root` stands for
// the machine's sysfs; returns what it printed, or a null string when that can't be done.
QString InNamespace(const QString& root, const QStringList& args) {
    const QString script = "mount --bind \"$1/sys\" /sys && mount --bind \"$1/proc/tty/driver/serial\" "
                           "/proc/tty/driver/serial && shift && exec \"$@\"";
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("LD_PRELOAD", CORVANE_SYSFS_SHIM);
    p.setProcessEnvironment(env);
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.start("unshare",
            QStringList{"-m", "sh", "-c", script, "sh", root, QCoreApplication::applicationFilePath()} + args);
    if (!p.waitForFinished(600000) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0)
        return QString();
    return QString::fromUtf8(p.readAllStandardOutput());
}

int Report(const QString& machine, int rounds) {
    const long baseline = SyscallsOfOneRun("none");
    const QList<SerialPort> qt = ListSerialPortsByQt();
    const QList<SerialPort> ours = ListSerialPorts();
    std::printf("%s\n  Qt's:  %s\n  ours:  %s\n", qPrintable(machine), qPrintable(Describe(qt)),
                qPrintable(Describe(ours)));
    const QString qtNames = Names(qt);
    const QString ourNames = Names(ours);
    std::printf("  same ports, order and names: %s\n", qtNames == ourNames ? "yes" : "NO");
    std::printf("  | listing | median time | system calls |\n  |---|---|---|\n");
    double times[2] = {};
    long calls[2] = {};
    int i = 0;
    for (const QString which : {QStringLiteral("qt"), QStringLiteral("ours")}) {
        times[i] = MedianMicros(which, rounds);
        const long all = SyscallsOfOneRun(which);
        calls[i] = all < 0 || baseline < 0 ? -1 : all - baseline;
        std::printf("  | %s | %.0f us | %ld |\n", qPrintable(which), times[i], calls[i]);
        ++i;
    }
    std::printf("  ratio Qt/ours: time %.1fx, system calls %.1fx\n", times[0] / times[1],
                calls[1] > 0 ? double(calls[0]) / double(calls[1]) : 0.0);
    // A user can't read the 8250 table, so each 8250 line is opened as Qt opens it.
    const long userBase = SyscallsOfOneRun("none", true);
    const long user = SyscallsOfOneRun("ours", true);
    if (userBase >= 0 && user >= 0)
        std::printf("  ours as a user (nobody, no dialout): %ld system calls\n", user - userBase);
    std::printf("\n");
    return qtNames == ourNames ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() == 2 && args.at(1) == "--names") {
        std::printf("%s\n", qPrintable(Names(ListSerialPortsByQt())));
        return 0;
    }
    if (args.size() == 3 && args.at(1) == "--once") {
        std::printf("%d\n", int(List(args.at(2)).size()));
        return 0;
    }
    if (args.size() == 4 && args.at(1) == "--here")
        return Report(args.at(2), args.at(3).toInt());
    const int rounds = args.size() > 1 ? args.at(1).toInt() : 200;

    int failed = Report("This machine:", rounds);

    // Each layout's sysfs over the real one, and the 8250 table root reads, for one run each.
    std::printf("Layouts: Qt's listing (over udev, in a mount namespace) against ours (from the tree)\n");
    std::printf("| layout | Qt's | ours | same |\n|---|---|---|---|\n");
    for (const PortTree::Layout& layout : PortTree::Layouts()) {
        QTemporaryDir dir;
        PortTree::Machine machine(dir.path());
        if (!QFile::exists(machine.Proc() + "/tty/driver/serial"))
            machine.Serial8250({});
        layout.build(machine);
        const QString qt = InNamespace(dir.path(), {"--names"}).trimmed();
        const QString ours =
            Names(ListSerialPorts({machine.Sys().toUtf8(), machine.Proc().toUtf8(), machine.Dev().toUtf8()}));
        const bool same = !qt.isNull() && qt == ours;
        failed |= same ? 0 : 1;
        std::printf("| %s | %s | %s | %s |\n", layout.name, qt.isNull() ? "(no namespace)" : qPrintable(qt),
                    qPrintable(ours), same ? "yes" : "NO");
    }
    std::printf("\n");
    std::fflush(stdout);

    const struct {
        const char* title;
        void (*build)(PortTree::Machine&);
    } desktops[] = {
        {"A desktop with 32 ttyS entries, kernel before 6.5 (sysfs laid out in a mount namespace):",
         PortTree::Desktop32},
        {"The same desktop, kernel 6.5 or later (each ttyS a serial core port device):", PortTree::Desktop32SerialCore},
    };
    for (const auto& desktop : desktops) {
        QTemporaryDir dir;
        PortTree::Machine machine(dir.path());
        desktop.build(machine);
        const QString report = InNamespace(dir.path(), {"--here", desktop.title, QString::number(rounds)});
        std::printf("%s", report.isNull() ? "(no mount namespace here: the 32 ttyS desktops are skipped)\n"
                                          : qPrintable(report));
        std::fflush(stdout);
    }
    return failed;
}

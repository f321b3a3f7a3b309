// Start-up from outside: the time from spawning a program to its first top-level window mapped
// on an X server, for an empty Qt Widgets window of Corvane's size (the floor), Corvane with the
// demo catalogue and Corvane with 10,000 type 0 manifests, started in turn, round after round.
// Every start gets a fresh TMPDIR and XDG_RUNTIME_DIR, so none hands over to an earlier one.
// After the map the window is pinged (_NET_WM_PING) until the process has been idle for 300 ms:
// the worst round trip shows whether it answered while the catalogue filled in. RSS is read then.
// Needs Xvfb on PATH; it starts its own server.
// Run on a Release build: build/bench/bench_startup/bench_startup [rounds [program...]]; further
// programs given are started in the same rounds with the demo catalogue beside them, for comparison.

#include "BenchTrees.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QString>

#include <xcb/xcb.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

double NowMs() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
}

pid_t Spawn(const std::vector<std::string>& argv, const std::vector<std::string>& env, bool quiet) {
    std::vector<char*> args, envp;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    for (const std::string& e : env)
        envp.push_back(const_cast<char*>(e.c_str()));
    envp.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (quiet) {
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    }
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attr, 0);
    pid_t pid = -1;
    if (posix_spawnp(&pid, args[0], &actions, &attr, args.data(), envp.data()) != 0)
        pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attr);
    return pid;
}

void Stop(pid_t pid) {
    kill(-pid, SIGTERM);
    for (int i = 0; i < 300; ++i) {
        if (waitpid(pid, nullptr, WNOHANG) == pid)
            return;
        usleep(10000);
    }
    kill(-pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

long long CpuTicks(pid_t pid) {
    FILE* f = std::fopen(("/proc/" + std::to_string(pid) + "/stat").c_str(), "r");
    if (!f)
        return -1;
    char buf[1024] = {};
    const size_t n = std::fread(buf, 1, sizeof buf - 1, f);
    std::fclose(f);
    buf[n] = 0;
    // Fields after the command name in parentheses; utime and stime are fields 14 and 15.
    const char* p = std::strrchr(buf, ')');
    if (!p)
        return -1;
    long long utime = 0, stime = 0;
    char state = 0;
    if (std::sscanf(p + 2, "%c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lld %lld", &state, &utime, &stime) != 3)
        return -1;
    return utime + stime;
}

double RssMiB(pid_t pid) {
    FILE* f = std::fopen(("/proc/" + std::to_string(pid) + "/status").c_str(), "r");
    if (!f)
        return 0;
    char line[256];
    double kib = 0;
    while (std::fgets(line, sizeof line, f))
        if (std::sscanf(line, "VmRSS: %lf", &kib) == 1)
            break;
    std::fclose(f);
    return kib / 1024.0;
}

class XServer {
public:
    bool Start() {
        for (int n = 150; n < 250; ++n) {
            if (QFile::exists(QString("/tmp/.X11-unix/X%1").arg(n)) || QFile::exists(QString("/tmp/.X%1-lock").arg(n)))
                continue;
            mDisplay = ":" + std::to_string(n);
            mPid =
                Spawn({"Xvfb", mDisplay, "-noreset", "-nolisten", "tcp", "-screen", "0", "1280x1024x24"}, Env(), true);
            if (mPid < 0)
                return false;
            for (int i = 0; i < 500; ++i) {
                usleep(10000);
                mConn = xcb_connect(mDisplay.c_str(), nullptr);
                if (!xcb_connection_has_error(mConn))
                    break;
                xcb_disconnect(mConn);
                mConn = nullptr;
            }
            if (!mConn)
                return false;
            mRoot = xcb_setup_roots_iterator(xcb_get_setup(mConn)).data->root;
            // Qt answers a ping on the root window with StructureNotify | SubstructureRedirect.
            const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
            xcb_change_window_attributes(mConn, mRoot, XCB_CW_EVENT_MASK, &mask);
            mPidAtom = Atom("_NET_WM_PID");
            mProtocols = Atom("WM_PROTOCOLS");
            mPing = Atom("_NET_WM_PING");
            xcb_flush(mConn);
            return true;
        }
        return false;
    }
    ~XServer() {
        if (mConn)
            xcb_disconnect(mConn);
        if (mPid > 0)
            Stop(mPid);
    }

    static std::vector<std::string> Env() {
        std::vector<std::string> env;
        for (char** e = environ; *e; ++e) {
            const std::string s = *e;
            if (s.rfind("DISPLAY=", 0) != 0 && s.rfind("TMPDIR=", 0) != 0 && s.rfind("XDG_RUNTIME_DIR=", 0) != 0 &&
                s.rfind("QT_QPA_PLATFORM=", 0) != 0)
                env.push_back(s);
        }
        return env;
    }

    const std::string& Display() const { return mDisplay; }

    // Waits for a MapNotify of a top-level window of pid; 0 on time-out.
    xcb_window_t WaitForMap(pid_t pid, double deadline) {
        while (NowMs() < deadline) {
            while (xcb_generic_event_t* ev = xcb_poll_for_event(mConn)) {
                xcb_window_t mapped = 0;
                if ((ev->response_type & 0x7f) == XCB_MAP_NOTIFY) {
                    const auto* map = reinterpret_cast<xcb_map_notify_event_t*>(ev);
                    if (!map->override_redirect && PidOf(map->window) == pid)
                        mapped = map->window;
                }
                free(ev);
                if (mapped)
                    return mapped;
            }
            Wait(deadline);
        }
        return 0;
    }

    // The time in ms until the window's lower right corner changes from what stood there at the
    // map, that is, the first paint of the window's own background; -1 after the deadline.
    double WaitForPaint(xcb_window_t window, double deadline) {
        const double from = NowMs();
        auto* geometry = xcb_get_geometry_reply(mConn, xcb_get_geometry(mConn, window), nullptr);
        if (!geometry)
            return -1;
        const int16_t x = int16_t(geometry->width - 4), y = int16_t(geometry->height - 4);
        free(geometry);
        const uint32_t first = Pixel(window, x, y);
        while (NowMs() < deadline) {
            if (Pixel(window, x, y) != first)
                return NowMs() - from;
            usleep(1000);
        }
        return -1;
    }

    // One _NET_WM_PING round trip in ms, or -1 when no answer came before the deadline.
    double Ping(xcb_window_t window, double deadline) {
        const uint32_t stamp = ++mSeq;
        xcb_client_message_event_t msg{};
        msg.response_type = XCB_CLIENT_MESSAGE;
        msg.format = 32;
        msg.window = window;
        msg.type = mProtocols;
        msg.data.data32[0] = mPing;
        msg.data.data32[1] = stamp;
        msg.data.data32[2] = window;
        const double sent = NowMs();
        xcb_send_event(mConn, 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&msg));
        xcb_flush(mConn);
        while (NowMs() < deadline) {
            while (xcb_generic_event_t* ev = xcb_poll_for_event(mConn)) {
                bool answered = false;
                if ((ev->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
                    const auto* cm = reinterpret_cast<xcb_client_message_event_t*>(ev);
                    answered = cm->data.data32[0] == mPing && cm->data.data32[1] == stamp;
                }
                free(ev);
                if (answered)
                    return NowMs() - sent;
            }
            Wait(deadline);
        }
        return -1;
    }

private:
    xcb_atom_t Atom(const char* name) {
        auto* reply = xcb_intern_atom_reply(mConn, xcb_intern_atom(mConn, 0, uint16_t(strlen(name)), name), nullptr);
        const xcb_atom_t atom = reply ? reply->atom : 0;
        free(reply);
        return atom;
    }

    uint32_t Pixel(xcb_window_t window, int16_t x, int16_t y) {
        auto* reply = xcb_get_image_reply(
            mConn, xcb_get_image(mConn, XCB_IMAGE_FORMAT_Z_PIXMAP, window, x, y, 1, 1, ~0u), nullptr);
        uint32_t pixel = 0;
        if (reply && xcb_get_image_data_length(reply) >= 4)
            std::memcpy(&pixel, xcb_get_image_data(reply), 4);
        free(reply);
        return pixel;
    }

    pid_t PidOf(xcb_window_t window) {
        auto* reply = xcb_get_property_reply(
            mConn, xcb_get_property(mConn, 0, window, mPidAtom, XCB_ATOM_CARDINAL, 0, 1), nullptr);
        pid_t pid = -1;
        if (reply && xcb_get_property_value_length(reply) == 4)
            pid = pid_t(*static_cast<uint32_t*>(xcb_get_property_value(reply)));
        free(reply);
        return pid;
    }

    void Wait(double deadline) {
        pollfd p{xcb_get_file_descriptor(mConn), POLLIN, 0};
        poll(&p, 1, std::max(1, std::min(5, int(deadline - NowMs()))));
    }

    std::string mDisplay;
    pid_t mPid = -1;
    xcb_connection_t* mConn = nullptr;
    xcb_window_t mRoot = 0;
    xcb_atom_t mPidAtom = 0, mProtocols = 0, mPing = 0;
    uint32_t mSeq = 0;
};

struct Start {
    double mapMs = -1;     // spawn to window mapped
    double paintMs = -1;   // spawn to the first paint of the window
    double settledMs = -1; // spawn to the last CPU tick before 300 ms of idleness
    double worstPingMs = -1;
    double rssMiB = 0;
};

std::string FreshFolder(const std::string& under, const char* stem) {
    std::string tmpl = under + "/" + stem + "-XXXXXX";
    std::vector<char> buf(tmpl.begin(), tmpl.end());
    buf.push_back(0);
    return mkdtemp(buf.data()) ? std::string(buf.data()) : std::string();
}

Start RunOnce(XServer& x, const std::string& program, const std::string& work) {
    std::vector<std::string> env = XServer::Env();
    env.push_back("DISPLAY=" + x.Display());
    env.push_back("TMPDIR=" + FreshFolder(work, "tmp"));
    env.push_back("XDG_RUNTIME_DIR=" + FreshFolder(work, "run")); // mkdtemp makes it 0700

    Start s;
    const double t0 = NowMs();
    const pid_t pid = Spawn({program}, env, true);
    if (pid < 0)
        return s;
    const xcb_window_t window = x.WaitForMap(pid, t0 + 30000);
    if (window) {
        s.mapMs = NowMs() - t0;
        const double painted = x.WaitForPaint(window, NowMs() + 20000);
        s.paintMs = painted < 0 ? -1 : s.mapMs + painted;
        // Pinged until the process has done nothing for 300 ms, at least one second after the map.
        long long ticks = CpuTicks(pid);
        double lastChange = NowMs();
        s.worstPingMs = 0;
        for (;;) {
            const double rtt = x.Ping(window, NowMs() + 20000);
            s.worstPingMs = rtt < 0 ? 1e9 : std::max(s.worstPingMs, rtt);
            usleep(20000);
            const long long now = CpuTicks(pid);
            if (now != ticks) {
                ticks = now;
                lastChange = NowMs();
            }
            if (NowMs() - lastChange > 300 && NowMs() - t0 > s.mapMs + 1000)
                break;
            if (NowMs() - t0 > 60000)
                break;
        }
        s.settledMs = lastChange - t0;
        s.rssMiB = RssMiB(pid);
    }
    Stop(pid);
    return s;
}

double Median(std::vector<double> v) {
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

double Worst(const std::vector<double>& v) {
    return v.empty() ? 0 : *std::max_element(v.begin(), v.end());
}

std::string LoadAverage() {
    QFile f("/proc/loadavg");
    return f.open(QIODevice::ReadOnly) ? f.readAll().trimmed().toStdString() : std::string("?");
}

// A copy of a program in a folder of its own, with what its start-up finds beside it.
std::string Lay(const std::string& work, const std::string& name, const QString& program = CORVANE_EXECUTABLE) {
    const QString dir = QString::fromStdString(work + "/" + name);
    QDir().mkpath(dir);
    QFile::copy(program, dir + "/corvane");
    QFile::setPermissions(dir + "/corvane", QFile::permissions(program));
    return (dir + "/corvane").toStdString();
}

std::string LayWithDemo(const std::string& work, const std::string& name, const QString& program) {
    const std::string laid = Lay(work, name, program);
    QProcess::execute("cp", {"-r", CORVANE_DEMO_FIRMWARES, QString::fromStdString(work + "/" + name + "/firmwares")});
    return laid;
}

} // namespace

int main(int argc, char* argv[]) {
    const int rounds = argc > 1 ? std::max(1, atoi(argv[1])) : 10;
    const std::string work = FreshFolder("/tmp", "corvane-bench-startup");
    if (work.empty())
        return 1;

    const std::string demo = LayWithDemo(work, "demo", CORVANE_EXECUTABLE);
    const std::string big = Lay(work, "big");
    if (!BenchTrees::WriteType0Tree(QString::fromStdString(work) + "/big/firmwares", 1000, 10))
        return 1;

    XServer x;
    if (!x.Start()) {
        std::fprintf(stderr, "no X server: is Xvfb on PATH?\n");
        return 1;
    }
    std::printf("X server %s; load average before: %s\n", x.Display().c_str(), LoadAverage().c_str());

    struct Kind {
        const char* name;
        std::string program;
        std::vector<Start> starts;
    };
    std::vector<Kind> kinds = {{"empty Qt window", CORVANE_EMPTY_WINDOW, {}},
                               {"Corvane, demo catalogue", demo, {}},
                               {"Corvane, 10,000 type 0 manifests", big, {}}};
    for (int i = 2; i < argc; ++i)
        kinds.push_back({argv[i], LayWithDemo(work, "extra" + std::to_string(i), argv[i]), {}});
    for (int round = 0; round < rounds; ++round)
        for (Kind& k : kinds)
            k.starts.push_back(RunOnce(x, k.program, work));

    std::printf("load average after: %s; %d rounds, interleaved\n\n", LoadAverage().c_str(), rounds);
    std::printf("| start | mapped, median | worst | ratio | painted, median | ratio | idle after, median | worst ping "
                "| RSS, median | RSS ratio |\n|---|---|---|---|---|---|---|---|---|---|\n");
    double baseMap = 0, basePaint = 0, baseRss = 0;
    for (const Kind& k : kinds) {
        std::vector<double> map, paint, settled, ping, rss;
        int failed = 0;
        for (const Start& s : k.starts) {
            if (s.mapMs < 0) {
                ++failed;
                continue;
            }
            map.push_back(s.mapMs);
            paint.push_back(s.paintMs);
            settled.push_back(s.settledMs);
            ping.push_back(s.worstPingMs);
            rss.push_back(s.rssMiB);
        }
        if (baseMap == 0) {
            baseMap = Median(map);
            basePaint = Median(paint);
            baseRss = Median(rss);
        }
        std::printf("| %s | %.1f ms | %.1f ms | %.2fx | %.1f ms | %.2fx | %.0f ms | %.1f ms | %.1f MiB | %.2fx |%s\n",
                    k.name, Median(map), Worst(map), Median(map) / baseMap, Median(paint), Median(paint) / basePaint,
                    Median(settled), Worst(ping), Median(rss), Median(rss) / baseRss,
                    failed ? (" " + std::to_string(failed) + " never mapped").c_str() : "");
    }
    QDir(QString::fromStdString(work)).removeRecursively();
    return 0;
}

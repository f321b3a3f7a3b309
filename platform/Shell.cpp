#include "platform/Shell.h"

#include <QProcess>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

#ifdef Q_OS_UNIX
// MakeWatchPipe aside, what follows runs in the child between fork and exec, where only
// async-signal-safe calls are allowed.

pid_t ForkBare() {
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
    // No fork handlers: a lock that another thread of Corvane held at the fork stays held here.
    return ::_Fork();
#else
    return ::fork();
#endif
}

void CloseFrom(int first) {
#if defined(SYS_close_range)
    if (::syscall(SYS_close_range, first, ~0U, 0) == 0)
        return;
#endif
    rlimit limit{};
    const int last = ::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY
                         ? int(std::min<rlim_t>(limit.rlim_cur, 1 << 20))
                         : 1 << 16;
    for (int fd = first; fd < last; ++fd)
        ::close(fd);
}

// Stays in the run's process group holding only the pipe's read end, which sees its end when
// Corvane closes the other one at the end of the run, or when Corvane dies however it dies.
// Then whatever the run left is ended, this watcher with it.
[[noreturn]] void WatchRun(int readEnd) {
    struct sigaction plain {};
    plain.sa_handler = SIG_DFL;
    for (const int signo : {SIGTERM, SIGHUP, SIGINT})
        ::sigaction(signo, &plain, nullptr);
    // None of Corvane's descriptors, above all not the run's output pipe, or its reader would
    // wait on this process.
    constexpr int kWatched = 3;
    if (readEnd != kWatched && ::dup2(readEnd, kWatched) != kWatched)
        ::_exit(1);
    for (int fd = 0; fd < kWatched; ++fd)
        ::close(fd);
    CloseFrom(kWatched + 1);
    for (char byte;;) {
        const ssize_t got = ::read(kWatched, &byte, 1);
        if (got == 0 || (got < 0 && errno != EINTR))
            break;
    }
    ::kill(0, SIGKILL);
    ::_exit(0);
}

// Forked twice, so that the watcher is nobody's child that the shell or the tool might wait for.
void StartWatcher(int readEnd) {
    const pid_t middle = ForkBare();
    if (middle == 0) {
        if (ForkBare() == 0)
            WatchRun(readEnd);
        ::_exit(0);
    }
    if (middle > 0) {
        int status = 0;
        while (::waitpid(middle, &status, 0) < 0 && errno == EINTR) {
        }
    }
}

bool MakeWatchPipe(int ends[2]) {
#if defined(Q_OS_LINUX)
    return ::pipe2(ends, O_CLOEXEC) == 0;
#else
    if (::pipe(ends) != 0)
        return false;
    ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    return true;
#endif
}
#endif

} // namespace

Shell::Shell() = default;

Shell::~Shell() {
    Kill();
    EndWatch();
}

void Shell::Execute(const QString& command) {
    // One run at a time: a busy shell keeps its run.
    if (IsRunning())
        return;
    EndWatch();
    delete mProcess;
    mProcess = new QProcess(this);
    mProcess->setProcessChannelMode(QProcess::MergedChannels);
    mProcess->setInputChannelMode(QProcess::ForwardedInputChannel);
#ifdef Q_OS_UNIX
    int ends[2] = {-1, -1};
    if (MakeWatchPipe(ends))
        mWatch = ends[1];
    const int watched = ends[0];
    // Its own process group, so that ending the run ends every tool the line started; and a
    // watcher in it, so that no tool outlives Corvane.
    mProcess->setChildProcessModifier([watched] {
        ::setpgid(0, 0);
        if (watched >= 0)
            StartWatcher(watched);
    });
#endif
    connect(mProcess, &QProcess::readyReadStandardOutput, this, &Shell::DataAvailable);
    connect(mProcess, &QProcess::finished, this, &Shell::Finished);
    connect(mProcess, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            Finished();
    });
    // "--": a line that begins with a dash is a command, not an option of the shell.
    mProcess->start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("--"), command});
#ifdef Q_OS_UNIX
    if (watched >= 0)
        ::close(watched);
#endif
}

void Shell::Finished() {
    // What the line left running in its group ends with it.
    EndWatch();
    emit Completed();
}

void Shell::EndWatch() {
    if (mWatch < 0)
        return;
    ::close(mWatch);
    mWatch = -1;
}

QString Shell::ReadAll() {
    return mProcess ? QString::fromUtf8(mProcess->readAll()) : QString();
}

bool Shell::IsRunning() const {
    return mProcess && mProcess->state() != QProcess::NotRunning;
}

qint64 Shell::ProcessId() const {
    return mProcess ? mProcess->processId() : 0;
}

void Shell::Kill() {
    if (!IsRunning())
        return;
    disconnect(mProcess, nullptr, this, nullptr);
#ifdef Q_OS_UNIX
    const qint64 pid = mProcess->processId();
    if (pid > 0)
        ::kill(-pid_t(pid), SIGKILL);
#endif
    mProcess->kill();
    mProcess->waitForFinished(3000);
    EndWatch();
}

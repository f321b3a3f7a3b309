#include "platform/Shell.h"

#include <QProcess>

#include <csignal>
#include <unistd.h>

Shell::Shell() = default;

Shell::~Shell() {
    Kill();
}

void Shell::Execute(const QString& command) {
    // One run at a time: a busy shell keeps its run.
    if (IsRunning())
        return;
    delete mProcess;
    mProcess = new QProcess(this);
    mProcess->setProcessChannelMode(QProcess::MergedChannels);
    mProcess->setInputChannelMode(QProcess::ForwardedInputChannel);
#ifdef Q_OS_UNIX
    // Its own process group, so that ending the run ends every tool the line started.
    mProcess->setChildProcessModifier([] { ::setpgid(0, 0); });
#endif
    connect(mProcess, &QProcess::readyReadStandardOutput, this, &Shell::DataAvailable);
    connect(mProcess, &QProcess::finished, this, &Shell::Finished);
    connect(mProcess, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            Finished();
    });
    mProcess->start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command});
}

void Shell::Finished() {
    emit Completed();
}

QByteArray Shell::ReadAllBytes() {
    return mProcess ? mProcess->readAll() : QByteArray();
}

QString Shell::ReadAll() {
    return QString::fromUtf8(ReadAllBytes());
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
}

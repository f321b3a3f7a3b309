#pragma once

#include <QObject>
#include <QString>

class QProcess;

// Runs one command line through /bin/sh -c without blocking; standard error is merged
// into the output. DataAvailable and Completed come on the event loop. Whatever the line
// started ends with the run, with Kill, or with Corvane, however Corvane ends.
class Shell : public QObject {
    Q_OBJECT
public:
    Shell();
    ~Shell() override;

    int Mode = 1;
    int TimeOut = 6000;

    void Execute(const QString& command);
    // All output since the last read, taken as UTF-8.
    QString ReadAll();
    bool IsRunning() const;
    void Kill();
    qint64 ProcessId() const;

signals:
    void DataAvailable();
    void Completed();

private:
    void Finished();
    void EndWatch();

    QProcess* mProcess = nullptr;
    // Our end of the pipe that the run's watcher waits on; closing it ends the run's group.
    int mWatch = -1;
};

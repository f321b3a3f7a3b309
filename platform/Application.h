#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class QApplication;
class QLocalServer;

// The toolkit's application and event loop, and the one-instance rule: a second launch hands
// its documents to the running one over a per-user local socket and ends.
class Application {
public:
    Application(int& argc, char** argv);
    ~Application();

    // Command-line arguments as absolute paths: they are documents to open, not options.
    QStringList Documents() const;
    int Run();

private:
    std::unique_ptr<QApplication> mApp;
};

class SingleInstance : public QObject {
    Q_OBJECT
public:
    explicit SingleInstance(QString name = DefaultName());
    ~SingleInstance() override;

    static QString DefaultName();

    // True when a running instance took the documents; this one should end.
    bool HandOver(const QStringList& documents, int timeoutMs = 2000);
    // Serves later launches. A socket left by a crashed run is taken over.
    bool Listen(std::function<void(const QString&)> open);

private:
    void Accept();

    QString mName;
    QLocalServer* mServer = nullptr;
    std::function<void(const QString&)> mOpen;
};

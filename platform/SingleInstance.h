#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>

class QSocketNotifier;

// The one-instance rule: a second launch hands its documents to the running one over a
// per-user local socket and ends. Plain Unix sockets, so start-up loads no network library.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // The socket at `path`, which must lie in a folder that only this user can write to;
    // when it doesn't, this instance neither hands over nor serves.
    explicit SingleInstance(QString path = DefaultPath());
    ~SingleInstance() override;

    // In $XDG_RUNTIME_DIR when that is this user's private folder, else in a private folder
    // of the temporary folder, made on first use.
    static QString DefaultPath();
    QString Path() const { return mPath; }

    // True when a running instance of this user took the documents; this one should end.
    bool HandOver(const QStringList& documents, int timeoutMs = 2000);
    // Serves later launches. A socket left by a crashed run is taken over. Paths reach `open`
    // one at a time from the event loop, never from inside the socket's own handler.
    bool Listen(std::function<void(const QString&)> open);

private:
    struct Arrival;

    void Accept();
    void Take(QSocketNotifier* notifier, Arrival& arrival);
    void Deliver();

    QString mPath;
    int mListener = -1;
    QSocketNotifier* mListening = nullptr;
    std::function<void(const QString&)> mOpen;
    QStringList mArrived;
    bool mDeliveryQueued = false;
    bool mDelivering = false;
};

#pragma once

#include <QString>
#include <QStringList>

#include <memory>

class QApplication;
class QSocketNotifier;

// The toolkit's application and its event loop. A second launch ends early through
// SingleInstance.
class Application {
public:
    Application(int& argc, char** argv);
    ~Application();

    // Command-line arguments as absolute paths: they are documents to open, not options.
    QStringList Documents() const;
    // Runs the event loop until a quit: the menu's, or SIGTERM, SIGHUP or SIGINT, which take
    // the same road, so that the window ends its tool and its line.
    int Run();

private:
    void TakeQuitSignal();

    std::unique_ptr<QApplication> mApp;
    QSocketNotifier* mQuitSignals = nullptr;
    bool mQuitAsked = false;
};

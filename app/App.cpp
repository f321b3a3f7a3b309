#include "app/App.h"

#include "platform/MenuBar.h"
#include "platform/Timer.h"
#include "platform/Yield.h"
#include "window/EspWin.h"

App& TheApp() {
    static App app;
    return app;
}

void App::Event_OpenDocument(const FolderItem& item) {
    mWaiting.append(item);
    OpenWaitingDocuments();
}

void App::OpenHandedOver(const QString& path) {
    if (path.isEmpty())
        FileNewWin_Action(0);
    else
        Event_OpenDocument(FolderItem(path));
}

// Documents are taken one after the other: one that comes in while another is loading, or
// while the window is still starting (a loader lets events run), waits for its turn.
void App::OpenWaitingDocuments() {
    if (mOpening)
        return;
    // Nor does one start inside a walk, a menu rebuild or a dialog that lets events run:
    // loading there would step into that work, or under a handler that is still running.
    if (InNestedEvents()) {
        RetryLater();
        return;
    }
    mOpening = true;
    while (!mWaiting.isEmpty()) {
        EspWin* window = Window();
        // Drops are accepted from the last step of the start-up on; before that the window
        // is being made further up the stack, and its catalogue isn't read yet.
        if (!window->mWindow.AcceptsDrops()) {
            RetryLater();
            break;
        }
        window->Show();
        window->DoDropFile(mWaiting.takeFirst());
    }
    mOpening = false;
}

void App::RetryLater() {
    if (!mRetry) {
        // Kept for the life of the program, like the menu bar.
        mRetry = new Timer;
        mRetry->SetPeriod(10);
        QObject::connect(mRetry, &Timer::Action, mRetry, [this] { OpenWaitingDocuments(); });
    }
    mRetry->SetMode(Timer::ModeSingle);
}

bool App::FileNewWin_Action(int) {
    Window()->Show();
    return true;
}

EspWin* App::Window() {
    EspWin::UseMenuBar(&MainMenuBar);
    return EspWin::Instance();
}

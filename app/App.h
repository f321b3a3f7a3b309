#pragma once

#include "platform/FolderItem.h"

#include <QVector>

class EspWin;
class MenuBar;
class Timer;

// The application object: it hands opened documents and "Show Corvane Window" to the
// window's implicit instance, and owns the menu bar.
class App {
public:
    void Event_OpenDocument(const FolderItem& item);
    bool FileNewWin_Action(int index);
    // The window's implicit instance, made with the application's menu bar.
    EspWin* Window();
    // What a later launch handed over: a document, or without one ("") the window.
    void OpenHandedOver(const QString& path);

private:
    void OpenWaitingDocuments();
    void RetryLater();

    QVector<FolderItem> mWaiting;
    bool mOpening = false;
    Timer* mRetry = nullptr;
};

App& TheApp();
MenuBar& MainMenuBar();

#pragma once

#include "platform/FolderItem.h"

class MenuBar;

// The application object: it hands opened documents and "Show Corvane Window" to the
// window's implicit instance, and owns the menu bar.
class App {
public:
    void Event_OpenDocument(const FolderItem& item);
    bool _FileNewWin_Action(int index);
};

App& TheApp();
MenuBar& MainMenuBar();

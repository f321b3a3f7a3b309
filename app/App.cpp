#include "app/App.h"

#include "window/EspWin.h"

App& TheApp() {
    static App app;
    return app;
}

void App::Event_OpenDocument(const FolderItem& item) {
    EspWin* window = EspWin::Instance();
    window->Show();
    window->DoDropFile(item);
}

bool App::_FileNewWin_Action(int) {
    EspWin::Instance()->Show();
    return true;
}

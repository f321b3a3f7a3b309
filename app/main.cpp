#include "app/App.h"
#include "platform/Application.h"
#include "window/EspWin.h"

int main(int argc, char* argv[]) {
    Application application(argc, argv);

    const QStringList documents = application.Documents();
    SingleInstance single;
    if (single.HandOver(documents))
        return 0;

    EspWin::Instance()->Show();
    single.Listen([](const QString& path) {
        if (path.isEmpty())
            TheApp()._FileNewWin_Action(0);
        else
            TheApp().Event_OpenDocument(FolderItem(path));
    });
    for (const QString& path : documents)
        TheApp().Event_OpenDocument(FolderItem(path));
    return application.Run();
}

#include "app/App.h"
#include "platform/Application.h"
#include "platform/SingleInstance.h"
#include "window/EspWin.h"

int main(int argc, char* argv[]) {
    Application application(argc, argv);

    const QStringList documents = application.Documents();
    SingleInstance single;
    if (single.HandOver(documents))
        return 0;

    // Serve later launches before the window's start-up, so that one started meanwhile finds
    // this instance instead of making a second window; what it hands over waits for the window.
    single.Listen([](const QString& path) { TheApp().OpenHandedOver(path); });
    TheApp().Window()->Show();
    for (const QString& path : documents)
        TheApp().Event_OpenDocument(FolderItem(path));
    return application.Run();
}

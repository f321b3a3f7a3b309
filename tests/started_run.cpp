#include "platform/Application.h"
#include "platform/Seams.h"
#include "window/EspWin.h"

#include <QCoreApplication>

// Corvane with a run under way: the window as the program makes it, and Start pressed on the
// command given as the one argument. It ends as the program does. Nobody is there to answer
// the question about a missing firmware folder.
int main(int argc, char* argv[]) {
    Application application(argc, argv);
    Seams::SetMsgBox([](const QString&) {});
    Seams::SetSelectFolder([] { return FolderItem(); });
    EspWin* w = EspWin::Instance();
    w->Show();
    w->InstallEF.SetText(QCoreApplication::arguments().value(1));
    w->StartPB_Action();
    return application.Run();
}

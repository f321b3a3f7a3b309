#include "platform/Application.h"
#include "platform/Seams.h"
#include "window/EspWin.h"

// Corvane with Start pressed on the line given, ending as the program does; no one answers dialogs.
int main(int argc, char* argv[]) {
    Application application(argc, argv);
    Seams::SetMsgBox([](const QString&) {});
    Seams::SetSelectFolder([] { return FolderItem(); });
    EspWin* w = EspWin::Instance();
    w->Show();
    w->InstallEF.SetText(QString::fromLocal8Bit(argv[1]));
    w->StartPB_Action();
    return application.Run();
}

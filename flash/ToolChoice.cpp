#include "platform/Seams.h"
#include "window/EspWin.h"

void EspWin::tooltypePM_Open() {
    tooltypePM.SetListIndex(mEspToolUse);
}

void EspWin::tooltypePM_Change() {
    mEspTool.clear();
    switch (tooltypePM.ListIndex()) {
    case 0:
        mEspToolUse = 0;
        EspToolEF.SetText(mEspToolPy);
        if (!EspToolEF.Text().isEmpty())
            mEspTool = mEspToolPy;
        break;
    case 1:
        mEspToolUse = 1;
        if (!mEspToolCk.IsNil()) {
            EspToolEF.SetText(mEspToolCk.NativePath());
            if (!EspToolEF.Text().isEmpty())
                mEspTool = mEspToolCk.ShellPath();
        }
        break;
    default:
        break;
    }
    MakeCommand();
}

// The pane only shows the tool; the command takes its path from mEspToolApp, so typing here
// changes nothing but still has the command rebuilt.
void EspWin::EspToolEF_TextChange() {
    MakeCommand();
}

void EspWin::SelectESPPB_Action() {
    OpenDialog dialog;
    dialog.InitialDirectory = GetFolderItem(QString());
    if (dialog.InitialDirectory.IsNil() || !dialog.InitialDirectory.Exists())
        dialog.InitialDirectory = SpecialFolder::Documents();
    dialog.Title = QStringLiteral("Select ESPTool");
    dialog.PromptText = QStringLiteral("ESPToolを選択して下さい....");
    dialog.Filter = QStringLiteral("BinHex");

    // Cancel counts as choosing no tool: the one found at start-up is dropped too.
    mEspToolApp = dialog.ShowModal();
    EspToolEF.SetText(QString());
    if (mEspToolApp.IsNil())
        return;
    EspToolEF.SetText(mEspToolApp.NativePath());
    MakeCommand();
}

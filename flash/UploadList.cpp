#include "window/EspWin.h"

// Placeholder until this subsystem lands.
void EspWin::SelectUploadFileX() {}
void EspWin::SetInstallSetting(const FolderItem&) {}
void EspWin::SetUploadFileToList(const FolderItem&, const QString&) {}
QString EspWin::ReplaceToRelativePath(const QString&) { return QString(); }
void EspWin::ulb_Open() {}
void EspWin::ulb_Change() {}
void EspWin::ulb_CellTextChange(int, int) {}
bool EspWin::ulb_CellBackgroundPaint(Graphics&, int, int) { return false; }
void EspWin::ulb_DoubleClick() {}
void EspWin::DeletePB_Action() {}
void EspWin::SelectPB_Action() {}
void EspWin::UploadEF_TextChange() {}
void EspWin::AddressEF_TextChange() {}
void EspWin::ResetEF_TextChange() {}

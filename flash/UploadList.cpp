#include "flash/Flash.h"
#include "window/EspWin.h"

#include <QColor>

// The upload list stands off the window: nothing fills it for the user, and the command
// never reads it. Its handlers still do their part.

void EspWin::ulb_Open() {
    ulb.SetCellType(0, 1, Listbox::TypeEditable);
}

void EspWin::ulb_Change() {
    DeletePB.SetEnabled(ulb.ListIndex() >= 0);
}

void EspWin::ulb_CellTextChange(int, int) {
    MakeCommand();
}

bool EspWin::ulb_CellBackgroundPaint(Graphics& g, int row, int) {
    g.ForeColor = row % 2 == 0 ? QColor(0xD2, 0xFF, 0xF3) : QColor(0xD2, 0xED, 0xF5);
    g.FillRect(0, 0, g.Width(), g.Height());
    return false;
}

void EspWin::ulb_DoubleClick() {}

void EspWin::DeletePB_Action() {
    const int i = ulb.ListIndex();
    ulb.SetCellTag(i, 0, FolderItem());
    ulb.SetCell(i, 0, QString());
    // The list keeps one row, free, with its address as it was.
    if (ulb.ListCount() > 1)
        ulb.RemoveRow(i);
    MakeCommand();
}

void EspWin::SelectPB_Action() {}

void EspWin::UploadEF_TextChange() {
    MakeCommand();
}

void EspWin::AddressEF_TextChange() {
    MakeCommand();
}

void EspWin::ResetEF_TextChange() {
    MakeCommand();
}

void EspWin::SelectUploadFileX() {}

void EspWin::SetUploadFileToList(const FolderItem& file, const QString& address) {
    // The first free row; a new one only when none is free.
    int i = 0;
    while (!ulb.Cell(i, 0).isEmpty()) {
        ++i;
        if (ulb.LastIndex() < i)
            ulb.AddRow(QString());
    }
    ulb.SetCell(i, 0, UploadList::RowText(file.Name(), file.NativePath()));
    ulb.SetCellTag(i, 0, file);
    ulb.SetCellType(i, 1, Listbox::TypeEditable);
    ulb.SetCell(i, 1, address);
}

void EspWin::SetInstallSetting(const FolderItem& file) {
    if (file.IsNil() || !file.Exists())
        return;
    auto in = TextInputStream::Open(file);
    if (!in)
        return;

    ulb.DeleteAllRows();
    ulb.AddRow(QString());
    ulb.SetCell(0, 1, QStringLiteral("0x00100000"));

    // Entries name files beside the settings file; a name that isn't there is passed over.
    do {
        const QString line = in->ReadLine();
        if (line.isEmpty())
            continue;
        const UploadList::SettingsEntry entry = UploadList::ReadSettingsLine(line);
        const FolderItem item = file.Parent().Child(entry.Name);
        if (!item.IsNil() && item.Exists())
            SetUploadFileToList(item, entry.Address);
    } while (!in->Eof());
    in->Close();
    MakeCommand();
}

QString EspWin::ReplaceToRelativePath(const QString& path) {
    return UploadList::RelativePath(path);
}

#include "platform/Seams.h"

#include "platform/Yield.h"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>

namespace {

std::function<FolderItem()> gSelectFolder;
std::function<FolderItem(const OpenDialog&)> gOpenDialog;
std::function<void(const QString&)> gMsgBox;
std::function<void()> gBeep;
std::function<QList<SerialPort>()> gSerialPorts;

} // namespace

FolderItem SelectFolder() {
    if (gSelectFolder)
        return gSelectFolder();
    const NestedEventScope scope;
    const QString path = QFileDialog::getExistingDirectory(QApplication::activeWindow());
    return path.isEmpty() ? FolderItem() : FolderItem(path);
}

void MsgBox(const QString& text) {
    if (gMsgBox) {
        gMsgBox(text);
        return;
    }
    const NestedEventScope scope;
    QMessageBox box(QApplication::activeWindow());
    box.setText(text);
    box.exec();
}

void Beep() {
    if (gBeep)
        gBeep();
    else
        QApplication::beep();
}

FolderItem OpenDialog::ShowModal() {
    if (gOpenDialog)
        return gOpenDialog(*this);
    const NestedEventScope scope;
    QFileDialog dialog(QApplication::activeWindow(), Title);
    dialog.setFileMode(QFileDialog::ExistingFile);
    // No file type stands behind the filter: any file, an extension-less tool too, can be chosen.
    dialog.setNameFilter(QStringLiteral("* (*)"));
    if (!InitialDirectory.IsNil())
        dialog.setDirectory(InitialDirectory.NativePath());
    if (!PromptText.isEmpty())
        dialog.setLabelText(QFileDialog::LookIn, PromptText);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return FolderItem();
    return FolderItem(dialog.selectedFiles().first());
}

namespace Seams {
void SetSelectFolder(std::function<FolderItem()> answer) {
    gSelectFolder = std::move(answer);
}
void SetOpenDialog(std::function<FolderItem(const OpenDialog&)> answer) {
    gOpenDialog = std::move(answer);
}
void SetMsgBox(std::function<void(const QString&)> answer) {
    gMsgBox = std::move(answer);
}
void SetBeep(std::function<void()> sound) {
    gBeep = std::move(sound);
}
void SetSerialPorts(std::function<QList<SerialPort>()> ports) {
    gSerialPorts = std::move(ports);
}
const std::function<QList<SerialPort>()>& SerialPorts() {
    return gSerialPorts;
}
void Reset() {
    gSelectFolder = nullptr;
    gOpenDialog = nullptr;
    gMsgBox = nullptr;
    gBeep = nullptr;
    gSerialPorts = nullptr;
}
} // namespace Seams

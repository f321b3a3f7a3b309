#pragma once

#include "platform/FolderItem.h"
#include "platform/SerialPort.h"

#include <QList>
#include <QString>

#include <functional>

// What asks the person at the machine, and the machine's serial ports. Tests answer them
// through the setters below; the program itself never sets a seam.

FolderItem SelectFolder();
void MsgBox(const QString& text);
void Beep();

class OpenDialog {
public:
    FolderItem InitialDirectory;
    QString Title;
    QString PromptText;
    QString Filter;
    FolderItem ShowModal();
};

namespace Seams {
void SetSelectFolder(std::function<FolderItem()> answer);
void SetOpenDialog(std::function<FolderItem(const OpenDialog&)> answer);
void SetMsgBox(std::function<void(const QString&)> answer);
void SetBeep(std::function<void()> sound);
void SetSerialPorts(std::function<QList<SerialPort>()> ports);
// The port list a test set; empty when the machine's own ports are to be listed.
const std::function<QList<SerialPort>()>& SerialPorts();
void Reset();
} // namespace Seams

#pragma once

#include "flash/CommandTemplate.h"
#include "platform/FolderItem.h"

#include <QString>

// Flashing's rules, apart from any window: where the flash tool is looked for, the text of its
// command (CommandTemplate) and the upload list's rows. EspWin's handlers in flash/ call these.

// The tool beside the program, in the first of three places under `appFolder`:
// Corvane.app/Contents/Resources/esptool; else esptool/esptool; else tools/esptool. Only with a
// Corvane.app/Contents/Resources there. Nil when none of them exists.
FolderItem FlashToolBeside(const FolderItem& appFolder);
// The tool for this program: beside it, else `esptool` then `esptool.py` on PATH. Nil when none.
FolderItem FindFlashTool();

// The upload list's rules. The list reaches no command; its rows are still kept this way.
namespace UploadList {

// The text of a row's file cell.
QString RowText(const QString& name, const QString& nativePath);

// One line of an install settings file: a file name beside the settings file and its address.
struct SettingsEntry {
    QString Name;
    QString Address;
};
// The fields are taken as they stand, blanks included; a line without a comma has no address.
SettingsEntry ReadSettingsLine(const QString& line);

// The path a row would show relative to the firmware: none, for every path.
QString RelativePath(const QString& path);

} // namespace UploadList

// What another subsystem asks of flashing: the command rebuilt after a value it reads has
// changed. EspWin implements it.
class CommandComposer {
public:
    virtual void MakeCommand() = 0;

protected:
    ~CommandComposer() = default;
};

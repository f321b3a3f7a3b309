#include "catalogue/Catalogue.h"
#include "catalogue/TemplateWords.h"
#include "platform/Text.h"
#include "platform/TextOutputStream.h"

namespace {

// The head of every generated flash.sh, 593 bytes. Its last line ends in a blank and no line
// end: the first entry's " \" continues it. The ${...} are the shell's own.
const QString kScriptTemplate = QStringLiteral(
    "#!/bin/bash\n"
    "\n"
    "machine=\"\"\n"
    "port=\"\"\n"
    "\n"
    "unameOut=\"$(uname -s)\"\n"
    "case \"${unameOut}\" in\n"
    "    Linux*)     machine=Linux;;\n"
    "    Darwin*)    machine=MacOS;;\n"
    "    CYGWIN*)    machine=Win;;\n"
    "    MINGW*)     machine=Win;;\n"
    "    *)          machine=UNKNOWN\n"
    "esac\n"
    "\n"
    "# echo ${machine}\n"
    "\n"
    "if [ \"${machine}\" == \"Linux\" ]; then\n"
    "    echo \"linux\"\n"
    "    port=\"ttyUSB0\"\n"
    "fi\n"
    "\n"
    "if [ \"${machine}\" == \"MacOS\" ]; then\n"
    "    echo \"MacOS\"\n"
    "    port=\"tty.SLAB_USBtoUART\"\n"
    "fi\n"
    "\n"
    "esptool.py --chip esp32 --port /dev/${port} --baud 921600 --before default_reset --after no_reset write_flash "
    "-z \\\n"
    "--flash_mode dio --flash_freq 80m --flash_size detect ");

const QString kAddressMark = QStringLiteral("_0x");

} // namespace

// ReadFlashScript reads the script back and deletes it.
bool Catalogue::WriteFlashScript(const FolderItem& file, const KeepGoing& keepGoing) {
    const FolderItem folder = file.Parent();

    const QString own = file.Name();
    QString entries;
    for (int i = 1; i <= folder.Count(); ++i) {
        const FolderItem item = folder.Item(i);
        const QString name = item.Name();
        // Something listed under the script's own name that doesn't exist is a link to nowhere:
        // writing would follow it out of the folder, and it isn't ours to replace.
        if (!item.IsNil() && name == own && !file.Exists())
            return false;
        if (!item.IsNil() && item.Visible() && !item.Directory() && InStr(name, kAddressMark) > 0) {
            // An image that a script line can't name exactly leaves the variant without a
            // command rather than with one that writes only part of it.
            if (!TemplateWords::FitsScript(name))
                return false;
            const QString address = NthField(NthField(name, kAddressMark, 2), QStringLiteral("."), 1);
            entries += QStringLiteral(" \\") + EndOfLine::Native() + QStringLiteral("0x") +
                       TemplateWords::ScriptWord(address) + QLatin1Char(' ') + TemplateWords::ScriptWord(name);
        }
        if (!keepGoing())
            return false;
    }
    if (entries.isEmpty())
        return false;

    entries += EndOfLine::Native() + EndOfLine::Native();
    const QString text = ReplaceLineEndings(kScriptTemplate + entries, EndOfLine::Windows());

    const auto out = TextOutputStream::Create(file);
    if (!out)
        return false;
    out->Write(text);
    return out->Close();
}

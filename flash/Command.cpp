#include "flash/CommandTemplate.h"
#include "platform/SerialPorts.h"
#include "platform/Text.h"
#include "window/EspWin.h"

// The one composer of the flash command: recomputed whole from the selected preset, the tool,
// the port and the speed, and written only to InstallEF.
void EspWin::MakeCommand() {
    // Before a load, or on a separator, the text in InstallEF stands as it is.
    if (PrisetPM.ListCount() < 1)
        return;
    if (mFirm.isEmpty())
        return;

    const QString tool = mEspToolApp.IsNil() ? QString() : mEspToolApp.ShellPath();
    const QString port = ShellWord(System::DevicePath(PortPM.Text()));

    // Rows and records run one to one; a row that points past the catalogue is no preset.
    const int index = PrisetPM.ListIndex();
    if (index < 0 || index >= mFirm.size() || !mFirm.at(index))
        return;
    const FirmClass& rec = *mFirm.at(index);
    if (Same(rec.mName, QStringLiteral("-")))
        return;

    InstallEF.SetText(CommandTemplate::Compose(tool, rec.mCommand, port, BaudPM.Text(),
                                               CommandTemplate::Prefix(rec.mFirmFolder.ShellPath(), rec.mPath)));
}

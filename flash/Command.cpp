#include "platform/Serial.h"
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
    const QString port = System::DevicePath(PortPM.Text());

    // Rows and records run one to one; a row that points past the catalogue is no preset.
    const int index = PrisetPM.ListIndex();
    if (index < 0 || index >= mFirm.size() || !mFirm.at(index))
        return;
    const FirmClass& rec = *mFirm.at(index);
    if (Same(rec.mName, QStringLiteral("-")))
        return;

    QString cmd;
    for (int i = 0; i < rec.mCommand.size(); ++i) {
        cmd += tool + QLatin1Char(' ') + rec.mCommand.at(i);
        if (i < rec.mCommand.size() - 1)
            cmd += QStringLiteral(" ; ");
    }
    cmd = ReplaceAll(cmd, QStringLiteral("%port"), port);
    cmd = ReplaceAll(cmd, QStringLiteral("%baud"), BaudPM.Text());

    // Manifests may write the sub-folder with "\\" pairs; the shell wants "/".
    QString sub = rec.mPath;
    if (!sub.isEmpty())
        sub = ReplaceAll(sub, QStringLiteral("\\\\"), QStringLiteral("/")) + QLatin1Char('/');
    const QString prefix = rec.mFirmFolder.ShellPath() + QLatin1Char('/') + sub;
    cmd = ReplaceAll(cmd, QStringLiteral("%PATH\\\\"), prefix);

    // Only the ends: the doubled blanks of a flash.sh template stay inside.
    InstallEF.SetText(Trim(cmd));
}

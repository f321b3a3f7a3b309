#include "serial/Monitor.h"
#include "window/EspWin.h"

void EspWin::StartPB_Action() {
    // Start stays pressable during a run. A second press would wipe the log and close a
    // session the user opened under a tool that holds the port, so it is ignored until the
    // run has ended.
    if (esptool.IsRunning())
        return;
    rEF.SetText(QStringLiteral("Wait...."));
    // The tool needs the port to itself; the session is reopened when it is done.
    PortSession& session = *this;
    termConnected = session.IsConnected();
    session.DoDisconnect();
    esptool.Execute(InstallEF.Text());
}

void EspWin::esptool_DataAvailable() {
    // As it came: carriage returns and all, each chunk taken as UTF-8 by itself.
    rEF.AppendText(esptool.ReadAll());
    rEF.SetScrollPosition(TextArea::kScrollLineLimit);
}

void EspWin::esptool_Completed() {
    esptool_DataAvailable();
    // The tool's result is not judged: a failed run reopens the session too.
    if (termConnected || AutoConnectCB.Value()) {
        PortSession& session = *this;
        session.DoConnect(QString());
    }
    StartPB.SetEnabled(true);
    PortPM.SetEnabled(true);
    SelectPB.SetEnabled(true);
}

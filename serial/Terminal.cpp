#include "platform/Serial.h"
#include "window/EspWin.h"

void EspWin::MySerial_DataAvailable() {
    // Shown as it comes, byte for byte: a line may arrive in pieces, and that is fine.
    const QString s = MySerial.ReadAll();
    MySerial.Flush();
    if (s.isEmpty())
        return;
    rEF.AppendText(s);
    rEF.SetScrollPosition(TextArea::kScrollLineLimit);
}

bool EspWin::rEF_KeyDown(const QString& key) {
    MySerial.Write(key);
    // Not consumed: the pane takes the key as well, which is all the local echo there is.
    return false;
}

void EspWin::ScanBtn2_Action() {
    rEF.SetText(QString());
}

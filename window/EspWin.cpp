#include "window/EspWin.h"

#include "platform/Yield.h"

#include <QTimer>

EspWin* EspWin::sInstance = nullptr;
MenuBar& (*EspWin::sMenuBar)() = nullptr;

EspWin* EspWin::Instance() {
    if (!sInstance)
        sInstance = new EspWin();
    return sInstance;
}

EspWin* EspWin::Existing() {
    return sInstance;
}

void EspWin::UseMenuBar(MenuBar& (*menuBar)()) {
    sMenuBar = menuBar;
}

EspWin::EspWin() {
    // Field defaults are in place by now; then the window, the controls, their Open
    // handlers and last the window's own Open.
    sInstance = this;
    Layout();
    CreateControls();
    WireHandlers();
    mWindow.RaiseOpen();
    Event_Open();
}

EspWin::~EspWin() {
    if (sInstance == this)
        sInstance = nullptr;
}

namespace {

WindowSettings Settings() {
    WindowSettings settings;
    settings.Width = 512;
    settings.Height = 478;
    settings.MinWidth = 64;
    settings.MinHeight = 64;
    settings.MaxWidth = 32000;
    settings.MaxHeight = 32000;
    settings.Title = QStringLiteral("Corvane");
    return settings;
}

} // namespace

bool EspWin::ShowFrame() {
    mWindow.Apply(Settings());
    mWindow.Show();
    mWindow.Flush();
    return true;
}

void EspWin::Layout() {
    if (sMenuBar)
        mWindow.SetMenuBar(sMenuBar());
    mWindow.Apply(Settings());
}

void EspWin::CreateControls() {
    Window& w = mWindow;
    constexpr int L = LockLeft, T = LockTop, R = LockRight, B = LockBottom;

    w.Place(tooltypePM, "tooltypePM", 30, -143, 107, 20, L | T, 0);
    tooltypePM.AddRows({"esptool.py", "esptool-ck"});
    tooltypePM.SetListIndex(0);

    w.Place(Label1, "Label1", 0, 7, 75, 20, L | T, 1);
    Label1.SetText("ESP Tool: ");

    w.Place(StartPB, "StartPB", 426, 254, 80, 20, T | R, 2);
    StartPB.SetCaption("Start");

    w.Place(rEF, "rEF", 0, 286, 512, 172, L | T | R | B, 3);
    rEF.SetBackColor(QColor(0xFF, 0xFF, 0xFF));

    w.Place(UploadEF, "UploadEF", 20, -77, 334, 45, L | T | R, 4);
    UploadEF.SetReadOnly(true);

    w.Place(Label2, "Label2", 0, 56, 75, 20, L | T, 5);
    Label2.SetText("Port: ");

    w.Place(Label3, "Label3", -10, -260, 75, 20, L | T, 6);
    Label3.SetText("Download: ");

    w.Place(SelectPB, "SelectPB", 412, -193, 80, 20, T | R, 8);
    SelectPB.SetCaption("Select");

    esptool.setObjectName("esptool");
    esptool.Mode = 1;
    esptool.TimeOut = 6000;

    w.Place(EspToolEF, "EspToolEF", 80, 7, 334, 45, L | T | R, 10);
    EspToolEF.SetText("esptool");

    w.Place(Label5, "Label5", 0, 146, 75, 20, L | T, 11);
    Label5.SetText("Install: ");

    w.Place(BaudPM, "BaudPM", 80, 84, 80, 20, L | T, 12);
    BaudPM.SetTextSize(10);
    BaudPM.AddRows(Speeds::FlashRows());
    BaudPM.SetListIndex(Speeds::kFlashStartRow);

    w.Place(BitsPM, "BitsPM", 262, -109, 50, 20, LockNone, 13);
    BitsPM.SetTextSize(10);
    BitsPM.AddRows({"5", "6", "7", "8"});
    BitsPM.SetListIndex(3);

    w.Place(ConnectPB, "ConnectPB", 422, 83, 80, 20, R, 14);
    ConnectPB.SetCaption("Connect");

    w.Place(CtsCB, "CtsCB", 443, -123, 50, 20, R, 15);
    CtsCB.SetCaption("CTS");
    CtsCB.SetTextSize(10);

    w.Place(DtrCB, "DtrCB", 443, -103, 50, 20, R, 16);
    DtrCB.SetCaption("DTR");
    DtrCB.SetTextSize(10);

    w.Place(ParityPM, "ParityPM", 317, -109, 50, 20, LockNone, 17);
    ParityPM.SetTextSize(10);
    ParityPM.AddRows({"No", "Odd", "Even"});
    ParityPM.SetListIndex(0);

    // No rows at design time, so its design-time index 0 selects nothing.
    w.Place(PortPM, "PortPM", 80, 58, 331, 20, L | R, 18);

    w.Place(ScanBtn, "ScanBtn", 422, 57, 80, 20, T | R, 19);
    ScanBtn.SetCaption("Scan");

    w.Place(StopPM, "StopPM", 372, -109, 50, 20, LockNone, 20);
    StopPM.SetTextSize(10);
    StopPM.AddRows({"1", "1.5", "2"});
    StopPM.SetListIndex(0);

    w.Place(XonCB, "XonCB", 443, -143, 50, 20, R, 21);
    XonCB.SetCaption("XON");
    XonCB.SetTextSize(10);

    w.Place(Label7, "Label7", -216, 114, 75, 20, L | T, 23);
    Label7.SetText("Reset (-cd): ");

    w.Place(ResetEF, "ResetEF", -136, 113, 105, 22, L | T, 24);
    ResetEF.SetText("ck");

    MySerial.setObjectName("MySerial");
    // Overwritten by the monitor's speed before every open.
    MySerial.Baud = Speeds::RateOfRow(Speeds::kFlashStartRow);
    MySerial.Bits = 3;
    MySerial.Parity = 0;
    MySerial.Stop = 0;
    MySerial.XON = false;
    MySerial.CTS = true;
    MySerial.DTR = true;

    w.Place(Label9, "Label9", 0, 83, 75, 20, L | T, 27);
    Label9.SetText("Speed: ");

    w.Place(InstallEF, "InstallEF", 80, 145, 334, 133, L | T | R, 28);

    w.Place(SelectESPPB, "SelectESPPB", 422, 7, 80, 20, T | R, 29);
    SelectESPPB.SetCaption("Select");

    w.Place(Label8, "Label8", 244, 83, 75, 20, L | T, 30);
    Label8.SetText("Serial monitor: ");

    w.Place(ulb, "ulb", 70, -259, 334, 91, L | T, 31);
    ulb.SetColumns({"File (-cf)", "Address(-ca)"});
    ulb.AddRow("");
    ulb.SetCell(0, 1, "0x00000000");

    w.Place(DeletePB, "DeletePB", 412, -241, 80, 20, T | R, 32);
    DeletePB.SetCaption("Delete");
    DeletePB.SetEnabled(false);

    w.Place(AddressEF, "AddressEF", 379, -54, 88, 22, L | T, 26);
    AddressEF.SetText("0x00000000");

    w.Place(PrisetPM, "PrisetPM", 80, 114, 330, 20, L | T | R, 33);

    w.Place(Label4, "Label4", 0, 114, 75, 20, L | T, 34);
    Label4.SetText("Priset: ");

    w.Place(AbsoluteCB, "AbsoluteCB", -153, 81, 122, 20, L | T, 35);
    AbsoluteCB.SetCaption("Use absolute path");
    AbsoluteCB.SetValue(true);
    AbsoluteCB.SetVisible(false);

    w.Place(firmfolderBtn, "firmfolderBtn", 422, 114, 80, 20, T | R, 36);
    firmfolderBtn.SetCaption("Select");

    w.Place(SerialBB, "SerialBB", 192, -145, 120, 22, L | T, 38);
    SerialBB.SetCaption("Serial Connect");

    w.Place(BaudPMs, "BaudPMs", 329, 84, 80, 20, L | T, 39);
    BaudPMs.SetTextSize(10);
    BaudPMs.AddRows(Speeds::MonitorRows());
    BaudPMs.SetListIndex(Speeds::kMonitorStartRow);

    w.Place(ScanBtn2, "ScanBtn2", 0, 457, 65, 20, L | B, 40);
    ScanBtn2.SetCaption("Clear");

    w.Place(AutoConnectCB, "AutoConnectCB", 77, 457, 299, 20, L | B, 41);
    AutoConnectCB.SetCaption("Auto serial connection after installation.");

    SelectFiremTimer.setObjectName("SelectFiremTimer");
    SelectFiremTimer.SetPeriod(1000);
    SelectFiremTimer.SetMode(Timer::ModeOff);
}

void EspWin::WireHandlers() {
    connect(&tooltypePM, &PopupMenu::Change, this, &EspWin::tooltypePM_Change);
    connect(&tooltypePM, &Control::Open, this, &EspWin::tooltypePM_Open);
    connect(&StartPB, &PushButton::Action, this, &EspWin::StartPB_Action);
    rEF.SetKeyDownHandler([this](const QString& key) { return rEF_KeyDown(key); });
    connect(&UploadEF, &TextArea::TextChange, this, &EspWin::UploadEF_TextChange);
    connect(&SelectPB, &PushButton::Action, this, &EspWin::SelectPB_Action);
    connect(&esptool, &Shell::Completed, this, &EspWin::esptool_Completed);
    connect(&esptool, &Shell::DataAvailable, this, &EspWin::esptool_DataAvailable);
    connect(&EspToolEF, &TextArea::TextChange, this, &EspWin::EspToolEF_TextChange);
    connect(&BaudPM, &Control::Open, this, &EspWin::BaudPM_Open);
    connect(&BaudPM, &PopupMenu::Change, this, &EspWin::BaudPM_Change);
    connect(&ConnectPB, &PushButton::Action, this, &EspWin::ConnectPB_Action);
    connect(&PortPM, &PopupMenu::Change, this, &EspWin::PortPM_Change);
    connect(&PortPM, &Control::Open, this, &EspWin::PortPM_Open);
    connect(&ScanBtn, &PushButton::Action, this, &EspWin::ScanBtn_Action);
    connect(&ResetEF, &TextField::TextChange, this, &EspWin::ResetEF_TextChange);
    connect(&MySerial, &Serial::DataAvailable, this, &EspWin::MySerial_DataAvailable);
    connect(&SelectESPPB, &PushButton::Action, this, &EspWin::SelectESPPB_Action);
    ulb.SetBackgroundPainter(
        [this](Graphics& g, int row, int column) { return ulb_CellBackgroundPaint(g, row, column); });
    connect(&ulb, &Listbox::DoubleClick, this, &EspWin::ulb_DoubleClick);
    connect(&ulb, &Listbox::Change, this, &EspWin::ulb_Change);
    connect(&ulb, &Control::Open, this, &EspWin::ulb_Open);
    connect(&ulb, &Listbox::CellTextChange, this, &EspWin::ulb_CellTextChange);
    connect(&DeletePB, &PushButton::Action, this, &EspWin::DeletePB_Action);
    connect(&AddressEF, &TextField::TextChange, this, &EspWin::AddressEF_TextChange);
    connect(&PrisetPM, &PopupMenu::Change, this, &EspWin::PrisetPM_Change);
    connect(&firmfolderBtn, &PushButton::Action, this, &EspWin::firmfolderBtn_Action);
    connect(&BaudPMs, &Control::Open, this, &EspWin::BaudPMs_Open);
    connect(&ScanBtn2, &PushButton::Action, this, &EspWin::ScanBtn2_Action);
    connect(&SelectFiremTimer, &Timer::Action, this, &EspWin::SelectFiremTimer_Action);
    // The port and speed popups are serial's; the command that reads them is flash's.
    connect(this, &EspWin::PortOrSpeedChanged, this, &EspWin::MakeCommand);

    connect(&mWindow, &Window::DropObject, this, &EspWin::Event_DropObject);
    connect(&mWindow, &Window::Closed, this, &EspWin::WindowClosed);
}

void EspWin::Show() {
    mWindow.Show();
}

void EspWin::Close() {
    mWindow.Close();
}

void EspWin::Event_Open() {
    DoOpen();
}

void EspWin::Event_Close() {}

void EspWin::WindowClosed() {
    if (mClosed)
        return;
    Event_Close();
    mClosed = true;
    if (sInstance == this)
        sInstance = nullptr;
    // The tool and the line end with the window, not later when the object goes.
    esptool.Kill();
    MySerial.Close();
    DisposeWhenIdle();
}

void EspWin::DisposeWhenIdle() {
    // A handler of this window may be waiting in a nested event loop: go only once it has unwound.
    if (InNestedEvents()) {
        QTimer::singleShot(10, this, &EspWin::DisposeWhenIdle);
        return;
    }
    deleteLater();
}

bool EspWin::LetOtherEventsRun() {
    return ::LetOtherEventsRun();
}

void EspWin::DoOpen() {
    const FolderItem f = FindFlashTool();
    EspToolEF.SetText("");
    if (!f.IsNil()) {
        mEspToolApp = f;
        EspToolEF.SetText(f.ShellPath());
    } else {
        mEspToolApp = FolderItem();
    }

    LoadFirmJson();
    MakeCommand();
    mWindow.AcceptFileDrop("anytype");
}

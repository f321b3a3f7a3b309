#pragma once

#include "catalogue/Catalogue.h"
#include "flash/Flash.h"
#include "platform/BevelButton.h"
#include "platform/CheckBox.h"
#include "platform/DragItem.h"
#include "platform/FolderItem.h"
#include "platform/FolderListing.h"
#include "platform/Graphics.h"
#include "platform/Label.h"
#include "platform/Listbox.h"
#include "platform/PopupMenu.h"
#include "platform/PushButton.h"
#include "platform/Serial.h"
#include "platform/Shell.h"
#include "platform/TextArea.h"
#include "platform/TextField.h"
#include "platform/TextInputStream.h"
#include "platform/Timer.h"
#include "platform/Window.h"
#include "serial/Monitor.h"

#include <QObject>
#include <QString>
#include <QVector>

class MenuBar;

// The one window of Corvane and the home of all its state. Its methods live in the folder
// of their subsystem; this header groups them the same way. The subsystems' own rules are in
// flash/Flash.h and serial/Monitor.h; flash reaches the session through PortSession, and the
// port and speed popups tell the command about a change through PortOrSpeedChanged.
class EspWin final : public QObject, public PortSession, public CommandComposer, public CatalogueLoader {
    Q_OBJECT
public:
    // The implicit instance: the window if one exists, else a new one with its full start-up.
    static EspWin* Instance();
    // The window if one exists, without making one.
    static EspWin* Existing();
    // Where every window made from now on gets its menu bar; the application hands it over. It is
    // asked only once the window's frame is up, as making the menus takes a while.
    static void UseMenuBar(MenuBar& (*menuBar)());

    ~EspWin() override;

    void Show();
    void Close();

    // ---- Fields, in declaration order (the unused ones are in the block at the end) ----
    bool termConnected = false; // a session was open when Start was pressed: reopen it after the run
    QString mEspToolPy;         // the path shown for tool row 0 ("esptool.py"); nothing assigns it
    QString mEspTool;           // the tool path tooltypePM_Change picks; nothing reads it
    bool mConnected = false;    // MySerial is open
    RecentPorts mPortName;      // the ports last connected to, newest first
    QString mLastBaudRate = QStringLiteral("921600"); // the flash speed BaudPM selects when it opens
    bool mSerialDTR = false;                          // DataTerminalReady on every open: low
    bool mSerialRTS = false;                          // RequestToSend on every open: low
    int mEspToolUse = 1;                              // tooltypePM's row: 0 "esptool.py", 1 "esptool-ck"
    FolderItem mEspToolCk;                            // the item shown for tool row 1; nothing assigns it
    FolderItem mEspToolApp;  // the flash tool in force, whose ShellPath leads the command; nil for none
    QVector<FirmRef> mFirm;  // the catalogue: entry i is row i of PrisetPM
    FolderItem mFirmFolderX; // the firmware folder in force ("firmwares" or the one chosen)
    int mDropBin = 0;        // last index of mFirm before a drop; the preset menu moves past it

    // ---- The window and its controls, in creation order ----
    Window mWindow;
    // The frame goes up on the screen before the controls below are made: making them (fonts,
    // text layout) is most of the start-up, and nothing is painted until they are all in place.
    const bool mFrameShown = ShowFrame();
    PopupMenu tooltypePM;              // tool kind, parked: only its start-up handlers run
    Label Label1;                      // "ESP Tool: ", beside EspToolEF
    PushButton StartPB;                // runs what stands in InstallEF
    TextArea rEF{TextArea::Kind::Log}; // the log and terminal pane: tool output, serial text, keys to the board
    TextArea UploadEF;                 // parked and read-only; nothing writes it
    Label Label2;                      // "Port: ", beside PortPM
    Label Label3;                      // "Download: ", parked
    PushButton SelectPB;               // the upload list's Select, parked; does nothing
    Shell esptool;                     // runs the flash command without blocking the window
    TextArea EspToolEF;                // shows the flash tool's path; typing here changes no path
    Label Label5;                      // "Install: ", beside InstallEF
    PopupMenu BaudPM;                  // the flash tool's speed (%baud)
    PopupMenu BitsPM;                  // data bits, parked; nothing reads it
    PushButton ConnectPB;              // opens or closes the serial session
    CheckBox CtsCB;                    // hardware flow control for a session, parked: always off
    CheckBox DtrCB;                    // DTR for a session, parked: always off
    PopupMenu ParityPM;                // parity, parked; nothing reads it
    PopupMenu PortPM;                  // the one list of ports, for the tool and the session
    PushButton ScanBtn;                // lists the ports again
    PopupMenu StopPM;                  // stop bits, parked; nothing reads it
    CheckBox XonCB;                    // software flow control for a session, parked: always off
    Label Label7;                      // "Reset (-cd): ", parked
    TextField ResetEF;                 // parked reset option of the other tool ("ck"); no command reads it
    Serial MySerial;                   // the serial session's port
    Label Label9;                      // "Speed: ", beside BaudPM
    TextArea InstallEF;                // the command Start runs, as MakeCommand wrote it or the user edited it
    PushButton SelectESPPB;            // chooses the flash tool in a dialog
    Label Label8;                      // "Serial monitor: ", beside BaudPMs
    Listbox ulb;                       // the upload list (file, address), parked; no command reads it
    PushButton DeletePB;               // empties or removes the upload list's selected row, parked
    TextField AddressEF;               // an upload address, parked
    PopupMenu PrisetPM;                // the preset menu: row i is mFirm[i]
    Label Label4;                      // "Priset: ", beside PrisetPM
    CheckBox AbsoluteCB;               // parked and hidden; nothing reads it
    PushButton firmfolderBtn;          // chooses the firmware folder
    BevelButton SerialBB;              // parked; no handler, nothing touches it
    PopupMenu BaudPMs;                 // the serial monitor's speed, read when a session opens
    PushButton ScanBtn2;               // the Clear button: empties rEF
    CheckBox AutoConnectCB;            // opens the session by itself when a run ends
    Timer SelectFiremTimer;            // fires once, a second after a load found no "firmwares": asks for a folder

    // ---- Window events and start-up (window/) ----
    void Event_Open();
    void Event_Close();
    void Event_DropObject(DragItem& d);
    void DoOpen();

    // ---- Serial monitor (serial/) ----
    void DoConnect(const QString& port) override;
    bool RbPortOpen(const QString& port);
    void RbPortClose();
    void MemoPortInfo(const QString& port);
    void MakeSerialPortPopupMenu();
    void DoDisconnect() override;
    void PortPM_Change();
    void PortPM_Open();
    void ScanBtn_Action();
    void BaudPM_Open();
    void BaudPM_Change();
    void BaudPMs_Open();
    void ConnectPB_Action();
    void MySerial_DataAvailable();
    bool rEF_KeyDown(const QString& key);
    void ScanBtn2_Action();

    // ---- Flashing (flash/) ----
    void MakeCommand() override;
    void tooltypePM_Open();
    void tooltypePM_Change();
    void EspToolEF_TextChange();
    void SelectESPPB_Action();
    void StartPB_Action();
    void esptool_DataAvailable();
    void esptool_Completed();
    void ulb_Open();

    // ---- Catalogue (catalogue/) ----
    void LoadFirmJson();
    void LoadTopFolder(const FolderItem& folder);
    void LoadFirmJsonFolder(const FolderItem& folder, bool allowBin) override;
    void LoadFirmJsonFile(const FolderItem& file, bool allowBin) override;
    void MakeFirmPrisetPM() override;
    void LoadFirmJsonType0(const FolderItem& file);
    int CheckJsonType(const QString& text);
    void LoadFirmJsonType1(const FolderItem& file);
    void LoadFlashCmd(FirmClass& record, const FolderItem& folder);
    bool MakeFlashShell(const FolderItem& file);
    void SelectFirmFolder();
    void PrisetPM_Change();
    void firmfolderBtn_Action();
    void SelectFiremTimer_Action();

    // ---- Documents and drops (app/) ----
    void DoDropFile(const FolderItem& f);

    // ---- Kept but out of use: the window has them, yet nothing reads these fields, and no
    // user can reach these handlers (their controls are parked) or these methods (no caller) ----
    int mSerialBits = 0;
    int mSerialParity = 0;
    int mSerialStop = 0;
    FolderItem mBinFolder;
    // An empty hook: RbPortOpen calls it before the modem lines are set.
    void RbPortOpenPre();
    void SelectUploadFileX();
    // Fills ulb from an install settings file; SetUploadFileToList puts one file in it.
    void SetInstallSetting(const FolderItem& file);
    void SetUploadFileToList(const FolderItem& file, const QString& address);
    QString ReplaceToRelativePath(const QString& path);
    void ulb_Change();
    void ulb_CellTextChange(int row, int column);
    bool ulb_CellBackgroundPaint(Graphics& g, int row, int column);
    void ulb_DoubleClick();
    void DeletePB_Action();
    void SelectPB_Action();
    void UploadEF_TextChange();
    void AddressEF_TextChange();
    void ResetEF_TextChange();

    // Lets other events run from a long loop; the window is not torn down meanwhile. True when
    // events did run.
    bool LetOtherEventsRun();
    // True once the window has been closed; long loops stop early.
    bool IsClosed() const { return mClosed; }
    // PortSession: whether a serial session is open.
    bool IsConnected() const override;

signals:
    // PortPM or BaudPM moved: what the flash command reads has changed.
    void PortOrSpeedChanged();

private:
    EspWin();
    bool ShowFrame();
    void Layout();
    void CreateControls();
    void WireHandlers();
    void WindowClosed();
    void MakeFirmPackage(const FolderItem& file);
    void WalkFirmFolder(const FolderItem& folder, bool allowBin, QVector<QPair<quint64, quint64>>& path);
    void LoadListedFile(FolderListing& listing, int i, bool allowBin);
    // A manifest's text, read before, given to the reader its type calls for.
    void LoadFirmJsonText(const FolderItem& folder, TextInputStream& stream);
    // What the catalogue's readers ask on every pass: events run, and the read goes on while
    // the window stands.
    bool KeepReading();
    void DisposeWhenIdle();

    static EspWin* sInstance;
    static MenuBar& (*sMenuBar)();
    bool mClosed = false;
};

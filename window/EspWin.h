#pragma once

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
#include "window/FirmClass.h"

#include <QObject>
#include <QString>
#include <QVector>

#include <array>

// The one window of Corvane and the home of all its state. Its methods live in the folder
// of their subsystem; this header groups them the same way.
class EspWin final : public QObject {
    Q_OBJECT
public:
    // The implicit instance: the window if one exists, else a new one with its full start-up.
    static EspWin* Instance();
    // The window if one exists, without making one.
    static EspWin* Existing();

    ~EspWin() override;

    void Show();
    void Close();

    // ---- Fields, in declaration order ----
    bool termConnected = false;
    QString mEspToolPy;
    QString mEspTool;
    bool mConnected = false;
    std::array<QString, 6> mPortName;
    QString mLastBaudRate = QStringLiteral("921600");
    int mSerialBits = 0;
    bool mSerialDTR = false;
    int mSerialParity = 0;
    bool mSerialRTS = false;
    int mSerialStop = 0;
    int mEspToolUse = 1;
    FolderItem mEspToolCk;
    FolderItem mEspToolApp;
    FolderItem mBinFolder;
    QVector<FirmRef> mFirm;
    FolderItem mFirmFolderX;
    int mDropBin = 0;

    // ---- The window and its controls, in creation order ----
    Window mWindow;
    // The frame goes up on the screen before the controls below are made: making them (fonts,
    // text layout) is most of the start-up, and nothing is painted until they are all in place.
    const bool mFrameShown = ShowFrame();
    PopupMenu tooltypePM;
    Label Label1;
    PushButton StartPB;
    TextArea rEF{TextArea::Kind::Log};
    TextArea UploadEF;
    Label Label2;
    Label Label3;
    PushButton SelectPB;
    Shell esptool;
    TextArea EspToolEF;
    Label Label5;
    PopupMenu BaudPM;
    PopupMenu BitsPM;
    PushButton ConnectPB;
    CheckBox CtsCB;
    CheckBox DtrCB;
    PopupMenu ParityPM;
    PopupMenu PortPM;
    PushButton ScanBtn;
    PopupMenu StopPM;
    CheckBox XonCB;
    Label Label7;
    TextField ResetEF;
    Serial MySerial;
    Label Label9;
    TextArea InstallEF;
    PushButton SelectESPPB;
    Label Label8;
    Listbox ulb;
    PushButton DeletePB;
    TextField AddressEF;
    PopupMenu PrisetPM;
    Label Label4;
    CheckBox AbsoluteCB;
    PushButton firmfolderBtn;
    BevelButton SerialBB;
    PopupMenu BaudPMs;
    PushButton ScanBtn2;
    CheckBox AutoConnectCB;
    Timer SelectFiremTimer;

    // ---- Window events and start-up (window/) ----
    void Event_Open();
    void Event_Close();
    void Event_DropObject(DragItem& d);
    void DoOpen();

    // ---- Serial monitor (serial/) ----
    void DoConnect(const QString& port);
    bool RbPortOpen(const QString& port);
    void RbPortClose();
    void RbPortOpenPre();
    void MemoPortInfo(const QString& port);
    void MakeSerialPortPopupMenu();
    void DoDisconnect();
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
    void MakeCommand();
    void tooltypePM_Open();
    void tooltypePM_Change();
    void EspToolEF_TextChange();
    void SelectESPPB_Action();
    void StartPB_Action();
    void esptool_DataAvailable();
    void esptool_Completed();
    void SelectUploadFileX();
    void SetInstallSetting(const FolderItem& file);
    void SetUploadFileToList(const FolderItem& file, const QString& address);
    QString ReplaceToRelativePath(const QString& path);
    void ulb_Open();
    void ulb_Change();
    void ulb_CellTextChange(int row, int column);
    bool ulb_CellBackgroundPaint(Graphics& g, int row, int column);
    void ulb_DoubleClick();
    void DeletePB_Action();
    void SelectPB_Action();
    void UploadEF_TextChange();
    void AddressEF_TextChange();
    void ResetEF_TextChange();

    // ---- Catalogue (catalogue/) ----
    void LoadFirmJson();
    void LoadTopFolder(const FolderItem& folder);
    void LoadFirmJsonFolder(const FolderItem& folder, bool allowBin);
    void LoadFirmJsonFile(const FolderItem& file, bool allowBin);
    void MakeFirmPrisetPM();
    void LoadFirmJsonType0(const FolderItem& file);
    int CheckJsonType(const QString& text);
    void LoadFirmJsonType1(const FolderItem& file);
    // The readers over a manifest's text read before; the one-argument forms open the file.
    void LoadFirmJsonType0(const FolderItem& file, TextInputStream& stream);
    void LoadFirmJsonType1(const FolderItem& file, TextInputStream& stream);
    void LoadFlashCmd(FirmClass& record, const FolderItem& folder);
    bool MakeFlashShell(const FolderItem& file);
    void SelectFirmFolder();
    void PrisetPM_Change();
    void firmfolderBtn_Action();
    void SelectFiremTimer_Action();

    // ---- Documents and drops (app/) ----
    void DoDropFile(const FolderItem& f);

    // Lets other events run from a long loop; the window is not torn down meanwhile. True when
    // events did run.
    bool LetOtherEventsRun();
    // True once the window has been closed; long loops stop early.
    bool IsClosed() const { return mClosed; }

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
    void LoadFirmJsonText(const FolderItem& file, TextInputStream& stream);
    void DisposeWhenIdle();

    static EspWin* sInstance;
    bool mClosed = false;
};

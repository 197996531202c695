#pragma once
// A serial port read by a thread of its own, as the input dialog's barcode reader
// needs it: open by name at the configured line settings without flow control, a
// receive event on the main thread with the number of bytes waiting, ReadStr to
// take them, close.
//
// Names: "COM1" is /dev/ttyS0 (COMn is /dev/ttyS<n-1>), "\\.\COM3" the same as
// "COM3", a name starting with "/" is a path taken as it is (/dev/ttyUSB0, a
// pseudo-terminal), any other name is looked up in /dev ("ttyUSB0").
//
// The port is held exclusively while open: a second opener, in this process or
// another, finds it busy.

#include "frame/ZELBase.h"

#include <QObject>
#include <QString>
#include <functional>
#include <memory>

class TCustomComPort;

// A failure of the port: Code tells the step, WinCode the system's error number.
class EComPort : public Exception {
public:
    EComPort(int code, int winCode, const QString& message)
        : Exception(message), fCode(code), fWinCode(winCode) {}
    int Code() const { return fCode; }
    int WinCode() const { return fWinCode; }

private:
    int fCode;
    int fWinCode;
};

// Failure codes of EComPort.
enum : int {
    CError_OpenFailed = 1,     // the device cannot be opened: missing, busy, no rights
    CError_ReadFailed = 3,
    CError_SetStateFailed = 7, // line settings refused (not a serial device, unsupported rate)
    CError_PurgeFailed = 10,
    CError_ThreadCreated = 13, // the reader cannot be started
};

enum TBaudRate { brCustom, br110, br300, br600, br1200, br2400, br4800, br9600, br14400, br19200, br38400,
                 br56000, br57600, br115200, br128000, br256000 };
enum TDataBits { dbFive, dbSix, dbSeven, dbEight };
enum TStopBits { sbOneStopBit, sbOne5StopBits, sbTwoStopBits };
enum TParityBits { prNone, prOdd, prEven, prMark, prSpace };
enum TDTRFlowControl { dtrDisable, dtrEnable, dtrHandshake };
enum TRTSFlowControl { rtsDisable, rtsEnable, rtsHandshake, rtsToggle };
enum TComEvent { evRxChar, evTxEmpty, evRxFlag, evRing, evBreak, evCTS, evDSR, evError, evRLSD, evRx80Full };
// One bit per TComEvent.
using TComEvents = unsigned;
constexpr TComEvents ComEvent(TComEvent e) { return 1u << unsigned(e); }
constexpr TComEvents AllComEvents = (1u << 10) - 1;
// How the reader's events reach the handlers: handed over to the main thread (the
// first two; there is no hidden window here, both take the hand-over), or called
// directly on the reader thread.
enum TSyncMethod { smThreadSync, smWindowSync, smNone };

struct TComParity {
    TParityBits Bits = prNone;
    bool Check = false;
    bool Replace = false;
    char ReplaceChar = 0;
};

struct TComFlowControl {
    bool OutCTSFlow = false;
    bool OutDSRFlow = false;
    TDTRFlowControl ControlDTR = dtrDisable;
    TRTSFlowControl ControlRTS = rtsDisable;
    bool XonXoffOut = false;
    bool XonXoffIn = false;
};

// InputSize: most received bytes the reader keeps for ReadStr; further bytes wait in
// the device until some are taken. OutputSize is kept for the settings' sake: nothing
// is written here.
struct TComBuffer {
    int InputSize = 1024;
    int OutputSize = 1024;
};

// Kept for the settings' sake: ReadStr takes what is waiting and does not wait.
struct TComTimeouts {
    int ReadInterval = -1;
    int ReadTotalMultiplier = 0;
    int ReadTotalConstant = 0;
    int WriteTotalMultiplier = 100;
    int WriteTotalConstant = 1000;
};

// The device path a port name stands for.
QString ComPortDevicePath(const QString& port);

class TComThread;

class TCustomComPort : public QObject {
public:
    explicit TCustomComPort(QObject* owner = nullptr);
    ~TCustomComPort() override;
    TCustomComPort(const TCustomComPort&) = delete;
    TCustomComPort& operator=(const TCustomComPort&) = delete;

    const QString& Port() const { return fPort; }
    // A new name on an open port closes it and opens the new one.
    void SetPort(const QString& value);
    TBaudRate BaudRate() const { return fBaudRate; }
    void SetBaudRate(TBaudRate value);
    TDataBits DataBits() const { return fDataBits; }
    void SetDataBits(TDataBits value);
    TStopBits StopBits() const { return fStopBits; }
    void SetStopBits(TStopBits value);
    TComParity Parity;                // read when the port opens
    TComFlowControl FlowControl;      // read when the port opens
    TComBuffer Buffer;
    TComTimeouts Timeouts;
    TComEvents Events = AllComEvents; // the reader runs only when this is not empty
    bool TriggersOnRxChar = true;
    TSyncMethod SyncMethod = smThreadSync;
    bool DiscardNull = false;
    char EventChar = 0;
    int CodePage = 0;

    bool Connected() const { return fConnected; }
    // True opens (raises EComPort on failure), false closes; closing never waits on the main thread.
    void SetConnected(bool value);
    void Open();
    void Close();

    // Reads up to count bytes that are waiting; answers the number read.
    int ReadStr(QString& text, int count);
    // Bytes waiting in the input queue.
    int InputCount() const;
    const QString& DevicePath() const { return fDevicePath; }

    std::function<void(TCustomComPort* sender, int count)> OnRxChar;
    // Receives failures instead of their being raised.
    std::function<void(TCustomComPort* sender, const EComPort& error)> OnException;
    std::function<void(TCustomComPort* sender)> OnBeforeOpen, OnAfterOpen, OnBeforeClose, OnAfterClose;

    // Called by the reader (on the main thread unless SyncMethod is smNone).
    void DoEvents(TComEvents events);

private:
    void CallException(int code, int winCode, const QString& message);
    bool ApplySettings();

    QString fPort = QStringLiteral("COM1");
    QString fDevicePath;
    TBaudRate fBaudRate = br9600;
    TDataBits fDataBits = dbEight;
    TStopBits fStopBits = sbOneStopBit;
    bool fConnected = false;
    int fHandle = -1;
    std::unique_ptr<TComThread> fThread;
};

class TComPort : public TCustomComPort {
public:
    using TCustomComPort::TCustomComPort;
};

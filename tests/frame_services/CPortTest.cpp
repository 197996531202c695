// The serial port on a pseudo-terminal pair (TestHelpers.h).

#include "frame/CPort.h"
#include "tests/frame_services/TestHelpers.h"

#include <QTemporaryDir>
#include <QThread>
#include <gtest/gtest.h>

#include <termios.h>

namespace {
// A port set to the slave side of a fresh pseudo-terminal pair.
class CPortTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(pty.Valid());
        port.SetPort(pty.Path());
    }
    PtyPair pty;
    TComPort port;
};

bool OnMainThread()
{
    return QThread::currentThread() == QCoreApplication::instance()->thread();
}

// Runs f and says whether it came back within the time; a close that deadlocks would not.
bool ReturnsWithin(int ms, const std::function<void()>& f)
{
    QElapsedTimer t;
    t.start();
    f();
    return t.elapsed() < ms;
}
}

TEST(CPort, PortNamesMapToDevicePaths)
{
    EXPECT_EQ(ComPortDevicePath("COM1"), "/dev/ttyS0");
    EXPECT_EQ(ComPortDevicePath("com10"), "/dev/ttyS9");
    EXPECT_EQ(ComPortDevicePath("\\\\.\\COM3"), "/dev/ttyS2");
    EXPECT_EQ(ComPortDevicePath("/dev/pts/7"), "/dev/pts/7");
    EXPECT_EQ(ComPortDevicePath(" ttyUSB0 "), "/dev/ttyUSB0");
    EXPECT_EQ(ComPortDevicePath("COM0"), "/dev/COM0");   // no such line: the open says so
}

TEST_F(CPortTest, OpensRawAt9600EightNoneOneWithoutFlowControl)
{
    // A line left in another mode by an earlier user: everything must be set, not assumed.
    termios before{};
    ASSERT_EQ(::tcgetattr(pty.Slave(), &before), 0);
    before.c_cflag |= PARENB | CSTOPB | CRTSCTS;
    before.c_iflag |= IXON | IXOFF;
    before.c_lflag |= ICANON | ECHO;
    ::cfsetspeed(&before, B115200);
    ASSERT_EQ(::tcsetattr(pty.Slave(), TCSANOW, &before), 0);

    port.SetConnected(true);
    ASSERT_TRUE(port.Connected());
    EXPECT_EQ(port.DevicePath(), pty.Path());

    termios t{};
    ASSERT_EQ(::tcgetattr(pty.Slave(), &t), 0);
    EXPECT_EQ(::cfgetispeed(&t), speed_t(B9600));
    EXPECT_EQ(::cfgetospeed(&t), speed_t(B9600));
    EXPECT_EQ(t.c_cflag & CSIZE, tcflag_t(CS8));
    EXPECT_FALSE(t.c_cflag & (PARENB | CSTOPB | CRTSCTS));
    EXPECT_FALSE(t.c_iflag & (IXON | IXOFF));
    EXPECT_FALSE(t.c_lflag & (ICANON | ECHO));
    EXPECT_TRUE(t.c_cflag & CREAD);

    port.SetConnected(false);
    EXPECT_FALSE(port.Connected());
}

TEST_F(CPortTest, ReceivedBytesArriveOnTheMainThreadWithTheirCount)
{
    QString received;
    QList<int> counts;
    bool onMain = true;
    port.OnRxChar = [&](TCustomComPort* sender, int count) {
        EXPECT_EQ(sender, &port);
        onMain = onMain && OnMainThread();
        counts << count;
        QString s;
        EXPECT_EQ(sender->ReadStr(s, count), count);
        received += s;
    };
    port.SetConnected(true);
    pty.Send("4006381333931\r\n");
    ASSERT_TRUE(PumpUntil([&] { return received.size() >= 15; }, 5000)) << received.toStdString();
    EXPECT_EQ(received, "4006381333931\r\n");
    EXPECT_TRUE(onMain);
    int sum = 0;
    for (int c : counts)
        sum += c;
    EXPECT_EQ(sum, 15);

    // 8-bit text of the line comes in as the program's code page.
    received.clear();
    pty.Send("Pr\xfc" "fling");
    ASSERT_TRUE(PumpUntil([&] { return received.size() >= 8; }, 5000)) << received.toStdString() << counts.size();
    EXPECT_EQ(received, QStringLiteral("Prüfling"));
}

TEST_F(CPortTest, UnreadBytesDoNotRepeatTheEventAndBytesBeyondTheInputSizeComeLater)
{
    QList<int> counts;
    port.OnRxChar = [&](TCustomComPort*, int count) { counts << count; };   // reads nothing
    port.SetConnected(true);
    pty.Send("ab");
    ASSERT_TRUE(PumpUntil([&] { return !counts.isEmpty(); }, 5000));
    PumpFor(200);
    EXPECT_EQ(counts, QList<int>{2});
    pty.Send("c");
    ASSERT_TRUE(PumpUntil([&] { return counts.size() == 2; }, 5000));
    EXPECT_EQ(counts.last(), 3);   // all that waits
    QString s;
    EXPECT_EQ(port.ReadStr(s, 10), 3);
    EXPECT_EQ(s, "abc");
    EXPECT_EQ(port.ReadStr(s, 10), 0);   // nothing waits: no wait either

    // Bytes beyond the input size wait and come with later events.
    port.SetConnected(false);
    port.Buffer.InputSize = 4;
    QString received;
    int largest = 0;
    port.OnRxChar = [&](TCustomComPort* sender, int count) {
        largest = std::max(largest, count);
        QString s;
        sender->ReadStr(s, count);
        received += s;
    };
    port.SetConnected(true);
    pty.Send("0123456789");
    ASSERT_TRUE(PumpUntil([&] { return received.size() >= 10; }, 5000)) << received.toStdString();
    EXPECT_EQ(received, "0123456789");
    EXPECT_LE(largest, 4);
}

TEST_F(CPortTest, CloseWithAHandOverPendingReturnsAndTheHandlerNeverRuns)
{
    int calls = 0;
    port.OnRxChar = [&](TCustomComPort*, int) { ++calls; };
    port.SetConnected(true);
    pty.Send("x");
    // The reader has handed the event over and waits for the main thread, which does not run it.
    QThread::msleep(300);
    EXPECT_TRUE(ReturnsWithin(2000, [&] { port.SetConnected(false); }));
    EXPECT_FALSE(port.Connected());
    PumpFor(100);   // the handed-over call still in the queue finds the port closed
    EXPECT_EQ(calls, 0);

    // And a port destroyed in the same state.
    auto second = std::make_unique<TComPort>();
    second->SetPort(pty.Path());
    second->OnRxChar = [&](TCustomComPort*, int) { ++calls; };
    second->SetConnected(true);
    pty.Send("y");
    QThread::msleep(300);
    EXPECT_TRUE(ReturnsWithin(2000, [&] { second.reset(); }));
    PumpFor(100);
    EXPECT_EQ(calls, 0);
}

TEST_F(CPortTest, AHandlerThatClosesThePortWhilePumpingReturnsAndAHungUpLineStillCloses)
{
    // What the input dialog does: receive, wait with the queue running, confirm, and the
    // confirmation closes the port from inside the handler.
    int calls = 0;
    bool closedInside = false;
    port.OnRxChar = [&](TCustomComPort* sender, int count) {
        ++calls;
        QString s;
        sender->ReadStr(s, count);
        PumpFor(100);
        closedInside = ReturnsWithin(2000, [&] { sender->SetConnected(false); });
    };
    port.SetConnected(true);
    pty.Send("1\r\n");
    ASSERT_TRUE(PumpUntil([&] { return calls > 0 && !port.Connected(); }, 5000));
    EXPECT_TRUE(closedInside);
    pty.Send("2\r\n");
    PumpFor(200);
    EXPECT_EQ(calls, 1);

    // The port opens again afterwards and reads anew.
    port.OnRxChar = [&](TCustomComPort*, int) { ++calls; };
    port.SetConnected(true);
    pty.Send("3");
    EXPECT_TRUE(PumpUntil([&] { return calls == 2; }, 5000));

    // A hung-up line ends the events, but the close still returns.
    pty.CloseMaster();
    PumpFor(200);
    EXPECT_TRUE(ReturnsWithin(2000, [&] { port.SetConnected(false); }));
    EXPECT_EQ(calls, 2);
}

TEST_F(CPortTest, MissingBusyAndNonSerialPortsFailInGerman)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    port.SetPort(dir.filePath("ttyFehlt"));
    try {
        port.SetConnected(true);
        FAIL() << "a missing port opened";
    } catch (const EComPort& e) {
        EXPECT_EQ(e.Code(), CError_OpenFailed);
        EXPECT_EQ(e.WinCode(), ENOENT);
        EXPECT_TRUE(e.Message().startsWith("Die Schnittstelle " + dir.filePath("ttyFehlt") + " ist nicht vorhanden: "))
            << e.Message().toStdString();
    }
    EXPECT_FALSE(port.Connected());

    // A COM name tells both names.
    port.SetPort("COM200");
    try {
        port.SetConnected(true);
        FAIL() << "COM200 opened";
    } catch (const EComPort& e) {
        EXPECT_TRUE(e.Message().startsWith("Die Schnittstelle COM200 (/dev/ttyS199) ist nicht vorhanden"))
            << e.Message().toStdString();
    }

    TComPort second;
    port.SetPort(pty.Path());
    second.SetPort(pty.Path());
    port.SetConnected(true);
    try {
        second.SetConnected(true);
        FAIL() << "a port open elsewhere opened a second time";
    } catch (const EComPort& e) {
        EXPECT_EQ(e.Code(), CError_OpenFailed);
        EXPECT_TRUE(e.Message().contains("ist belegt")) << e.Message().toStdString();
    }
    EXPECT_FALSE(second.Connected());
    port.SetConnected(false);
    second.SetConnected(true);   // free again
    EXPECT_TRUE(second.Connected());

    // A plain file is no serial line; with OnException the failure is delivered, not raised.
    QFile plain(dir.filePath("datei"));
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    plain.close();
    TComPort third;
    third.SetPort(plain.fileName());
    QList<int> codes;
    QString text;
    third.OnException = [&](TCustomComPort*, const EComPort& e) {
        codes << e.Code();
        text = e.Message();
    };
    third.SetConnected(true);
    EXPECT_EQ(codes, QList<int>{CError_SetStateFailed});
    EXPECT_TRUE(text.contains("ist keine serielle Schnittstelle")) << text.toStdString();
    EXPECT_FALSE(third.Connected());
    // Nothing stays locked behind the failed open.
    TComPort fourth;
    fourth.SetPort(plain.fileName());
    fourth.OnException = third.OnException;
    fourth.SetConnected(true);
    EXPECT_EQ(codes.size(), 2);
    EXPECT_EQ(codes.last(), CError_SetStateFailed);
}

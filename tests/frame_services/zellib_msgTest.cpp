#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "frame/zellib_Logging.h"
#include "frame/zellib_msg.h"
#include "tests/frame_services/TestHelpers.h"

#include <QDir>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {
class MsgTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        AppName = QStringLiteral("ORVEXTEST");
        CommonAppPath = dir.path();
        IniFileName = dir.path() + QStringLiteral("/KELMAR.INI");
        COM_Logging = true;
        ProgrammEndet = false;
        Fehlermeldezeit = 2000;
        FehlerAnzeige_X = FehlerAnzeige_Y = FehlerAnzeige_X1 = FehlerAnzeige_X2 = 0;
        // Made here so that the test runner's own arguments stay out of the log's name.
        ZELLogFile = std::make_unique<TZELLogFile>(QStringList{QStringLiteral("test")});
    }
    void TearDown() override
    {
        ProgrammEndet = false;
        zellib_msg_Finalize();
        zellib_Logging_Finalize();
        IniStore.reset();
    }
    static QColor TextColor() { return FoMsg->MsgLabel->palette().color(QPalette::WindowText); }
    static bool ShowsError() { return FoMsg->Bild->ImageIndex() == 0 && TextColor() == QColor(Qt::red); }
    static bool ShowsInfo() { return FoMsg->Bild->ImageIndex() == 1 && TextColor() == QColor(Qt::black); }
    QTemporaryDir dir;
};

void Click(QWidget* target)
{
    const QPointF at(target->width() / 2.0, target->height() / 2.0);
    QMouseEvent press(QEvent::MouseButtonPress, at, target->mapToGlobal(at), Qt::LeftButton, Qt::LeftButton, {});
    QMouseEvent release(QEvent::MouseButtonRelease, at, target->mapToGlobal(at), Qt::LeftButton, Qt::NoButton, {});
    QCoreApplication::sendEvent(target, &press);
    QCoreApplication::sendEvent(target, &release);
}
}

TEST_F(MsgTest, ThePendingNoteReturnsAfterTheErrorTimeAndATimeOfZeroFiresAtOnce)
{
    Fehlermeldezeit = 300;
    MsgInfo(QStringLiteral("a"));
    ASSERT_NE(FoMsg, nullptr);
    EXPECT_TRUE(FoMsg->isVisible());
    EXPECT_TRUE(ShowsInfo());
    EXPECT_EQ(FoMsg->Cappanel->GradientEndColor(), QColor(0, 255, 255));
    EXPECT_EQ(FoMsg->Cappanel->LabelCaption()->text(), QStringLiteral(" S Y S T E M - H i n w e i s "));

    MsgError(QStringLiteral("b"), 0, false);
    EXPECT_EQ(FoMsg->MsgLabel->text(), QStringLiteral("b"));
    EXPECT_TRUE(ShowsError());
    EXPECT_EQ(FoMsg->Cappanel->GradientStartColor(), QColor(255, 128, 128));
    EXPECT_EQ(FoMsg->Cappanel->GradientEndColor(), QColor(255, 0, 0));
    EXPECT_TRUE(ErrorTimerRunning);
    EXPECT_EQ(FoMsg->Timer1->Interval(), 300u);

    ASSERT_TRUE(PumpUntil([] { return !ErrorTimerRunning; }));
    EXPECT_TRUE(FoMsg->isVisible());
    EXPECT_EQ(FoMsg->MsgLabel->text(), QStringLiteral("a"));
    EXPECT_TRUE(ShowsInfo());
    EXPECT_EQ(PendingInfo, QStringLiteral("a"));

    EXPECT_EQ(LoggedEntries(), (QStringList{";SysInfo   ;a", ";ErrInfo   ;b", ";SysInfo   ;a"}));

    // An error time of zero fires at once; no pending note is left to come back.
    MsgClear();
    Fehlermeldezeit = 0;
    MsgError(QStringLiteral("kurz"), 0, false);
    EXPECT_TRUE(FoMsg->Timer1->AllowZero());
    ASSERT_TRUE(PumpUntil([] { return !FoMsg->isVisible(); }, 5000));
    EXPECT_FALSE(ErrorTimerRunning);
}

// Without a screen nobody reads the window; the text reaches standard error too.
TEST_F(MsgTest, BreaksShowAsLinesReachTheLogAsBlanksAndStandardErrorAsLines)
{
    testing::internal::CaptureStderr();
    MsgError(QStringLiteral("Datei<br>fehlt<BR>jetzt"), 0, true);
    EXPECT_EQ(FoMsg->MsgLabel->text(), QStringLiteral("Datei\nfehlt\njetzt"));
    EXPECT_FALSE(ErrorTimerRunning) << "a staying note starts no timer";
    EXPECT_FALSE(FoMsg->Timer1->Enabled());
    MsgInfo(QStringLiteral("Bitte warten"));
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("Datei\nfehlt\njetzt\n"), std::string::npos) << err;
    EXPECT_NE(err.find("Bitte warten\n"), std::string::npos) << err;
    EXPECT_EQ(LoggedEntries(), (QStringList{";ErrInfo   ;Datei fehlt jetzt", ";SysInfo   ;Bitte warten"}));
}

TEST_F(MsgTest, ClearHidesUnlessAnErrorIsTimingAndAClickHidesButTheTimerStillFires)
{
    // The export's wait note.
    MsgInfo(QStringLiteral("XLS-Datei<br>wird erzeugt.<br>Bitte etwas Geduld."));
    MsgClear();
    EXPECT_FALSE(FoMsg->isVisible());
    EXPECT_TRUE(PendingInfo.isEmpty());

    Fehlermeldezeit = 300;
    MsgInfo(QStringLiteral("a"));
    MsgError(QStringLiteral("b"), 0, false);
    MsgClear();
    EXPECT_TRUE(FoMsg->isVisible()) << "an error note on show is not cut short";
    EXPECT_TRUE(PendingInfo.isEmpty());
    ASSERT_TRUE(PumpUntil([] { return !ErrorTimerRunning; }));
    EXPECT_FALSE(FoMsg->isVisible()) << "no pending note comes back";

    // A click hides the note, but the timer still brings the pending one back.
    Fehlermeldezeit = 400;
    MsgInfo(QStringLiteral("a"));
    MsgError(QStringLiteral("b"), 0, false);
    Click(FoMsg->MsgLabel);
    EXPECT_FALSE(FoMsg->isVisible());
    EXPECT_FALSE(ErrorTimerRunning);
    ASSERT_TRUE(PumpUntil([] { return FoMsg->isVisible(); }));
    EXPECT_TRUE(ShowsInfo());
}

TEST_F(MsgTest, NotesArePlacedByPosition)
{
    MsgError(QStringLiteral("x"), 0, true);
    const QSize screen = QGuiApplication::primaryScreen()->geometry().size();
    EXPECT_EQ(FoMsg->size(), QSize(739, 171));
    EXPECT_EQ(FoMsg->x(), screen.width() / 2 - 739 / 2);
    EXPECT_EQ(FoMsg->y(), screen.height() / 2 - 171 / 2);
    const QPoint centred = FoMsg->pos();

    FehlerAnzeige_X = 15;
    MsgError(QStringLiteral("x"), 0, true);
    EXPECT_EQ(FoMsg->pos(), QPoint(15, centred.y())) << "Y of 0 leaves the top alone";
    FehlerAnzeige_X1 = 111;
    FehlerAnzeige_X2 = 222;
    MsgError(QStringLiteral("x"), 1, true);
    EXPECT_EQ(FoMsg->pos(), QPoint(111, centred.y()));
    MsgError(QStringLiteral("x"), 2, true);
    EXPECT_EQ(FoMsg->pos(), QPoint(222, centred.y()));
    MsgError(QStringLiteral("x"), 7, true);
    EXPECT_EQ(FoMsg->pos(), QPoint(222, centred.y()));
    MsgInfo(QStringLiteral("y"));
    EXPECT_EQ(FoMsg->pos(), QPoint(222, centred.y())) << "a system note is not placed";
}

TEST_F(MsgTest, NothingHappensOnceTheProgramEnds)
{
    ProgrammEndet = true;
    MsgInfo(QStringLiteral("a"));
    MsgError(QStringLiteral("b"), 0, false);
    EXPECT_EQ(FoMsg, nullptr);
    EXPECT_TRUE(PendingInfo.isEmpty());
    ProgrammEndet = false;

    Fehlermeldezeit = 200;
    MsgInfo(QStringLiteral("a"));
    MsgError(QStringLiteral("b"), 0, false);
    ProgrammEndet = true;
    MsgClear();
    EXPECT_EQ(PendingInfo, QStringLiteral("a"));
    // The tick closes the form instead of bringing the pending note back.
    ASSERT_TRUE(PumpUntil([] { return !FoMsg->isVisible(); }));
    EXPECT_TRUE(ShowsError());
}

TEST_F(MsgTest, RenderedNotesShowTheirColoursAndSigns)
{
    MsgError(QStringLiteral("Verbindung zur Datenbank<BR>unterbrochen"), 0, true);
    const QImage error = FoMsg->grab().toImage();
    ASSERT_TRUE(error.save(PngPath(QStringLiteral("msg_error"))));
    MsgInfo(QStringLiteral("XLS-Datei<br>wird erzeugt.<br>Bitte etwas Geduld."));
    const QImage info = FoMsg->grab().toImage();
    ASSERT_TRUE(info.save(PngPath(QStringLiteral("msg_info"))));

    ASSERT_EQ(error.size(), QSize(739, 171));
    // Header: light red at the top to red at the bottom; white to aqua for a system note.
    EXPECT_EQ(error.pixelColor(5, 0), QColor(255, 128, 128));
    EXPECT_EQ(error.pixelColor(5, 25), QColor(255, 0, 0));
    EXPECT_EQ(info.pixelColor(5, 0), QColor(255, 255, 255));
    EXPECT_EQ(info.pixelColor(5, 25), QColor(0, 255, 255));
    // The sign's centre: red disc for errors, blue for notes.
    // Left of the symbol in the middle of the disc: image at (29, 66), disc centre at (24, 32) in it.
    const QPoint sign(29 + 24 - 14, 66 + 32);
    EXPECT_GT(error.pixelColor(sign).red(), 180);
    EXPECT_LT(error.pixelColor(sign).blue(), 80);
    EXPECT_GT(info.pixelColor(sign).blue(), 180);
    EXPECT_LT(info.pixelColor(sign).red(), 80);
    // Text is drawn in red resp. black on white.
    auto count = [](const QImage& img, auto pred) {
        int n = 0;
        for (int y = 30; y < img.height(); ++y)
            for (int x = 110; x < img.width(); ++x)
                n += pred(img.pixelColor(x, y)) ? 1 : 0;
        return n;
    };
    EXPECT_GT(count(error, [](QColor c) { return c.red() > 200 && c.green() < 60 && c.blue() < 60; }), 100);
    EXPECT_GT(count(info, [](QColor c) { return c.red() < 60 && c.green() < 60 && c.blue() < 60; }), 100);
    EXPECT_EQ(count(info, [](QColor c) { return c.red() > 200 && c.green() < 60; }), 0);
}

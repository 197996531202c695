// The engineer's tools of the evaluation window over a real demo database: every
// number they show is checked against what an independent statement reads in a
// transaction of its own, and every picture is written for a person to look at.

#include "views/uFoAuswertungWerkzeuge.h"

#include "dbcontrols/TCheckListBox.h"
#include "frame/MemIniFile.h"
#include "frame/ZELFormat.h"
#include "frame/ZELLIB_STR.h"

#include "tests/QtPrinters.h"
#include "tests/views/DemoSuite.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QSet>
#include <QTableWidget>
#include <optional>
#include <QToolTip>
#include <cmath>

namespace {
const QString Active = QStringLiteral("H3TRB 2026/021");   // device 4 fails at 250.5 h; 8 and 9 empty

class AuswertungswerkzeugeTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { data = std::make_unique<TDemoDatabase>(); }
    static void TearDownTestSuite() { data.reset(); }
    void SetUp() override { state.emplace(ini.path(), data->Folder()); }
    void TearDown() override
    {
        Stop();
        state.reset();
    }
    // Every tool on, as the demo configuration has it; the scale stays linear unless asked.
    void AllOn(bool log = false)
    {
        QFile f(IniFileName);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("[Chartsettings]\r\nFarbe_Chart=clWhite\r\nRand=70,6,70,4\r\n[Auswertung]\r\nMenue=true\r\n"
                "Cursor=true\r\nMarken=true\r\nStatistik=true\r\nAnpassen=true\r\nBauteilfarben=true\r\n"
                "Grenzwert=true\r\n");
        f.write(log ? "LogStromachse=true\r\n" : "LogStromachse=false\r\n");
    }
    void Start()
    {
        w = StartProgram();
        w->show();
        QApplication::processEvents();
        // The first activation maximises to the small virtual screen: the size of a real one.
        w->setWindowState(Qt::WindowNoState);
        w->resize(1600, 1000);
        QApplication::processEvents();
        t = w->Werkzeuge;
        ASSERT_NE(t, nullptr);
    }
    void Stop() { EndProgram(w); }
    void Select(const QString& nr)
    {
        ASSERT_TRUE(w->VersuchWaehlen(nr));
        Paint();
    }
    void Paint()
    {
        for (TChart* c : {w->chart_U_I, w->Chart_T_RF})
            c->repaint();
        QApplication::processEvents();
        QApplication::processEvents();
    }
    // A zoom as the user drags it over the upper chart; the lower one follows.
    void ZoomDrag(int from, int to)
    {
        TChart* c = w->chart_U_I;
        const TRect r = c->ChartRect();
        c->MouseDown(Qt::LeftButton, {}, r.Left + from, r.Top + 20);
        c->MouseMove({}, r.Left + to, r.Top + 80);
        c->MouseUp(Qt::LeftButton, {}, r.Left + to, r.Top + 80);
        Paint();
    }
    void Picture(const QString& name)
    {
        w->grab().save(QStringLiteral(VIEWS_PICTURE_DIR "/") + name);
    }
    // Rows of an independent statement in a transaction of its own.
    static std::vector<std::vector<QVariant>> Sql(const QString& sql)
    {
        TOwnStatement own(data->Login());
        TpFIBQuery& q = own.Run(sql);
        std::vector<std::vector<QVariant>> rows;
        while (!q.Eof()) {
            std::vector<QVariant> row;
            for (int i = 0; i < q.FieldCount(); ++i) {
                TFIBXSQLVAR& v = q.Fields(i);
                // Doubles whole: their text carries only 15 digits.
                const short type = v.SQLType();
                row.push_back(v.IsNull()                             ? QVariant()
                              : type == SQL_DOUBLE || type == SQL_FLOAT ? QVariant(v.AsDouble())
                                                                       : QVariant(v.AsString()));
            }
            rows.push_back(row);
            q.Next();
        }
        return rows;
    }
    // Values come as the program's texts, with its decimal comma.
    static double D(const QVariant& v)
    {
        return v.typeId() == QMetaType::Double ? v.toDouble() : QString(v.toString()).replace(u',', u'.').toDouble();
    }
    QString Zahl(double v, int d) const { return QString::number(v, 'f', d).replace(u'.', u','); }

    static inline std::unique_ptr<TDemoDatabase> data;
    QTemporaryDir ini;
    std::optional<TProgramState> state;
    TFOOrvexAuswertung* w = nullptr;
    TAuswertungWerkzeuge* t = nullptr;
};
}

TEST_F(AuswertungswerkzeugeTest, WithoutTheSectionTheWindowIsAsItWasAndTheKeysAreWrittenBack)
{
    Start();
    Select(Active);
    EXPECT_EQ(w->PopupMenu1->actions().size(), 1);   // only "Charteinstellung ändern"
    EXPECT_FALSE(t->StatistikTabelle()->isVisible());
    EXPECT_EQ(w->Panel3->width(), 80);
    for (int k = 1; k <= 9; ++k) {
        EXPECT_EQ(w->Kanaele->item(k - 1)->text(), QStringLiteral(" %1").arg(k));
        if (k > 1) {
            EXPECT_EQ(w->fSerI[k]->SeriesColor(), clBlue) << k;
        }
    }
    EXPECT_FALSE(w->fAchsen[1]->Logarithmic());
    // Moving the mouse over the chart draws no cursor.
    const TRect r = w->chart_U_I->ChartRect();
    w->chart_U_I->MouseMove({}, (r.Left + r.Right) / 2, (r.Top + r.Bottom) / 2);
    EXPECT_FALSE(t->CursorAktiv());
    Stop();
    const TMemIniFile file(IniFileName);
    for (const char* key : {"Menue", "Cursor", "Marken", "Statistik", "Anpassen", "LogStromachse", "Bauteilfarben",
                            "Grenzwert"})
        EXPECT_EQ(file.ReadString(QStringLiteral("Auswertung"), QLatin1String(key), QStringLiteral("<fehlt>")),
                  BoolToText(false))
            << key;
    EXPECT_EQ(file.ReadString(QStringLiteral("Auswertung"), QStringLiteral("Routineereignisse"), {}),
              QStringLiteral("Speicherzyklus"));

    // A threshold no comparison can use is repaired in the file; a menu switch is kept.
    {
        TMemIniFile edit(IniFileName);
        edit.WriteString(QStringLiteral("Auswertung"), QStringLiteral("Schwelle_uA"), QStringLiteral("nan"));
        edit.WriteString(QStringLiteral("Auswertung"), QStringLiteral("Menue"), BoolToText(true));
        edit.UpdateFile();
    }
    Start();
    EXPECT_EQ(t->Optionen.Schwelle_uA, 0);
    Select(Active);
    EXPECT_EQ(t->Zeilen(), 0);   // with every tool off a load computes nothing for them
    QAction* stat = t->Menue()->findChild<QAction*>(QStringLiteral("Statistik"));
    ASSERT_NE(stat, nullptr);
    EXPECT_TRUE(w->PopupMenu1->actions().contains(t->Menue()->menuAction()));
    stat->setChecked(true);   // switched on over the loaded run
    EXPECT_TRUE(t->StatistikTabelle()->isVisibleTo(w));
    EXPECT_EQ(t->Zeilen(), w->fAnzahlSaetze);
    EXPECT_GT(w->fAnzahlSaetze, 0);
    EXPECT_EQ(t->StatistikTabelle()->rowCount(), 12);
    Stop();
    const TMemIniFile again(IniFileName);
    EXPECT_EQ(again.ReadString(QStringLiteral("Auswertung"), QStringLiteral("Statistik"), {}), BoolToText(true));
    EXPECT_EQ(StrToFloatTolerant(again.ReadString(QStringLiteral("Auswertung"), QStringLiteral("Schwelle_uA"), {})), 0.0);
}

TEST_F(AuswertungswerkzeugeTest, ReadoutAndStatisticsShowTheRowsAndAggregatesAsSqlReadsThem)
{
    AllOn();
    Start();
    Select(Active);
    const TDemoRun& run = RunNamed(Active);
    TChart* c = w->chart_U_I;
    const TRect r = c->ChartRect();
    for (double hours : {0.0, 1.0, 37.3, run.AusfallStunde, run.AusfallStunde + 0.01, 399.0}) {
        SCOPED_TRACE(hours);
        t->CursorSetzen(hours, c);
        ASSERT_TRUE(t->CursorAktiv());
        const auto rows = Sql(QStringLiteral("select first 1 ZEIT_STD, U, T, RF, I_01, I_02, I_03, I_04, I_05, I_06, "
                                             "I_07, I_08, I_09 from MESSDATEN where AUFTRAGKEY = %1 and ZEIT_STD <= %2 "
                                             "order by ZEIT_STD desc")
                                  .arg(AktVersuch->AuftragKey)
                                  .arg(hours, 0, 'g', 17));
        ASSERT_EQ(rows.size(), 1u);
        const auto& row = rows[0];
        const int i = t->CursorZeile();
        EXPECT_DOUBLE_EQ((*w->fWerteStd)[i], D(row[0]));
        const auto lines = t->Anzeige();
        QStringList texts;
        for (const auto& l : lines)
            texts << l.Text;
        const QString all = texts.join(u'|');
        EXPECT_TRUE(texts[0].contains(Zahl(D(row[0]), 2) + QStringLiteral(" h"))) << all.toStdString();
        EXPECT_TRUE(all.contains(QStringLiteral("U: ") + Zahl(D(row[1]), 1) + QStringLiteral(" V"))) << all.toStdString();
        EXPECT_TRUE(all.contains(QStringLiteral("T: ") + Zahl(D(row[2]), 1) + QStringLiteral(" °C")));
        for (int k = 1; k <= 9; ++k) {
            EXPECT_DOUBLE_EQ((*w->fWerteI[k])[i], D(row[3 + k])) << k;
            EXPECT_TRUE(all.contains(QStringLiteral("I%1").arg(k)) && all.contains(Zahl(D(row[3 + k]), 3) + " µA"))
                << k << all.toStdString();
        }
        // Each current in its device's colour.
        EXPECT_EQ(lines[2].Farbe, Bauteilfarbe(1));
    }

    // The mouse: the row under the pixel; arrow keys step row by row; Escape hides.
    const int x = (r.Left + r.Right) / 2;
    c->MouseMove({}, x, (r.Top + r.Bottom) / 2);
    const int row = t->CursorZeile();
    EXPECT_EQ(row, ZeileBei(*w->fWerteStd, t->Zeilen(), c->BottomAxis()->CalcPosPoint(x)));
    QKeyEvent right(QEvent::KeyPress, Qt::Key_Right, Qt::NoModifier);
    QApplication::sendEvent(c, &right);
    EXPECT_EQ(t->CursorZeile(), row + 1);
    QKeyEvent back(QEvent::KeyPress, Qt::Key_Left, Qt::ShiftModifier);
    QApplication::sendEvent(c, &back);
    EXPECT_EQ(t->CursorZeile(), row - 9);

    // A zoom drag goes through untouched: the cursor stays and the range narrows.
    const int before = t->CursorZeile();
    const double wasMax = c->BottomAxis()->IMaximum;
    c->MouseDown(Qt::LeftButton, {}, r.Left + 100, r.Top + 20);
    c->MouseMove({}, r.Left + 300, r.Top + 80);
    EXPECT_EQ(t->CursorZeile(), before);
    c->MouseUp(Qt::LeftButton, {}, r.Left + 300, r.Top + 80);
    Paint();
    EXPECT_LT(c->BottomAxis()->IMaximum, wasMax);
    EXPECT_DOUBLE_EQ(w->Chart_T_RF->BottomAxis()->IMaximum, c->BottomAxis()->IMaximum);
    c->UndoZoom();
    Paint();

    // The picture of the failing device: the cursor on its last current.
    const int fail = ErsteUeberschreitung(*w->fWerteI[run.AusfallKanal], t->Zeilen(), run.I_Max);
    ASSERT_GE(fail, 0);
    t->CursorSetzen((*w->fWerteStd)[fail], c);
    Paint();
    Picture(QStringLiteral("werkzeuge_cursor.png"));
    const QImage img = c->grab().toImage();
    const int px = c->BottomAxis()->CalcPosValue((*w->fWerteStd)[fail]);
    int dark = 0;
    for (int y = r.Top; y <= r.Bottom; ++y)
        dark += QColor(img.pixel(px, y)).lightness() < 110;
    EXPECT_GT(dark, (r.Bottom - r.Top) / 2) << "the cursor line is drawn";
    QKeyEvent esc(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(c, &esc);
    EXPECT_FALSE(t->CursorAktiv());

    // The statistics are the aggregates of the visible range and follow the zoom.
    ZoomDrag(300, 700);
    EXPECT_DOUBLE_EQ(w->Chart_T_RF->BottomAxis()->IMinimum, c->BottomAxis()->IMinimum);
    const double von = c->BottomAxis()->IMinimum, bis = c->BottomAxis()->IMaximum;
    ASSERT_GT(von, 0);
    const auto rows = t->Statistik();
    ASSERT_EQ(rows.size(), 12u);   // U, nine currents, T, rF
    const QString columns[12] = {"U", "I_01", "I_02", "I_03", "I_04", "I_05", "I_06", "I_07", "I_08", "I_09", "T", "RF"};
    for (int n = 0; n < 12; ++n) {
        SCOPED_TRACE(columns[n].toStdString());
        const auto agg = Sql(QStringLiteral("select min(%1), max(%1), avg(%1), count(*) from MESSDATEN "
                                            "where AUFTRAGKEY = %2 and ZEIT_STD >= %3 and ZEIT_STD <= %4")
                                 .arg(columns[n])
                                 .arg(AktVersuch->AuftragKey)
                                 .arg(von, 0, 'g', 17)
                                 .arg(bis, 0, 'g', 17));
        const auto last = Sql(QStringLiteral("select first 1 %1 from MESSDATEN where AUFTRAGKEY = %2 and "
                                             "ZEIT_STD <= %3 order by ZEIT_STD desc")
                                  .arg(columns[n])
                                  .arg(AktVersuch->AuftragKey)
                                  .arg(bis, 0, 'g', 17));
        const TKurvenStatistik& s = rows[n].Werte;
        EXPECT_EQ(s.Anzahl, agg[0][3].toInt());
        EXPECT_DOUBLE_EQ(s.Minimum, D(agg[0][0]));
        EXPECT_DOUBLE_EQ(s.Maximum, D(agg[0][1]));
        EXPECT_NEAR(s.Mittelwert, D(agg[0][2]), 1e-9 * std::max(1.0, std::abs(s.Mittelwert)));
        EXPECT_DOUBLE_EQ(s.Letzter, D(last[0][0]));
    }
    // The table shows them and copies as text.
    QTableWidget* table = t->StatistikTabelle();
    EXPECT_EQ(table->rowCount(), 12);
    EXPECT_EQ(table->item(0, 5)->text().toInt(), rows[0].Werte.Anzahl);
    // The band names the first and last row inside the range, not the axis with its margins.
    const auto span = Sql(QStringLiteral("select min(ZEIT_STD), max(ZEIT_STD) from MESSDATEN where AUFTRAGKEY = %1 "
                                         "and ZEIT_STD >= %2 and ZEIT_STD <= %3")
                              .arg(AktVersuch->AuftragKey)
                              .arg(von, 0, 'g', 17)
                              .arg(bis, 0, 'g', 17));
    const QString text = t->StatistikText();
    EXPECT_TRUE(text.startsWith(QStringLiteral("Statistik von %1 h bis %2 h\n")
                                    .arg(Zahl(D(span[0][0]), 2), Zahl(D(span[0][1]), 2))))
        << text.left(60).toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("Kurve\tMinimum\tMaximum\tMittelwert\tLetzter Wert\tZeilen\n")));
    EXPECT_EQ(text.count(u'\n'), 14);
    Picture(QStringLiteral("werkzeuge_statistik_zoom.png"));

    // A channel switched off leaves the table; undoing the zoom widens the range.
    w->Kanaele->SetChecked(2, false);
    w->KanaeleClickCheck();
    Paint();
    EXPECT_EQ(t->StatistikTabelle()->rowCount(), 11);
    c->UndoZoom();
    Paint();
    EXPECT_GT(t->Statistik()[0].Werte.Anzahl, rows[0].Werte.Anzahl);
    ASSERT_LT(c->BottomAxis()->IMinimum, 0) << "the unzoomed axis reaches below the first row";
    const auto all = Sql(QStringLiteral("select min(ZEIT_STD), max(ZEIT_STD) from MESSDATEN where AUFTRAGKEY = %1")
                             .arg(AktVersuch->AuftragKey));
    EXPECT_TRUE(t->StatistikText().startsWith(
        QStringLiteral("Statistik von %1 h bis %2 h\n").arg(Zahl(D(all[0][0]), 2), Zahl(D(all[0][1]), 2))))
        << t->StatistikText().left(60).toStdString();
}

TEST_F(AuswertungswerkzeugeTest, MarksDeviceColoursLimitFitAndLogScale)
{
    AllOn();
    Start();
    Select(Active);
    const TDemoRun& run = RunNamed(Active);
    const auto expected = Sql(QStringLiteral("select ZEIT_STD, EREIGNIS, FEHLER from MESSDATEN where AUFTRAGKEY = %1 "
                                             "and (FEHLER > '' or (EREIGNIS > '' and EREIGNIS <> 'Speicherzyklus')) "
                                             "order by ZEITPUNKT")
                                  .arg(AktVersuch->AuftragKey));
    const auto& marks = t->Marken();
    ASSERT_EQ(marks.size(), expected.size());
    ASSERT_GE(marks.size(), 3u);   // start, end of the ramp, the failure
    int failures = 0;
    for (std::size_t i = 0; i < marks.size(); ++i) {
        EXPECT_DOUBLE_EQ(marks[i].Stunde, D(expected[i][0]));
        EXPECT_EQ(marks[i].Ereignis, expected[i][1].toString());
        EXPECT_EQ(marks[i].IstFehler(), !expected[i][2].toString().isEmpty());
        if (marks[i].IstFehler()) {
            ++failures;
            EXPECT_EQ(marks[i].Abgeschaltet, run.AusfallKanal);
            EXPECT_TRUE(marks[i].Text().startsWith(QStringLiteral("Stromabschaltung")));
        }
    }
    EXPECT_EQ(failures, 1);

    // The failure is a red column in both charts.
    for (TChart* c : {w->chart_U_I, w->Chart_T_RF}) {
        const QImage img = c->grab().toImage();
        const TRect r = c->ChartRect();
        const int x = c->BottomAxis()->CalcPosValue(run.AusfallStunde);
        int red = 0;
        for (int y = r.Top + 20; y < r.Bottom; ++y) {
            const QColor p = img.pixel(x, y);
            red += p.red() > 160 && p.green() < 90 && p.blue() < 90;
        }
        EXPECT_GT(red, (r.Bottom - r.Top) / 3) << c->objectName().toStdString();
    }
    // Hovering the failure tells its time, its text and the device.
    TChart* unten = w->Chart_T_RF;
    const TRect ur = unten->ChartRect();
    unten->MouseMove({}, unten->BottomAxis()->CalcPosValue(run.AusfallStunde) + 2, (ur.Top + ur.Bottom) / 2);
    EXPECT_TRUE(QToolTip::isVisible());
    EXPECT_TRUE(QToolTip::text().contains(QStringLiteral("Stromabschaltung HSMM"))) << QToolTip::text().toStdString();
    EXPECT_TRUE(QToolTip::text().contains(QStringLiteral("Abgeschaltet: Prüfling %1 %2").arg(run.AusfallKanal).arg(run.BT[run.AusfallKanal - 1])))
        << QToolTip::text().toStdString();
    EXPECT_TRUE(QToolTip::text().contains(Zahl(run.AusfallStunde, 2) + QStringLiteral(" h")));

    // Nine colours, all apart, and the names of the run.
    QSet<TColor> colours;
    for (int k = 1; k <= 9; ++k)
        colours.insert(w->fSerI[k]->SeriesColor());
    EXPECT_EQ(colours.size(), 9);
    EXPECT_FALSE(colours.contains(w->Ser_U->SeriesColor()));
    EXPECT_TRUE(w->Kanaele->item(0)->text().contains(run.BT[0]));
    EXPECT_TRUE(w->Kanaele->item(7)->text().contains(QStringLiteral("keine Daten")));
    EXPECT_TRUE(w->Kanaele->item(8)->text().contains(QStringLiteral("keine Daten")));
    EXPECT_FALSE(w->Kanaele->item(0)->text().contains(QStringLiteral("keine Daten")));

    // First crossings of I_MAX as a statement finds them.
    for (int k = 1; k <= 9; ++k) {
        SCOPED_TRACE(k);
        const auto first = Sql(QStringLiteral("select min(ZEIT_STD) from MESSDATEN where AUFTRAGKEY = %1 and I_%2 > %3")
                                   .arg(AktVersuch->AuftragKey)
                                   .arg(k, 2, 10, QChar(u'0'))
                                   .arg(run.I_Max, 0, 'g', 17));
        const int row = t->Ueberschreitung(k);
        if (first[0][0].isNull()) {
            EXPECT_EQ(row, -1);
        } else {
            ASSERT_GE(row, 0);
            EXPECT_DOUBLE_EQ((*w->fWerteStd)[row], D(first[0][0]));
            EXPECT_TRUE(w->Kanaele->item(k - 1)->text().contains(Zahl(D(first[0][0]), 1) + QStringLiteral(" h")));
        }
    }
    EXPECT_GE(t->Ueberschreitung(run.AusfallKanal), 0);

    // The limit line: dashed orange at I_MAX on the current scale (here inside the plot).
    {
        TChart* c = w->chart_U_I;
        w->fAchsen[1]->SetMinMax(0, 60);
        Paint();
        const QImage img = c->grab().toImage();
        const int y = w->fAchsen[1]->CalcPosValue(run.I_Max);
        const TRect r = c->ChartRect();
        int orange = 0;
        for (int x = r.Left; x < r.Right; ++x) {
            const QColor p = img.pixel(x, y);
            orange += p.red() > 180 && p.green() > 60 && p.green() < 140 && p.blue() < 60;
        }
        EXPECT_GT(orange, (r.Right - r.Left) / 4);
    }
    Picture(QStringLiteral("werkzeuge_farben_grenzwert.png"));

    // Fit: every scale takes its curves' extent within the shown time, with a margin.
    TChart* c = w->chart_U_I;
    ZoomDrag(50, 400);
    t->YAchsenAnpassen();
    Paint();
    const double von = c->BottomAxis()->IMinimum, bis = c->BottomAxis()->IMaximum;
    const auto agg = Sql(QStringLiteral("select min(T), max(T), min(U), max(U) from MESSDATEN where AUFTRAGKEY = %1 "
                                        "and ZEIT_STD >= %2 and ZEIT_STD <= %3")
                             .arg(AktVersuch->AuftragKey)
                             .arg(von, 0, 'g', 17)
                             .arg(bis, 0, 'g', 17));
    const double tLo = D(agg[0][0]), tHi = D(agg[0][1]);
    EXPECT_NEAR(w->fAchsen[3]->Minimum(), tLo - 0.05 * (tHi - tLo), 1e-9);
    EXPECT_NEAR(w->fAchsen[3]->Maximum(), tHi + 0.05 * (tHi - tLo), 1e-9);
    EXPECT_LE(w->fAchsen[2]->Minimum(), D(agg[0][2]));
    EXPECT_GE(w->fAchsen[2]->Maximum(), D(agg[0][3]));
    EXPECT_GT(w->fAchsen[3]->Increment(), 0);

    // The logarithmic current scale with the empty channels' zeros drawn: no error,
    // a positive range in decades, and back to the linear range after.
    const double linMax = w->fAchsen[1]->Maximum();
    t->OptionUmschalten(QStringLiteral("LogStromachse"), true);
    Paint();
    TChartAxis* a = w->fAchsen[1];
    EXPECT_TRUE(a->Logarithmic());
    EXPECT_GT(a->Minimum(), 0);
    const double decades = std::log10(a->Maximum() / a->Minimum());
    EXPECT_NEAR(decades, std::round(decades), 1e-9);
    EXPECT_LE(decades, 6.0 + 1e-9);
    t->YAchsenAnpassen();
    Paint();
    EXPECT_TRUE(a->Logarithmic());
    EXPECT_GT(a->Minimum(), 0);
    Picture(QStringLiteral("werkzeuge_log.png"));
    t->OptionUmschalten(QStringLiteral("LogStromachse"), false);
    EXPECT_FALSE(a->Logarithmic());
    EXPECT_DOUBLE_EQ(a->Maximum(), linMax);
}


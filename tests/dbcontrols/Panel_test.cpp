// A header panel and a settings panel of these controls, rendered for a person to
// look at (dbcontrols_panel.png in the build folder), with a few pixel checks.
#include "RunFixture.h"
#include "dbcontrols/TCheckListBox.h"
#include "dbcontrols/TJvOfficeColorButton.h"
#include "dbcontrols/TdxCheckEdit.h"
#include "dbcontrols/TdxDBCurrencyEdit.h"
#include "dbcontrols/TdxDBEdit.h"
#include "dbcontrols/TdxDBMemo.h"
#include "dbcontrols/TdxLookupEdit.h"
#include "dbcontrols/TdxSpinEdit.h"
#include "frame/ZELColor.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace {

class Panel : public RunFixture {};

TEST_F(Panel, RendersLikeAForm)
{
    QWidget form;
    form.setWindowTitle(QStringLiteral("Orvex Auswertung"));
    auto* row = new QHBoxLayout(&form);

    auto* header = new QWidget(&form);
    header->setFixedWidth(221);
    auto* h = new QVBoxLayout(header);
    h->setSpacing(2);
    auto label = [&](const QString& text) { h->addWidget(new QLabel(text, header)); };
    label(QStringLiteral("Versuch"));
    auto* lookup = new TdxLookupEdit(header);
    lookup->SetListSource(&ListSource);
    lookup->SetKeyFieldName(QStringLiteral("VERSUCHSNR"));
    lookup->SetListFieldName(QStringLiteral("VERSUCHSNR"));
    h->addWidget(lookup);
    label(QStringLiteral("Bauteil"));
    auto* teil = new TdxDBEdit(header);
    teil->SetDataSource(&HeaderSource);
    teil->SetDataField(QStringLiteral("TEILENR"));
    teil->SetReadOnly(true);
    teil->SetEnabled(false);
    h->addWidget(teil);
    auto currency = [&](const char* caption, const char* field, const char* format, int places, bool enabled) {
        label(QString::fromUtf8(caption));
        auto* e = new TdxDBCurrencyEdit(header);
        e->SetDataSource(&HeaderSource);
        e->SetDataField(QString::fromUtf8(field));
        e->SetDisplayFormat(QString::fromUtf8(format));
        e->SetDecimalPlaces(places);
        e->SetEnabled(enabled);
        h->addWidget(e);
        return e;
    };
    currency("Laufzeit", "DAUER_GESAMT_STD", ",0 h", 0, false);
    currency("Restlaufzeit", "RESTLAUFZEIT", ",0.00 h", 2, false);
    TdxDBCurrencyEdit* imax = currency("Imax", "I_MAX", ",0.000 µA", 3, true);
    label(QStringLiteral("Kommentar"));
    auto* memo = new TdxDBMemo(header);
    memo->SetDataSource(&HeaderSource);
    memo->SetDataField(QStringLiteral("KOMMENTAR"));
    h->addWidget(memo, 1);

    auto* lists = new QWidget(&form);
    lists->setFixedWidth(80);
    auto* l = new QVBoxLayout(lists);
    l->addWidget(new QLabel(QStringLiteral("Auswahl Kurve"), lists));
    auto* kurven = new TCheckListBox(lists);
    kurven->SetItems({"U", "I1-9", "T", "rF"});
    for (int i = 0; i < 4; ++i)
        kurven->SetChecked(i, i != 2);
    l->addWidget(kurven);
    l->addWidget(new QLabel(QString::fromUtf8("Auswahl Prüfling"), lists));
    auto* kanaele = new TCheckListBox(lists);
    for (int i = 1; i <= 9; ++i)
        kanaele->SetChecked(kanaele->AddItem(QStringLiteral(" %1").arg(i)), i % 3 != 0);
    l->addWidget(kanaele);
    l->addWidget(new TdxCheckEdit(QStringLiteral("toggle"), lists));

    auto* settings = new QWidget(&form);
    auto* g = new QGridLayout(settings);
    const QList<QPair<QString, TColor>> colours = {
        {"I", clBlue}, {"U", clRed}, {"rF", clGreen}, {"Temp", clFuchsia}, {"Chart", clWhite}};
    TJvOfficeColorButton* first = nullptr;
    for (int i = 0; i < colours.size(); ++i) {
        g->addWidget(new QLabel(colours[i].first, settings), i, 0);
        auto* b = new TJvOfficeColorButton(settings);
        b->SetSelectedColor(colours[i].second);
        g->addWidget(b, i, 1);
        first = first ? first : b;
    }
    g->addWidget(new QLabel(QString::fromUtf8("Chart-Ränder"), settings), 5, 0, 1, 2);
    for (int i = 0; i < 4; ++i) {
        auto* s = new TdxSpinEdit(settings);
        s->SetMinValue(0);
        s->SetMaxValue(i < 2 ? 20 : 100);
        s->SetValue(i * 5);
        g->addWidget(s, 6 + i / 2, i % 2);
    }
    g->addWidget(new TdxCheckEdit(QStringLiteral("X-Achse absolutes Datum"), settings), 8, 0, 1, 2);
    g->setRowStretch(9, 1);

    row->addWidget(header);
    row->addWidget(lists);
    row->addWidget(settings, 1);
    form.resize(560, 520);
    emit lookup->activated(0);
    form.show();

    const QImage image = form.grab().toImage();
    ASSERT_FALSE(image.isNull());
    EXPECT_TRUE(image.save(QStringLiteral(DBCONTROLS_PICTURE_DIR "/dbcontrols_panel.png")));
    EXPECT_EQ(imax->Text(), QString::fromUtf8("0,500 µA"));
    // The first colour button's swatch is blue on screen, not only in its property.
    const QPoint swatch = first->mapTo(&form, QPoint(14, first->height() / 2));
    EXPECT_EQ(image.pixelColor(swatch * image.devicePixelRatio()), ColorToQColor(clBlue));
}

}  // namespace

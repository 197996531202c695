#include "views/uVersuchsbericht.h"

#include "dbcontrols/TdxDBCurrencyEdit.h"
#include "dbcontrols/TdxDBEdit.h"
#include "dbcontrols/TdxDBMemo.h"
#include "dbcontrols/TdxLookupEdit.h"
#include "views/uFoAuswertungUebersicht.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDateTime>
#include <QFrame>
#include <QPageLayout>
#include <QPainter>
#include <QPdfWriter>
#include <QSaveFile>
#include <cerrno>
#include <cstring>

namespace {
// The system's reason where the device only says "Unknown error".
QString Grund(const QSaveFile& file)
{
    const QString text = file.errorString();
    if (errno != 0 && (text.isEmpty() || text == QLatin1String("Unknown error")))
        return QString::fromLocal8Bit(std::strerror(errno));
    return text;
}

// Writes the bytes under the name only once they are all there.
void DateiSchreiben(const QString& datei, const QByteArray& bytes, const QString& was)
{
    QSaveFile file(datei);
    file.setDirectWriteFallback(false);
    errno = 0;
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        throw EVersuchsbericht(QStringLiteral("%1 \"%2\" kann nicht geschrieben werden: %3").arg(was, datei, Grund(file)));
}
}

QList<QPair<QString, QString>> Kopfdaten(const TFOOrvexAuswertung& w)
{
    return {
        {QStringLiteral("Versuch"), w.LookupAuftrag->Text()},
        {QStringLiteral("Bauteil"), w.dxDBEdit1->Text()},
        {QStringLiteral("Bezeichnung"), w.Charge->Text()},
        {QStringLiteral("Bediener"), w.Bediener->Text()},
        {QStringLiteral("Prüfstrang"), w.Strang->Text()},
        {QStringLiteral("Testbeginn"), w.Datum->Text()},
        {QStringLiteral("Laufzeit"), w.Laufzeit->Text()},
        {QStringLiteral("Restlaufzeit"), w.Restlaufzeit->Text()},
        {QStringLiteral("Status"), w.dxDBEdit2->Text()},
        {QStringLiteral("U soll"), w.ED_U_SOLL->Text()},
        {QStringLiteral("I max"), w.Ed_I_BT_MAX->Text()},
        {QStringLiteral("Kommentar"), w.Kommentar->Text()},
    };
}

QImage ChartsBild(const TFOOrvexAuswertung& w)
{
    return w.ChartPanel->grab().toImage();
}

void ChartsBildSchreiben(const TFOOrvexAuswertung& w, const QString& datei)
{
    const QImage bild = ChartsBild(w);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (bild.isNull() || !bild.save(&buffer, "PNG"))
        throw EVersuchsbericht(QStringLiteral("Das Bild \"%1\" kann nicht erzeugt werden.").arg(datei));
    DateiSchreiben(datei, bytes, QStringLiteral("Das Bild"));
}

void BerichtPdfSchreiben(TFOOrvexAuswertung& w, const QString& datei)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    {
        QPdfWriter pdf(&buffer);
        pdf.setCreator(QStringLiteral("Orvex Auswertung"));
        const QString versuch = w.LookupAuftrag->Text();
        pdf.setTitle(QStringLiteral("Versuch ") + versuch);
        pdf.setResolution(300);
        pdf.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Landscape, QMarginsF(12, 12, 12, 12),
                                      QPageLayout::Millimeter));
        QPainter p;
        if (!p.begin(&pdf))
            throw EVersuchsbericht(QStringLiteral("Der Bericht \"%1\" kann nicht erzeugt werden.").arg(datei));
        const QRect seite(0, 0, pdf.width(), pdf.height());
        const double mm = pdf.resolution() / 25.4;

        // Title line: the run and when the report was made.
        QFont titel(QStringLiteral("DejaVu Sans"));
        titel.setPointSizeF(16);
        titel.setBold(true);
        p.setFont(titel);
        const int titelHoehe = p.fontMetrics().height();
        p.drawText(QRect(0, 0, seite.width(), titelHoehe), Qt::AlignLeft | Qt::AlignVCenter,
                   QStringLiteral("Versuch ") + versuch);
        QFont klein(QStringLiteral("DejaVu Sans"));
        klein.setPointSizeF(8);
        p.setFont(klein);
        p.drawText(QRect(0, 0, seite.width(), titelHoehe), Qt::AlignRight | Qt::AlignVCenter,
                   QStringLiteral("Erstellt am ") +
                       QDateTime::currentDateTime().toString(QStringLiteral("dd.MM.yyyy HH:mm")));
        const int oben = titelHoehe + int(3 * mm);
        p.drawLine(0, oben - int(1.5 * mm), seite.width(), oben - int(1.5 * mm));

        // Left: the header data, caption above its value as in the window.
        const int spalte = int(55 * mm);
        QFont beschriftung(QStringLiteral("DejaVu Sans"));
        beschriftung.setPointSizeF(7.5);
        QFont wert(QStringLiteral("DejaVu Sans"));
        wert.setPointSizeF(9.5);
        int y = oben;
        for (const auto& [caption, text] : Kopfdaten(w)) {
            p.setFont(beschriftung);
            p.setPen(QColor(90, 90, 90));
            const int hb = p.fontMetrics().height();
            p.drawText(QRect(0, y, spalte, hb), Qt::AlignLeft, caption);
            y += hb;
            p.setFont(wert);
            p.setPen(Qt::black);
            const QRect rest(0, y, spalte - int(3 * mm), seite.height() - y);
            const QRect belegt = p.boundingRect(rest, Qt::AlignLeft | Qt::TextWordWrap, text);
            p.drawText(rest, Qt::AlignLeft | Qt::TextWordWrap, text);
            y += std::max(belegt.height(), p.fontMetrics().height()) + int(1.5 * mm);
            if (y >= seite.height())
                break;
        }

        // Right: both charts as the window shows them. The window takes the page's
        // proportions for the moment of drawing, so the charts fill their space
        // with the fonts and lines they have on the screen; then it is as before.
        const QRect ziel(spalte, oben, seite.width() - spalte, seite.height() - oben);
        const QSize vorher = w.size();
        const QSize panel = w.ChartPanel->size();
        if (!panel.isEmpty()) {
            const int hoehe = panel.width() * ziel.height() / ziel.width();
            w.resize(vorher.width(), std::max(vorher.height() + hoehe - panel.height(), 300));
            QCoreApplication::processEvents();
        }
        const QSize quelle = w.ChartPanel->size();
        if (!quelle.isEmpty()) {
            const double faktor =
                std::min(double(ziel.width()) / quelle.width(), double(ziel.height()) / quelle.height());
            p.save();
            p.translate(ziel.topLeft());
            p.scale(faktor, faktor);
            w.ChartPanel->render(&p, QPoint(), QRegion(), QWidget::DrawChildren);
            p.restore();
        }
        if (w.size() != vorher) {
            w.resize(vorher);
            QCoreApplication::processEvents();
        }
        if (!p.end())
            throw EVersuchsbericht(QStringLiteral("Der Bericht \"%1\" kann nicht erzeugt werden.").arg(datei));
    }
    DateiSchreiben(datei, bytes, QStringLiteral("Der Bericht"));
}

#include "views/uBildschirmfrei.h"

#include "frame/MessageDlg.h"
#include "frame/ZELBase.h"
#include "views/OrvexApplication.h"
#include "views/uFoAuswertungUebersicht.h"
#include "views/uFoRohdatenansicht.h"
#include "views/uVersuchsbericht.h"

#include <QCoreApplication>
#include <QFile>
#include <QPixmap>
#include <cstring>

namespace {
constexpr int kExitFehler = 1;

struct TOption {
    const char* Name;
    TKommandozeile::TExport Art;
};
constexpr TOption kExportOptionen[] = {
    {"--export-csv", TKommandozeile::TExport::Csv},
    {"--export-xls", TKommandozeile::TExport::Xls},
    {"--export-xlsx", TKommandozeile::TExport::Xlsx},
    {"--export-png", TKommandozeile::TExport::Png},
    {"--export-pdf", TKommandozeile::TExport::Pdf},
};

// The selection runs as the drop-down's would; its failure is reported as the
// message loop would report it, and told by the answer.
bool VersuchZeigen(const QString& versuch)
{
    try {
        if (FOOrvexAuswertung->VersuchWaehlen(versuch))
            return true;
        ShowMessage(QStringLiteral("Versuch \"%1\" ist nicht vorhanden.").arg(versuch));
    } catch (const std::exception& e) {
        ShowException(e, QStringLiteral("Versuch \"%1\" konnte nicht angezeigt werden:").arg(versuch));
    } catch (...) {
        ShowException(Exception(QStringLiteral("Unbekannter Fehler")),
                      QStringLiteral("Versuch \"%1\" konnte nicht angezeigt werden:").arg(versuch));
    }
    return false;
}

// Pictures and reports show the window at one size, whatever screen there is.
void FensterEinrichten()
{
    FOOrvexAuswertung->setWindowState(Qt::WindowNoState);
    FOOrvexAuswertung->resize(1600, 1000);
    QCoreApplication::processEvents();
}

bool BildSchreiben(const QString& bild)
{
    FensterEinrichten();
    if (FOOrvexAuswertung->grab().save(bild, "PNG"))
        return true;
    ShowMessage(QStringLiteral("Das Bild \"%1\" konnte nicht geschrieben werden.").arg(bild));
    return false;
}

void Schreiben(const TKommandozeile::TAuftrag& a)
{
    using TArt = TFoRohdatenansicht::TExportArt;
    switch (a.Art) {
    case TKommandozeile::TExport::Csv: FoRohdatenansicht->ExportSchreiben(TArt::Csv, a.Datei); break;
    case TKommandozeile::TExport::Xls: FoRohdatenansicht->ExportSchreiben(TArt::Xls, a.Datei); break;
    case TKommandozeile::TExport::Xlsx: FoRohdatenansicht->ExportSchreiben(TArt::Xlsx, a.Datei); break;
    case TKommandozeile::TExport::Png: ChartsBildSchreiben(*FOOrvexAuswertung, a.Datei); break;
    case TKommandozeile::TExport::Pdf: BerichtPdfSchreiben(*FOOrvexAuswertung, a.Datei); break;
    }
}

// Every export is tried; each failure is reported on its own.
bool ExporteSchreiben(const TKommandozeile& k)
{
    FensterEinrichten();
    bool alle = true;
    for (const TKommandozeile::TAuftrag& a : k.Exporte) {
        const int vorher = ReportedExceptions();
        try {
            Schreiben(a);
        } catch (const std::exception& e) {
            ShowException(e);
        }
        // A failure reported while the file was drawn (a paint that went wrong) counts
        // as well: what was written is then no picture of the run.
        if (ReportedExceptions() != vorher)
            alle = false;
    }
    return alle;
}
}

TKommandozeile KommandozeileLesen(const QStringList& args)
{
    TKommandozeile k;
    for (int i = 1; i < args.size(); ++i) {
        const QString& a = args[i];
        const bool letztes = i + 1 >= args.size();
        if (a == QLatin1String("--versuch")) {
            if (!letztes)
                k.Versuch = args[++i];
        } else if (a == QLatin1String("--screenshot")) {
            if (!letztes)
                k.Bild = args[++i];
        } else if (a.startsWith(QLatin1String("--export-"))) {
            const TOption* gefunden = nullptr;
            for (const TOption& o : kExportOptionen)
                if (a == QLatin1String(o.Name))
                    gefunden = &o;
            if (!gefunden)
                k.Fehler << QStringLiteral("Die Option \"%1\" ist unbekannt.").arg(a);
            else if (letztes || args[i + 1].isEmpty())
                k.Fehler << QStringLiteral("Der Option \"%1\" fehlt der Dateiname.").arg(a);
            else
                k.Exporte.push_back({gefunden->Art, args[++i]});
        }
    }
    return k;
}

bool ExportGefragt(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (std::strncmp(argv[i], "--export-", 9) == 0)
            return true;
    return false;
}

int KommandozeileAusfuehren(const TKommandozeile& k)
{
    // A line that cannot be taken as it stands writes nothing: a part of what was
    // asked for would pass for all of it.
    for (const QString& f : k.Fehler)
        ShowMessage(f);
    if (!k.Exporte.empty() && k.Versuch.isEmpty())
        ShowMessage(QStringLiteral("Für einen Export bitte mit \"--versuch NR\" den Versuch nennen."));
    const bool gezeigt = k.Versuch.isEmpty() || VersuchZeigen(k.Versuch);
    if (k.Bild.isEmpty() && k.Exporte.empty() && k.Fehler.isEmpty())
        return 0;
    // A picture of another run, or of a window that reported a failure on its way,
    // is not what was asked for: it is not written.
    const bool bereit = k.Fehler.isEmpty() && gezeigt && ReportedExceptions() == 0;
    bool erledigt = bereit;
    if (!k.Bild.isEmpty()) {
        erledigt = bereit && BildSchreiben(k.Bild);
        if (erledigt && ReportedExceptions() != 0) {
            // Drawing the picture went wrong: what was written is no picture of the run.
            QFile::remove(k.Bild);
            erledigt = false;
        }
    }
    if (!k.Exporte.empty())
        erledigt = erledigt && !k.Versuch.isEmpty() && ExporteSchreiben(k);
    const int code = erledigt ? 0 : kExitFehler;
    try {
        FOOrvexAuswertung->ProgrammBeenden();
    } catch (const std::exception& e) {
        ShowException(e);
        QCoreApplication::exit(kExitFehler);
        return kExitFehler;
    }
    return code;
}

#include "views/uBildschirmfrei.h"

#include "frame/MessageDlg.h"
#include "frame/ZELBase.h"
#include "views/OrvexApplication.h"
#include "views/uFoAuswertungUebersicht.h"

#include <QCoreApplication>
#include <QFile>
#include <QPixmap>

namespace {
constexpr int kExitFehler = 1;

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

bool BildSchreiben(const QString& bild)
{
    FOOrvexAuswertung->setWindowState(Qt::WindowNoState);
    FOOrvexAuswertung->resize(1600, 1000);
    QCoreApplication::processEvents();
    if (FOOrvexAuswertung->grab().save(bild, "PNG"))
        return true;
    ShowMessage(QStringLiteral("Das Bild \"%1\" konnte nicht geschrieben werden.").arg(bild));
    return false;
}
}

TKommandozeile KommandozeileLesen(const QStringList& args)
{
    TKommandozeile k;
    for (int i = 1; i + 1 < args.size(); ++i) {
        if (args[i] == QLatin1String("--versuch"))
            k.Versuch = args[++i];
        else if (args[i] == QLatin1String("--screenshot"))
            k.Bild = args[++i];
    }
    return k;
}

int KommandozeileAusfuehren(const TKommandozeile& k)
{
    const bool gezeigt = k.Versuch.isEmpty() || VersuchZeigen(k.Versuch);
    if (k.Bild.isEmpty())
        return 0;
    // A picture of another run, or of a window that reported a failure on its way,
    // is not what was asked for: it is not written.
    bool erledigt = gezeigt && ReportedExceptions() == 0 && BildSchreiben(k.Bild);
    if (erledigt && ReportedExceptions() != 0) {
        // Drawing the picture went wrong: what was written is no picture of the run.
        QFile::remove(k.Bild);
        erledigt = false;
    }
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

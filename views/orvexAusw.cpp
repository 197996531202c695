// The program: units start in order, the windows and the data module come into
// being in a fixed order, the message loop runs, and everything ends in reverse.

#include "frame/MessageDlg.h"
#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "frame/zellib_Logging.h"
#include "frame/zellib_msg.h"
#include "testdata/uDMorvex.h"
#include "views/OrvexApplication.h"
#include "views/uBildschirmfrei.h"
#include "views/uFoAuswertungUebersicht.h"
#include "views/uFoRohdatenansicht.h"
#include "views/uFoSetupAx.h"
#include "views/uFoSetupcharts.h"

#include <QTimer>

namespace {
// Until the main window shows there is nothing to close: the request waits for it,
// and a report of the start that is open meanwhile is answered as by Escape, so
// that the start goes on to the window.
void EndeAngefordert()
{
    if (FOOrvexAuswertung && FOOrvexAuswertung->isVisible()) {
        FOOrvexAuswertung->close();
        return;
    }
    if (QWidget* modal = QApplication::activeModalWidget())
        modal->close();
    QTimer::singleShot(50, QCoreApplication::instance(), EndeAngefordert);
}
}

int main(int argc, char** argv)
{
    // The application object removes its own options ("-platform xcb") from the
    // arguments; a second instance is allowed by what the program was started with.
    const int startArgc = argc;
    // An export is made without a screen: no window shows, and no message box waits
    // for a click; every message goes to standard error.
    if (ExportGefragt(argc, argv))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    TOrvexApplication app(argc, argv);
    // A termination request of the system takes the title-bar road: settings are kept.
    // Installed first, so that no request is lost; it is handled once a loop runs.
    InstallCloseRequestHandler(EndeAngefordert);

    // A failure while the program comes into being (a kept setting the windows
    // cannot take, say) is reported in German and ends the start, never in an
    // abort without a word.
    const int startCode = StartAbsichern([&] {
        // Unit start, in link order.
        ZELLIB_INI_Initialize();
        ZELInit_Initialize(startArgc, argv);
        zellib_msg_Initialize();
        uDMorvex_Initialize();
        InstallHintHidePause();

        QApplication::setApplicationName(QStringLiteral("Orvex Auswertung"));
        FOOrvexAuswertung = new TFOOrvexAuswertung;
        FoRohdatenansicht = new TFoRohdatenansicht;
        // The axis dialog belongs to the main window: it goes with it, and closing the
        // window also ends a dialog that is open.
        FoSetupAx = new TFoSetupAx(FOOrvexAuswertung);
        FoSetupCharts = new TFoSetupCharts;

        // The data module comes last: a failed connection is reported, and the window
        // stays without runs.
        DMorvex = std::make_unique<TDMorvex>();
        FOOrvexAuswertung->DatenquellenZuordnen();
        FoRohdatenansicht->DatenquellenZuordnen();
        try {
            DMorvex->DataModuleCreate();
        } catch (const std::exception& e) {
            ShowException(e);
        }

        // The program ends with its main window: a wait note left by a failed export, a
        // modal window or a message box still up must not keep it (and its single-instance
        // lock) alive. Every event loop, nested ones included, is told to end.
        FOOrvexAuswertung->OnGeschlossen = [] { QCoreApplication::exit(0); };
        FOOrvexAuswertung->show();
    });
    if (startCode != 0)
        Halt(startCode);

    // For people and scripts without a screen (see uBildschirmfrei.h).
    const TKommandozeile kommandozeile = KommandozeileLesen(QCoreApplication::arguments());
    int kommandozeileCode = 0;
    if (kommandozeile.Gefragt())
        QTimer::singleShot(0, FOOrvexAuswertung, [&kommandozeile, &kommandozeileCode] {
            kommandozeileCode = KommandozeileAusfuehren(kommandozeile);
        });
    const int rc = QApplication::exec();

    delete FoSetupCharts;
    delete FoRohdatenansicht;
    delete FoSetupAx;
    delete FOOrvexAuswertung;
    DMorvex.reset();
    uDMorvex_Finalize();
    zellib_msg_Finalize();
    zellib_Logging_Finalize();
    ZELInit_Finalize();
    ZELLIB_INI_Finalize();
    return rc != 0 ? rc : kommandozeileCode;
}

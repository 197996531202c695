// The program: units start in order, the windows and the data module come into
// being in a fixed order, the message loop runs, and everything ends in reverse.

#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "frame/zellib_Logging.h"
#include "frame/zellib_msg.h"
#include "testdata/uDMorvex.h"
#include "views/OrvexApplication.h"
#include "views/uFoAuswertungUebersicht.h"

#include <QTimer>

int main(int argc, char** argv)
{
    TOrvexApplication app(argc, argv);
    // A termination request of the system takes the title-bar road: settings are kept.
    // Installed first, so that no request is lost; it is handled once the loop runs.
    InstallCloseRequestHandler([] {
        if (FOOrvexAuswertung)
            FOOrvexAuswertung->close();
    });

    // Unit start, in link order.
    ZELLIB_INI_Initialize();
    ZELInit_Initialize(argc, argv);
    zellib_msg_Initialize();
    uDMorvex_Initialize();
    InstallHintHidePause();

    QApplication::setApplicationName(QStringLiteral("Orvex Auswertung"));
    FOOrvexAuswertung = new TFOOrvexAuswertung;

    // The data module comes last: a failed connection is reported, and the window
    // stays without runs.
    DMorvex = std::make_unique<TDMorvex>();
    try {
        DMorvex->DataModuleCreate();
    } catch (const std::exception& e) {
        ShowException(e);
    }

    FOOrvexAuswertung->show();

    // Without a screen, ORVEX_SCREENSHOT names a PNG: the window is drawn into it once
    // the start has settled, and the program then ends the orderly way.
    if (const QString shot = qEnvironmentVariable("ORVEX_SCREENSHOT"); !shot.isEmpty())
        QTimer::singleShot(1500, FOOrvexAuswertung, [shot] {
            FOOrvexAuswertung->grab().save(shot);
            FOOrvexAuswertung->ProgrammBeenden();
        });
    const int rc = QApplication::exec();

    delete FOOrvexAuswertung;
    DMorvex.reset();
    uDMorvex_Finalize();
    zellib_msg_Finalize();
    zellib_Logging_Finalize();
    ZELInit_Finalize();
    ZELLIB_INI_Finalize();
    return rc;
}

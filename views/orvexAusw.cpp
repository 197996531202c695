// The program: units start in order, the windows and the data module come into
// being in a fixed order, the message loop runs, and everything ends in reverse.

#include "frame/ZELInit.h"
#include "frame/ZELLIB_INI.h"
#include "testdata/uDMorvex.h"
#include "views/uFoAuswertungUebersicht.h"

#include <QApplication>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);

    // Unit start, in link order.
    ZELLIB_INI_Initialize();
    ZELInit_Initialize(argc, argv);
    uDMorvex_Initialize();
    InstallHintHidePause();

    QApplication::setApplicationName(QStringLiteral("Orvex Auswertung"));
    FOOrvexAuswertung = new TFOOrvexAuswertung;

    // A termination request of the system takes the title-bar road: settings are kept.
    InstallCloseRequestHandler([] {
        if (FOOrvexAuswertung)
            FOOrvexAuswertung->close();
    });

    FOOrvexAuswertung->show();
    const int rc = QApplication::exec();

    delete FOOrvexAuswertung;
    uDMorvex_Finalize();
    ZELInit_Finalize();
    ZELLIB_INI_Finalize();
    return rc;
}

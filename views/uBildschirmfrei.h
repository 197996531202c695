#pragma once
// The run of the command line for people and scripts without a screen:
// "--versuch NR" selects a run as the drop-down would, "--screenshot FILE" draws the
// window at 1600 x 1000 once the run is loaded, and "--export-csv FILE",
// "--export-xls FILE", "--export-xlsx FILE", "--export-png FILE" (both charts) and "--export-pdf FILE"
// (a one-page report) write the run through the code of the buttons; any number of
// them may be combined. Then the program ends the orderly way. Every failure is said
// in German (on standard error, too), and such a run always ends: with 0 only when
// everything asked for was done.

#include <QString>
#include <QStringList>
#include <vector>

struct TKommandozeile {
    enum class TExport { Csv, Xls, Xlsx, Png, Pdf };
    struct TAuftrag {
        TExport Art;
        QString Datei;
    };

    QString Versuch;   // run number, empty when not asked for
    QString Bild;      // PNG file, empty when not asked for
    std::vector<TAuftrag> Exporte;
    QStringList Fehler;   // options the line could not take
    bool Gefragt() const { return !Versuch.isEmpty() || !Bild.isEmpty() || !Exporte.empty() || !Fehler.isEmpty(); }
};

TKommandozeile KommandozeileLesen(const QStringList& args);

// True when the arguments ask for an export: such a run shows no window at all.
bool ExportGefragt(int argc, char** argv);

// Runs what the command line asks for on the main window, inside the message loop.
// Answers the exit code the program ends with: 0 when the run was shown and every
// picture and file written, 1 otherwise. Without a picture or export the program goes
// on as after a choice in the drop-down (a failure is reported as there), and the
// answer is 0.
int KommandozeileAusfuehren(const TKommandozeile& k);

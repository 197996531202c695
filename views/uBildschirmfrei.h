#pragma once
// The run of the command line for people and scripts without a screen:
// "--versuch NR" selects a run as the drop-down would, "--screenshot FILE" draws the
// window at 1600 x 1000 once the run is loaded and then ends the program the
// orderly way. Every failure is said in German (on standard error, too), and a run
// with a picture always ends: with 0 only when everything asked for was done.

#include <QString>
#include <QStringList>

struct TKommandozeile {
    QString Versuch;   // run number, empty when not asked for
    QString Bild;      // PNG file, empty when not asked for
    bool Gefragt() const { return !Versuch.isEmpty() || !Bild.isEmpty(); }
};

TKommandozeile KommandozeileLesen(const QStringList& args);

// Runs what the command line asks for on the main window, inside the message loop.
// Answers the exit code the program ends with: 0 when the run was shown and the
// picture written, 1 otherwise. Without a picture the program goes on as after a
// choice in the drop-down (a failure is reported as there), and the answer is 0.
int KommandozeileAusfuehren(const TKommandozeile& k);

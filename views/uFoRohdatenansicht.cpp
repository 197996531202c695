#include "views/uFoRohdatenansicht.h"

#include "dbcontrols/TSMDBNavigator.h"
#include "dbcontrols/TdxDBGrid.h"
#include "dbcontrols/TdxLookupEdit.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"
#include "frame/zellib_msg.h"
#include "testdata/uDMorvex.h"
#include "views/Auswertungswerkzeuge.h"
#include "views/TdxDBGridExport.h"
#include "views/TdxDBGridExportXlsx.h"
#include "views/uFoAuswertungUebersicht.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

TFoRohdatenansicht* FoRohdatenansicht = nullptr;

bool TSaveDialog::Execute(QWidget* parent)
{
    if (Runner)
        return Runner(*this);
    QFileDialog dlg(parent, Title, InitialDir, Filter);
    dlg.setAcceptMode(QFileDialog::AcceptSave);
    dlg.setFileMode(QFileDialog::AnyFile);
    dlg.setOption(QFileDialog::DontConfirmOverwrite);
    dlg.setSizeGripEnabled(true);
    dlg.selectFile(FileName);
    QString chosen;
    for (;;) {
        if (dlg.exec() != QDialog::Accepted || dlg.selectedFiles().isEmpty())
            return false;
        chosen = dlg.selectedFiles().constFirst();
        // The folder of the name must exist: a typed folder is not made behind the user's back.
        const QFileInfo info(chosen);
        if (info.absoluteDir().exists())
            break;
        QMessageBox::warning(parent, Title,
                             QStringLiteral("%1\nDer Pfad ist nicht vorhanden.\nBitte den Pfad prüfen.")
                                 .arg(QDir::toNativeSeparators(info.absolutePath())));
        dlg.selectFile(chosen);
    }
    // A name that does not exist yet is created only when the user agrees.
    if (!QFileInfo::exists(chosen) &&
        QMessageBox::question(parent, Title,
                              QStringLiteral("%1\nDiese Datei ist nicht vorhanden.\nSoll sie erstellt werden?")
                                  .arg(chosen)) != QMessageBox::Yes)
        return false;
    FileName = chosen;
    return true;
}

namespace {
QPushButton* MakeButton(const QString& name, const QString& caption, QWidget* parent)
{
    auto* b = new QPushButton(caption, parent);
    b->setObjectName(name);
    b->setMinimumSize(90, 27);
    b->setAutoDefault(false);
    return b;
}
}

TFoRohdatenansicht::TFoRohdatenansicht(QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("FoRohdatenansicht"));
    setWindowTitle(QStringLiteral("Ansicht Rohdaten"));
    resize(1502, 811);

    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);
    Panel1 = new QFrame(this);
    Panel1->setObjectName(QStringLiteral("Panel1"));
    Panel1->setFrameShape(QFrame::StyledPanel);
    Panel1->setFixedHeight(41);
    auto* buttons = new QHBoxLayout(Panel1);
    buttons->setContentsMargins(6, 6, 6, 6);
    buttons->setSpacing(8);
    BitBtn1 = MakeButton(QStringLiteral("BitBtn1"), QStringLiteral("zurück"), Panel1);
    SMDBNavigator1 = new TSMDBNavigator(Panel1);
    SMDBNavigator1->setObjectName(QStringLiteral("SMDBNavigator1"));
    BitBtn4 = MakeButton(QStringLiteral("BitBtn4"), QStringLiteral("aktualisieren"), Panel1);
    BitBtn7 = MakeButton(QStringLiteral("BitBtn7"), QStringLiteral("XLS Export"), Panel1);
    BitBtn2 = MakeButton(QStringLiteral("BitBtn2"), QStringLiteral("CSV Export"), Panel1);
    BtnXlsx = MakeButton(QStringLiteral("BtnXlsx"), QStringLiteral("XLSX Export"), Panel1);
    for (QWidget* w : {static_cast<QWidget*>(BitBtn1), static_cast<QWidget*>(SMDBNavigator1),
                       static_cast<QWidget*>(BitBtn4), static_cast<QWidget*>(BitBtn7), static_cast<QWidget*>(BitBtn2),
                       static_cast<QWidget*>(BtnXlsx)})
        buttons->addWidget(w);
    // Beyond the plain window: without the key the row of buttons stays as it was.
    TAuswertungOptionen optionen;
    optionen.Laden();
    BtnXlsx->setVisible(optionen.XlsxExport);
    buttons->addStretch();
    outer->addWidget(Panel1);

    Rohdatengrid = new TdxDBGrid(this);
    Rohdatengrid->setObjectName(QStringLiteral("Rohdatengrid"));
    Rohdatengrid->SetShowBands(true);
    outer->addWidget(Rohdatengrid, 1);

    // The columns of MESSDATEN in the order the table has them.
    RohdatengridAUFTRAGKEY = Rohdatengrid->CreateColumn<TdxDBGridMaskColumn>(QStringLiteral("AUFTRAGKEY"));
    RohdatengridAUFTRAGKEY->SetWidth(83);
    RohdatengridAUFTRAGKEY->SetVisible(false);
    RohdatengridZEITPUNKT = Rohdatengrid->CreateColumn<TdxDBGridDateColumn>(QStringLiteral("ZEITPUNKT"));
    RohdatengridZEITPUNKT->SetWidth(142);
    RohdatengridSATZNR = Rohdatengrid->CreateColumn<TdxDBGridMaskColumn>(QStringLiteral("SATZNR"));
    RohdatengridZEIT_STD = Rohdatengrid->CreateColumn<TdxDBGridCurrencyColumn>(QStringLiteral("ZEIT_STD"));
    RohdatengridZEIT_STD->SetDisplayFormat(QStringLiteral(",0.00 "));
    RohdatengridEREIGNIS = Rohdatengrid->CreateColumn<TdxDBGridMaskColumn>(QStringLiteral("EREIGNIS"));
    RohdatengridEREIGNIS->SetWidth(136);
    RohdatengridFEHLER = Rohdatengrid->CreateColumn<TdxDBGridMaskColumn>(QStringLiteral("FEHLER"));
    RohdatengridFEHLER->SetCaption(QStringLiteral("Fehler"));
    RohdatengridFEHLER->SetWidth(168);
    RohdatengridSTATUS = Rohdatengrid->CreateColumn<TdxDBGridColumn>(QStringLiteral("STATUS"));
    RohdatengridSTATUS->SetAlignment(Qt::AlignLeft);
    RohdatengridSTATUS->SetMinWidth(16);
    RohdatengridSTATUS->SetWidth(123);
    const auto currency = [this](const char* field, const QString& caption) {
        auto* c = Rohdatengrid->CreateColumn<TdxDBGridCurrencyColumn>(QString::fromLatin1(field));
        c->SetCaption(caption);
        c->SetDisplayFormat(QStringLiteral(",0.000"));
        return c;
    };
    RohdatengridT = currency("T", QStringLiteral("T [°C]"));
    RohdatengridRF = currency("RF", QStringLiteral("RF [%]"));
    RohdatengridU = currency("U", QStringLiteral("U [V]"));
    // The currents stay in µA here; the unit switch concerns the charts only.
    for (int k = 1; k <= 9; ++k) {
        const QString name = QStringLiteral("I_%1").arg(k, 2, 10, QLatin1Char('0'));
        RohdatengridI[k] = currency(name.toLatin1().constData(), name + QStringLiteral(" [µA]"));
    }
    for (TdxDBGridCurrencyColumn* c :
         {RohdatengridZEIT_STD, RohdatengridT, RohdatengridRF, RohdatengridU, RohdatengridI[1], RohdatengridI[2],
          RohdatengridI[3], RohdatengridI[4], RohdatengridI[5], RohdatengridI[6], RohdatengridI[7], RohdatengridI[8],
          RohdatengridI[9]})
        c->SetNullable(false);

    SaveDialog_Rohdaten.Title = QStringLiteral("Rohdaten speichern");

    connect(BitBtn1, &QPushButton::clicked, this, &TFoRohdatenansicht::BitBtn1Click);
    connect(BitBtn4, &QPushButton::clicked, this, &TFoRohdatenansicht::BitBtn4Click);
    connect(BitBtn7, &QPushButton::clicked, this, &TFoRohdatenansicht::BitBtn7Click);
    connect(BitBtn2, &QPushButton::clicked, this, &TFoRohdatenansicht::BitBtn2Click);
    connect(BtnXlsx, &QPushButton::clicked, this, &TFoRohdatenansicht::BtnXlsxClick);

    if (const QScreen* s = screen())
        move(s->availableGeometry().center() - rect().center());
}

TFoRohdatenansicht::~TFoRohdatenansicht()
{
    if (FoRohdatenansicht == this)
        FoRohdatenansicht = nullptr;
}

void TFoRohdatenansicht::DatenquellenZuordnen()
{
    Rohdatengrid->SetDataSource(DMorvex->DSMessdaten.get());
    SMDBNavigator1->SetDataSource(DMorvex->DSMessdaten.get());
}

void TFoRohdatenansicht::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    FormActivate();
}

void TFoRohdatenansicht::FormActivate()
{
    Rohdatengrid->SetBandCaption(QStringLiteral("Versuch ") + FOOrvexAuswertung->LookupAuftrag->Text());
    // The newest measurement in view.
    if (TDataSet* ds = Rohdatengrid->DataSet(); ds && ds->Active())
        ds->Last();
}

void TFoRohdatenansicht::BitBtn1Click()
{
    done(1);
}

void TFoRohdatenansicht::BitBtn4Click()
{
    FOOrvexAuswertung->DatenLaden();
    DMorvex->AuftraegeNeuOeffnen();
}

void TFoRohdatenansicht::BitBtn7Click()
{
    Exportieren(TExportArt::Xls);
}

void TFoRohdatenansicht::BitBtn2Click()
{
    Exportieren(TExportArt::Csv);
}

void TFoRohdatenansicht::BtnXlsxClick()
{
    Exportieren(TExportArt::Xlsx);
}

void TFoRohdatenansicht::ExportPruefen(TExportArt art)
{
    // After a failed load the grid has nothing: a file of captions alone would pass for
    // a run without rows, while the charts still show the rows of the last load.
    if (TDataSet* ds = Rohdatengrid->DataSet(); !ds || !ds->Active())
        throw EdxGridExportError(QStringLiteral("Es sind keine Messdaten geöffnet: der letzte Ladevorgang ist "
                                                "fehlgeschlagen oder die Verbindung zur Datenbank ist verloren. "
                                                "Es wird keine Datei erstellt; bitte den Versuch mit "
                                                "\"aktualisieren\" neu laden."));
    // A run too long for a worksheet is refused before anything is asked or made.
    if (art == TExportArt::Xls)
        TdxDBGridExportExcel::CheckRowLimit(*Rohdatengrid, true);
    else if (art == TExportArt::Xlsx)
        TdxDBGridExportXlsx::CheckRowLimit(*Rohdatengrid, true);
}

void TFoRohdatenansicht::ExportDatei(TExportArt art, const QString& Dateiname)
{
    // The band names the run also when the window has not been opened.
    Rohdatengrid->SetBandCaption(QStringLiteral("Versuch ") + FOOrvexAuswertung->LookupAuftrag->Text());
    switch (art) {
    case TExportArt::Xls: SaveToXLS(*Rohdatengrid, Dateiname, true); break;
    case TExportArt::Xlsx: SaveToXLSX(*Rohdatengrid, Dateiname, true); break;
    case TExportArt::Csv: SaveToText(*Rohdatengrid, Dateiname, true, QStringLiteral(";"), QString(), QString()); break;
    }
}

void TFoRohdatenansicht::ExportSchreiben(TExportArt art, const QString& Dateiname)
{
    ExportPruefen(art);
    ExportDatei(art, Dateiname);
}

void TFoRohdatenansicht::Exportieren(TExportArt art)
{
    ExportPruefen(art);
    const QString S = NormalizeName(AktVersuch->Versuchsnr);
    const QString folder = Datapath + QLatin1Char('/') + S + QLatin1Char('/');
    SaveDialog_Rohdaten.InitialDir = folder;
    // The folder comes into being before the user decides; a failure shows in the dialog.
    QDir().mkpath(folder);
    switch (art) {
    case TExportArt::Xls:
        SaveDialog_Rohdaten.FileName = folder + S + QStringLiteral(".xls");
        SaveDialog_Rohdaten.Filter = QStringLiteral("Excel-Dateien (*.xls)");
        break;
    case TExportArt::Xlsx:
        SaveDialog_Rohdaten.FileName = folder + S + QStringLiteral(".xlsx");
        SaveDialog_Rohdaten.Filter = QStringLiteral("Excel-Arbeitsmappen (*.xlsx)");
        break;
    case TExportArt::Csv:
        SaveDialog_Rohdaten.FileName = folder + S + QStringLiteral(".csv");
        SaveDialog_Rohdaten.Filter = QStringLiteral("Textdateien (*.csv)");
        break;
    }
    if (!SaveDialog_Rohdaten.Execute(this))
        return;
    const QString Dateiname = SaveDialog_Rohdaten.FileName;
    // A failure below goes to the standard report with this note still standing.
    MsgInfo(Dateiname + QStringLiteral("<br>wird erzeugt.<br>Bitte etwas Geduld."));
    ExportDatei(art, Dateiname);
    MsgClear();
}

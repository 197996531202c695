#include "testdata/OrvexSchema.h"

QStringList AuftraegeColumns()
{
    QStringList c{"VERSUCHSNR", "TEILENR", "BEZEICHNUNG", "STRANG", "AUFTRAGKEY", "DATUM", "BEDIENER", "KOMMENTAR",
                  "U_SOLL", "I_MAX", "T_MESSEN_AB", "T_MESSEN_AB_AKTIV", "T_NACHLAUF_BIS", "T_NACHLAUF_BIS_AKTIV",
                  "RF_MESSEN_AB", "RF_MESSEN_AB_AKTIV", "RF_NACHLAUF_BIS", "RF_NACHLAUF_BIS_AKTIV"};
    for (int i = 1; i <= 9; ++i)
        c << QStringLiteral("BT%1").arg(i, 2, 10, QChar(u'0'));
    c << "DAUER_1_STD" << "SPEICHERFREQ_1_MIN" << "DAUER_GESAMT_STD" << "SPEICHERFREQ_GESAMT_MIN" << "RESTLAUFZEIT"
      << "ANZAHLDATENSAETZE" << "STATUS" << "ERSTE_MESSUNG" << "LETZTE_MESSUNG";
    return c;
}

QStringList MessdatenColumns()
{
    QStringList c{"AUFTRAGKEY", "ZEITPUNKT", "SATZNR", "ZEIT_STD", "EREIGNIS", "FEHLER", "STATUS", "T", "RF", "U"};
    for (int i = 1; i <= 9; ++i)
        c << QStringLiteral("I_%1").arg(i, 2, 10, QChar(u'0'));
    return c;
}

QStringList OrvexSchemaStatements()
{
    QString bt, currents, currentParams, currentValues;
    for (int i = 1; i <= 9; ++i) {
        const QString n = QStringLiteral("%1").arg(i, 2, 10, QChar(u'0'));
        bt += QStringLiteral("  BT%1 VARCHAR(20),\n").arg(n);
        currents += QStringLiteral(",\n  I_%1 DOUBLE PRECISION").arg(n);
        currentParams += QStringLiteral(", I_%1 DOUBLE PRECISION").arg(n);
        currentValues += QStringLiteral(", :I_%1").arg(n);
    }
    return {
        QStringLiteral("CREATE TABLE AUFTRAEGE (\n"
                       "  VERSUCHSNR VARCHAR(20) NOT NULL,\n"
                       "  TEILENR VARCHAR(20) NOT NULL,\n"
                       "  BEZEICHNUNG VARCHAR(40),\n"
                       "  STRANG INTEGER,\n"
                       "  AUFTRAGKEY INTEGER NOT NULL,\n"
                       "  DATUM DATE,\n"
                       "  BEDIENER VARCHAR(40),\n"
                       "  KOMMENTAR VARCHAR(2000),\n"
                       "  U_SOLL DOUBLE PRECISION,\n"
                       "  I_MAX DOUBLE PRECISION,\n"
                       "  T_MESSEN_AB DOUBLE PRECISION,\n"
                       "  T_MESSEN_AB_AKTIV SMALLINT,\n"
                       "  T_NACHLAUF_BIS DOUBLE PRECISION,\n"
                       "  T_NACHLAUF_BIS_AKTIV SMALLINT,\n"
                       "  RF_MESSEN_AB DOUBLE PRECISION,\n"
                       "  RF_MESSEN_AB_AKTIV SMALLINT,\n"
                       "  RF_NACHLAUF_BIS DOUBLE PRECISION,\n"
                       "  RF_NACHLAUF_BIS_AKTIV SMALLINT,\n")
            + bt
            + QStringLiteral("  DAUER_1_STD INTEGER,\n"
                             "  SPEICHERFREQ_1_MIN INTEGER,\n"
                             "  DAUER_GESAMT_STD INTEGER,\n"
                             "  SPEICHERFREQ_GESAMT_MIN INTEGER,\n"
                             "  RESTLAUFZEIT DOUBLE PRECISION,\n"
                             "  ANZAHLDATENSAETZE INTEGER,\n"
                             "  STATUS VARCHAR(40),\n"
                             "  ERSTE_MESSUNG TIMESTAMP,\n"
                             "  LETZTE_MESSUNG TIMESTAMP,\n"
                             "  CONSTRAINT UQ_AUFTRAEGE_KEY UNIQUE (AUFTRAGKEY))"),
        // The key of a run is also the key of its rows, which hold it as a small integer.
        QStringLiteral("CREATE TABLE MESSDATEN (\n"
                       "  AUFTRAGKEY SMALLINT NOT NULL,\n"
                       "  ZEITPUNKT TIMESTAMP NOT NULL,\n"
                       "  SATZNR INTEGER,\n"
                       "  ZEIT_STD DOUBLE PRECISION,\n"
                       "  EREIGNIS VARCHAR(80),\n"
                       "  FEHLER VARCHAR(80),\n"
                       "  STATUS VARCHAR(4),\n"
                       "  T DOUBLE PRECISION,\n"
                       "  RF DOUBLE PRECISION,\n"
                       "  U DOUBLE PRECISION")
            + currents + QStringLiteral(")"),
        // The rows of a run are always read by run and time.
        QStringLiteral("CREATE INDEX IX_MESSDATEN_ZEIT ON MESSDATEN (AUFTRAGKEY, ZEITPUNKT)"),
        QStringLiteral("CREATE INDEX IX_AUFTRAEGE_VERSUCHSNR ON AUFTRAEGE (VERSUCHSNR)"),
        QStringLiteral("CREATE SEQUENCE GEN_AUFTRAEGE_ID"),
        QStringLiteral("CREATE TRIGGER AUFTRAEGE_BI FOR AUFTRAEGE ACTIVE BEFORE INSERT POSITION 0 AS\n"
                       "BEGIN\n"
                       "  IF (NEW.AUFTRAGKEY IS NULL) THEN NEW.AUFTRAGKEY = GEN_ID(GEN_AUFTRAEGE_ID, 1);\n"
                       "END"),
        QStringLiteral("CREATE PROCEDURE INS_MESSDATENSATZ (AUFTRAGKEY SMALLINT, SATZNR INTEGER, ZEITPUNKT TIMESTAMP,\n"
                       "  ZEIT_STD DOUBLE PRECISION, STATUS VARCHAR(4), EREIGNIS VARCHAR(80), FEHLER VARCHAR(80),\n"
                       "  T DOUBLE PRECISION, RF DOUBLE PRECISION")
            + currentParams
            + QStringLiteral(", U DOUBLE PRECISION)\n"
                             "AS\n"
                             "BEGIN\n"
                             "  INSERT INTO MESSDATEN (AUFTRAGKEY, ZEITPUNKT, SATZNR, ZEIT_STD, EREIGNIS, FEHLER, STATUS,\n"
                             "    T, RF, U, I_01, I_02, I_03, I_04, I_05, I_06, I_07, I_08, I_09)\n"
                             "  VALUES (:AUFTRAGKEY, :ZEITPUNKT, :SATZNR, :ZEIT_STD, :EREIGNIS, :FEHLER, :STATUS,\n"
                             "    :T, :RF, :U")
            + currentValues
            + QStringLiteral(");\n"
                             "END"),
        QStringLiteral("CREATE PROCEDURE UPD_AUFTRAG (AUFTRAGKEY INTEGER, BEDIENER VARCHAR(40), STRANG INTEGER,\n"
                       "  DATUM DATE, ANZAHLDATENSAETZE INTEGER, RESTLAUFZEIT DOUBLE PRECISION, STATUS VARCHAR(40))\n"
                       "AS\n"
                       "BEGIN\n"
                       "  UPDATE AUFTRAEGE SET BEDIENER = :BEDIENER, STRANG = :STRANG, DATUM = :DATUM,\n"
                       "    ANZAHLDATENSAETZE = :ANZAHLDATENSAETZE, RESTLAUFZEIT = :RESTLAUFZEIT, STATUS = :STATUS\n"
                       "  WHERE AUFTRAGKEY = :AUFTRAGKEY;\n"
                       "END"),
    };
}

#pragma once
// Three test runs in an in-memory dataset, shown through two sources the way the
// evaluation window does: one for the selector list, one for the header controls.
#include "tests/QtPrinters.h"
#include "tests/dbaccess/MemDataSet.h"

#include <gtest/gtest.h>

class RunFixture : public ::testing::Test {
protected:
    enum Col { KEY, NR, TEIL, DAUER, REST, IMAX, KOMM };

    void SetUp() override
    {
        fSaved = FormatSettings;
        FormatSettings.DecimalSeparator = u',';
        FormatSettings.ThousandSeparator = u'.';
        Runs.AddColumn(QStringLiteral("AUFTRAGKEY"), ftInteger);
        Runs.AddColumn(QStringLiteral("VERSUCHSNR"), ftString, 20);
        Runs.AddColumn(QStringLiteral("TEILENR"), ftString, 40);
        Runs.AddColumn(QStringLiteral("DAUER_GESAMT_STD"), ftFloat);
        Runs.AddColumn(QStringLiteral("RESTLAUFZEIT"), ftFloat);
        Runs.AddColumn(QStringLiteral("I_MAX"), ftFloat);
        Runs.AddColumn(QStringLiteral("KOMMENTAR"), ftMemo);
        Row(101, "V-0101", "BUZ 11", 1234.4, 12.5, 0.5, "erster Lauf\nzweite Zeile");
        Row(102, "V-0102", "IRF 540", 168, QVariant(), 120.25, "");
        Row(103, "V-0103", "BYV 26", 1000000, 0.004, 299.9996, "ohne Befund");
        ListSource.SetDataSet(&Runs);
        HeaderSource.SetDataSet(&Runs);
        HeaderSource.SetAutoEdit(false);
        Runs.Open();
    }
    void TearDown() override
    {
        Runs.Close();
        FormatSettings = fSaved;
    }
    void Row(int key, const char* nr, const char* teil, double dauer, const QVariant& rest, double imax,
             const char* komm)
    {
        const int r = Runs.AddRow();
        Runs.SetCell(r, KEY, key);
        Runs.SetCell(r, NR, QString::fromUtf8(nr));
        Runs.SetCell(r, TEIL, QString::fromUtf8(teil));
        Runs.SetCell(r, DAUER, dauer);
        Runs.SetCell(r, REST, rest);
        Runs.SetCell(r, IMAX, imax);
        Runs.SetCell(r, KOMM, QString::fromUtf8(komm));
    }

    TMemDataSet Runs;
    TDataSource ListSource;
    TDataSource HeaderSource;

private:
    TFormatSettings fSaved;
};

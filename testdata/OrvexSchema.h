#pragma once
// The database "Orvex.fdb" as this program and the acquisition side share it:
// dialect 3, default character set WIN1252. The program itself never creates it;
// the demo tool and the tests do, with these statements in this order.

#include <QStringList>

// One statement per entry, without terminator, ready for execution one by one.
QStringList OrvexSchemaStatements();

// Column names in the order the program's statements name them.
QStringList AuftraegeColumns();
QStringList MessdatenColumns();

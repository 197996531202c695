#pragma once
// SQL as text, without a grammar: classify a statement, find its FROM, WHERE,
// ORDER BY and PLAN sections at the right nesting level, replace or extend them,
// and list the tables of a select. Literals, quoted names and comments are never
// mistaken for keywords.
//
// Positions in this unit are 1-based, and 0 means "not found": callers compute
// with them as the stored statement texts count.

#include <QString>
#include <QStringList>
#include <functional>

// Statement kinds.
enum : int {
    skUnknown = 0,
    skSelect = 1,      // also MERGE: everything asking for a select treats it alike
    skUpdate = 2,
    skInsert = 3,
    skDelete = 4,
    skExecProc = 5,
    skDDL = 6,
    skExecBlock = 7,
    skUpdateOrInsert = 8,
};

// True when word stands at pos as a keyword (either letter case, guarded on both sides).
bool WordAt(const QString& word, const QString& text, int pos);
// Moves pos over blanks, opening brackets and comments.
void SkipSpacesAndComments(const QString& text, int length, int& pos);
bool SameIdentifier(const QString& a, const QString& b);
QString RemoveComments(const QString& text);
QString RemoveBracketedParts(const QString& text, bool keepCommas);
QString JoinsToList(const QString& text);
QString InsertFirst(const QString& sql, int count);
QString MainTableName(const QString& sql, bool keepCase);
// aliasPos, when given, receives where the alias begins in entry (0 when there is none).
QString TableOfFromEntry(const QString& entry, int* aliasPos = nullptr);
QString AliasOfFromEntry(const QString& entry, int* aliasPos = nullptr);
// "T"."F" in dialect 3, T.F upper-cased below; names already quoted stay as they are.
QString QualifiedFieldName(const QString& table, const QString& field, int dialect = 3);
// An ORDER BY list turned around, for reading from the end.
QString ReverseOrder(const QString& clause);

class TSQLParser {
public:
    using TScanTest = std::function<bool(TSQLParser&, int pos)>;

    explicit TSQLParser(const QString& text = QString());
    void SetText(const QString& text);

    // Walks from position from, keeping track of literals, comments and brackets,
    // and stops where test hits in plain code.
    void Scan(int from, const TScanTest& test);

    void FromSection(int& start, int& end);
    void OrderBySection(int& start, int& end, QString& clause);
    // start: the WHERE word; end: the first position behind the clause.
    void WhereSection(int index, int& start, QString& clause, int& end);
    int WhereCount();
    int MainWhereIndex();
    void PlanSection(int index, int& start, QString& clause, int& end);

    QString SetOrderBy(const QString& clause);
    QString SetWhere(int index, const QString& clause);
    QString SetMainWhere(const QString& clause);
    QString AddCondition(const QString& condition, bool onNewLine);
    QString SetPlan(const QString& plan);
    QString CountStatement();
    const QStringList& TableList(bool keepCommas);
    QString MainTable();

    // Scanner state, in the order the scanner keeps it.
    int State = 0;         // 0 code, 1 in "", 2 block comment, 3 line comment, 4 in ''
    int ScanPos = 0;
    int FoundPos = 0;
    int Depth = 0;
    QString Text;
    int TextLength = 0;
    int WantedCount = 0;
    int SeenCount = 0;
    bool StopAtClose = false;
    int StatementStart = 0;
    int Kind = skUnknown;
    bool IsDML = true;
    QStringList Tables;
    int StartDepth = 0;

    // The tests a scan can run.
    static bool TestFrom(TSQLParser& p, int pos);
    static bool TestFromAtTop(TSQLParser& p, int pos);
    static bool TestOrder(TSQLParser& p, int pos);
    static bool TestOrderAtTop(TSQLParser& p, int pos);
    static bool TestBy(TSQLParser& p, int pos);
    static bool TestInto(TSQLParser& p, int pos);
    static bool TestWhere(TSQLParser& p, int pos);
    static bool TestPlan(TSQLParser& p, int pos);
    static bool TestEndOfFrom(TSQLParser& p, int pos);
    static bool TestEndOfWhere(TSQLParser& p, int pos);

private:
    struct Clause {
        int word = 0;        // the keyword
        int clauseStart = 0;
        int clauseEnd = 0;   // last character of the clause
        int follow = 0;      // first position behind the clause
        QString clause;
    };
    QChar At(int pos) const { return pos >= 1 && pos <= TextLength ? Text[pos - 1] : QChar(); }
    void ScanFromStart(int from, const TScanTest& test);
    Clause FindClause(int index, const TScanTest& word, int wordLength);
    QString NameBehind(const QString& word, QString* alias, const QString& aliasStop);
    bool fTablesFilled = false;
    bool fStoppedAtClose = false;
};

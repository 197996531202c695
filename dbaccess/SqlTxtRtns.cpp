#include "dbaccess/SqlTxtRtns.h"

#include <QRegularExpression>

namespace {
const QString CRLF = QStringLiteral("\r\n");

bool InSet(char16_t c, std::initializer_list<char16_t> set)
{
    for (char16_t s : set)
        if (s == c)
            return true;
    return false;
}
bool IsWordStartGuard(char16_t c) { return InSet(c, {9, 10, 13, 32, 34, 41}); }
bool IsWordEndGuard(char16_t c) { return InSet(c, {0, 9, 10, 13, 32, 34, 40, 45, 47, 59, 94}); }
bool IsBlank(char16_t c) { return InSet(c, {0, 9, 10, 13, 32, 40, 59, 94}); }
bool IsSkipStart(char16_t c) { return IsBlank(c) || c == 45 || c == 47; }
bool IsSpace(char16_t c) { return InSet(c, {9, 10, 13, 32}); }

char16_t CharAt(const QString& text, int pos)
{
    return pos >= 1 && pos <= text.size() ? text[pos - 1].unicode() : 0;
}

// A word that ends a section, chosen by the letter it starts with.
bool SectionEndWordAt(const QString& text, int pos, const char* const* words)
{
    if (pos < 2 || pos + 1 > text.size() || !IsSpace(CharAt(text, pos - 1)))
        return false;
    const char16_t first = QChar(CharAt(text, pos)).toUpper().unicode();
    for (const char* const* w = words; *w; ++w)
        if (char16_t((*w)[0]) == first)
            return WordAt(QString::fromLatin1(*w), text, pos);
    return false;
}

bool IsQuoted(const QString& s)
{
    return s.size() >= 2 && s.startsWith(u'"') && s.endsWith(u'"');
}
}

bool WordAt(const QString& word, const QString& text, int pos)
{
    if (pos < 1)
        return false;
    if (pos > 1 && !IsWordStartGuard(CharAt(text, pos - 1)))
        return false;
    const int n = int(word.size());
    if (pos + n - 1 > int(text.size()))
        return false;
    const QString upper = word.toUpper();
    for (int i = 0; i < n; ++i) {
        const char16_t c = CharAt(text, pos + i);
        const char16_t w = upper[i].unicode();
        if (c != w && c - 32 != w)
            return false;
    }
    if (pos + n <= int(text.size())) {
        const char16_t next = CharAt(text, pos + n);
        if (!IsWordEndGuard(next) && next <= 95)
            return false;
    }
    return true;
}

void SkipSpacesAndComments(const QString& text, int length, int& pos)
{
    while (pos < length && IsSkipStart(CharAt(text, pos))) {
        const char16_t c = CharAt(text, pos);
        if (IsBlank(c)) {
            ++pos;
        } else if (c == u'-' && CharAt(text, pos + 1) == u'-') {
            while (pos <= length && CharAt(text, pos) != 10 && CharAt(text, pos) != 13)
                ++pos;
        } else if (c == u'/' && CharAt(text, pos + 1) == u'*') {
            const qsizetype close = text.indexOf(QLatin1String("*/"), pos + 1);
            pos = close < 0 ? length + 1 : int(close) + 3;
        } else {
            break;   // a lone "-" or "/" starts the statement
        }
    }
}

bool SameIdentifier(const QString& a, const QString& b)
{
    if (a.isEmpty() || b.isEmpty())
        return true;
    const bool qa = IsQuoted(a), qb = IsQuoted(b);
    if (qa && qb)
        return a == b;
    if (qa)
        return a.mid(1, a.size() - 2) == b.toUpper();
    if (qb)
        return b == u'"' + a + u'"' || b == u'"' + a.toUpper() + u'"';
    return a.toUpper() == b.toUpper();
}

QString RemoveComments(const QString& text)
{
    enum { Code, Double, Single, Block, Line } state = Code;
    QString out;
    out.reserve(text.size());
    const qsizetype n = text.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = text[i];
        const QChar next = i + 1 < n ? text[i + 1] : QChar();
        switch (state) {
        case Code:
            if (c == u'-' && next == u'-') {
                state = Line;
                ++i;
                continue;
            }
            if (c == u'/' && next == u'*') {
                state = Block;
                ++i;
                continue;
            }
            if (c == u'"')
                state = Double;
            else if (c == u'\'')
                state = Single;
            out += c;
            break;
        case Double:
            if (c == u'"')
                state = Code;
            out += c;
            break;
        case Single:
            if (c == u'\'')
                state = Code;
            out += c;
            break;
        case Block:
            if (c == u'*' && next == u'/') {
                state = Code;
                ++i;
            }
            break;
        case Line:
            // The line end goes with the comment; LF alone ends a line here too.
            if (c == u'\r') {
                state = Code;
                if (next == u'\n')
                    ++i;
            } else if (c == u'\n') {
                state = Code;
            }
            break;
        }
    }
    return out;
}

QString RemoveBracketedParts(const QString& text, bool keepCommas)
{
    QString s = text;
    for (;;) {
        const qsizetype open = s.indexOf(u'(');
        if (open < 0)
            return s;
        qsizetype close = open;
        int depth = 0;
        for (; close < s.size(); ++close) {
            if (s[close] == u'(')
                ++depth;
            else if (s[close] == u')' && --depth == 0)
                break;
        }
        if (close >= s.size())
            close = s.size() - 1;   // unbalanced: everything behind the bracket goes
        if (keepCommas) {
            s.remove(open, close - open + 1);
            continue;
        }
        // The derived table goes with one of its separators.
        const qsizetype prevComma = s.lastIndexOf(u',', open);
        qsizetype nextComma = s.indexOf(u',', close);
        if (prevComma >= 0) {
            const qsizetype to = nextComma < 0 ? s.size() : nextComma;
            s.remove(prevComma, to - prevComma);
        } else {
            const qsizetype to = nextComma < 0 ? s.size() : nextComma + 1;
            s.remove(0, to);
        }
    }
}

QString JoinsToList(const QString& text)
{
    static const QRegularExpression join(QStringLiteral("\\bJOIN\\b"), QRegularExpression::CaseInsensitiveOption);
    if (!text.contains(join))
        return text;
    QString s = text;
    for (const char* w : {" LEFT ", " RIGHT ", " FULL ", " INNER ", " OUTER "})
        while (s.contains(QLatin1String(w), Qt::CaseInsensitive))
            s.replace(QLatin1String(w), QLatin1String(" "), Qt::CaseInsensitive);
    s.replace(QLatin1String(" JOIN "), QLatin1String(" , "), Qt::CaseInsensitive);
    // Each join condition goes, up to the next comma.
    for (int pos = 1; pos <= s.size(); ++pos) {
        if (!WordAt(QStringLiteral("ON"), s, pos) || (pos > 1 && !IsSpace(CharAt(s, pos - 1))))
            continue;
        const qsizetype comma = s.indexOf(u',', pos - 1);
        s.remove(pos - 1, (comma < 0 ? s.size() : comma) - (pos - 1));
    }
    return s;
}

QString InsertFirst(const QString& sql, int count)
{
    TSQLParser p(sql);
    if (p.Kind != skSelect)
        return sql;
    for (int pos = 1; pos <= p.TextLength; ++pos)
        if (WordAt(QStringLiteral("FIRST"), sql, pos))
            return sql;
    int end = p.StatementStart;
    while (end <= p.TextLength && !IsWordEndGuard(CharAt(sql, end)))
        ++end;
    return sql.left(end - 1) + QStringLiteral(" FIRST ") + QString::number(count) + u' ' + sql.mid(end - 1);
}

namespace {
// Splits a FROM entry at its first blank outside quotes and skips separators and "AS".
void SplitFromEntry(const QString& entry, QString& table, QString& alias, int& aliasPos)
{
    const QString e = entry.trimmed();
    const int offset = int(entry.indexOf(e.isEmpty() ? QString() : e.left(1)));
    bool quoted = false;
    qsizetype split = -1;
    for (qsizetype i = 0; i < e.size(); ++i) {
        if (e[i] == u'"')
            quoted = !quoted;
        else if (!quoted && IsSpace(e[i].unicode())) {
            split = i;
            break;
        }
    }
    table = (split < 0 ? e : e.left(split)).toUpper();
    alias.clear();
    aliasPos = 0;
    if (split < 0)
        return;
    qsizetype i = split;
    while (i < e.size() && IsSpace(e[i].unicode()))
        ++i;
    if (i + 2 < e.size() && e.mid(i, 2).compare(QLatin1String("AS"), Qt::CaseInsensitive) == 0
        && IsSpace(e[i + 2].unicode())) {
        i += 2;
        while (i < e.size() && IsSpace(e[i].unicode()))
            ++i;
    }
    alias = e.mid(i).trimmed().toUpper();
    aliasPos = alias.isEmpty() ? 0 : int(i) + 1 + std::max(offset, 0);
}
}

QString TableOfFromEntry(const QString& entry, int* aliasPos)
{
    QString table, alias;
    int pos = 0;
    SplitFromEntry(entry, table, alias, pos);
    if (aliasPos)
        *aliasPos = pos;
    return table;
}

QString AliasOfFromEntry(const QString& entry, int* aliasPos)
{
    QString table, alias;
    int pos = 0;
    SplitFromEntry(entry, table, alias, pos);
    if (aliasPos)
        *aliasPos = pos;
    return alias;
}

QString QualifiedFieldName(const QString& table, const QString& field, int dialect)
{
    const auto quote = [dialect](const QString& name) {
        if (IsQuoted(name))
            return name;
        return dialect >= 3 ? u'"' + name + u'"' : name.toUpper();
    };
    return table.isEmpty() ? quote(field) : quote(table) + u'.' + quote(field);
}

QString ReverseOrder(const QString& clause)
{
    // Items split at commas outside brackets and quotes.
    const QString text = RemoveComments(clause);
    QStringList items;
    int depth = 0;
    QChar quote;
    QString current;
    for (QChar c : text) {
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
        } else if (c == u'"' || c == u'\'') {
            quote = c;
        } else if (c == u'(') {
            ++depth;
        } else if (c == u')') {
            --depth;
        } else if (c == u',' && depth == 0) {
            items << current;
            current.clear();
            continue;
        }
        current += c;
    }
    items << current;

    static const QRegularExpression nulls(QStringLiteral("\\s+NULLS\\s+(FIRST|LAST)\\s*$"),
                                          QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression dir(QStringLiteral("\\s+(ASC|ASCENDING|DESC|DESCENDING)\\s*$"),
                                        QRegularExpression::CaseInsensitiveOption);
    QStringList out;
    for (QString item : items) {
        item = item.simplified();
        if (item.isEmpty())
            continue;
        QString nullsPart;
        if (const auto m = nulls.match(item); m.hasMatch()) {
            nullsPart = m.captured(1).compare(QLatin1String("FIRST"), Qt::CaseInsensitive) == 0
                ? QStringLiteral(" NULLS LAST")
                : QStringLiteral(" NULLS FIRST");
            item.truncate(m.capturedStart());
        }
        bool descending = false;
        if (const auto m = dir.match(item); m.hasMatch()) {
            descending = m.captured(1).startsWith(QLatin1String("DESC"), Qt::CaseInsensitive);
            item.truncate(m.capturedStart());
        }
        out << item + (descending ? QString() : QStringLiteral(" desc")) + nullsPart;
    }
    return out.join(QStringLiteral(", "));
}

QString MainTableName(const QString& sql, bool keepCase)
{
    TSQLParser p(sql);
    QString name;
    if (p.Kind == skSelect) {
        const QStringList& tables = p.TableList(false);
        name = tables.isEmpty() ? QString() : TableOfFromEntry(tables.first());
    } else {
        name = p.MainTable();
        if (const qsizetype blank = name.indexOf(u' '); blank > 0 && !name.startsWith(u'"'))
            name.truncate(blank);
        else if (name.startsWith(u'"') && name.indexOf(u'"', 1) > 0)
            name.truncate(name.indexOf(u'"', 1) + 1);
    }
    return keepCase || IsQuoted(name) ? name : name.toUpper();
}

// ---------------------------------------------------------------- TSQLParser

TSQLParser::TSQLParser(const QString& text)
{
    SetText(text);
}

void TSQLParser::SetText(const QString& text)
{
    Text = text;
    TextLength = int(text.size());
    State = 0;
    ScanPos = 0;
    FoundPos = 0;
    Depth = 0;
    WantedCount = 0;
    SeenCount = 0;
    StopAtClose = false;
    StartDepth = 0;
    Tables.clear();
    fTablesFilled = false;
    StatementStart = 1;
    SkipSpacesAndComments(Text, TextLength, StatementStart);

    // The first word may follow an opening bracket, which the guard of WordAt would refuse.
    const QString head = Text.mid(StatementStart - 1);
    const auto nextWordIs = [&head](int wordLength, const char* next) {
        int pos = 1 + wordLength;
        SkipSpacesAndComments(head, int(head.size()), pos);
        return WordAt(QString::fromLatin1(next), head, pos);
    };
    const auto at = [&head](const char* w) { return WordAt(QString::fromLatin1(w), head, 1); };
    if (at("SELECT") || at("MERGE"))
        Kind = skSelect;
    else if (at("UPDATE"))
        Kind = nextWordIs(6, "OR") ? skUpdateOrInsert : skUpdate;
    else if (at("DELETE"))
        Kind = skDelete;
    else if (at("INSERT"))
        Kind = skInsert;
    else if (at("EXECUTE") && nextWordIs(7, "PROCEDURE"))
        Kind = skExecProc;
    else if (at("EXECUTE") && nextWordIs(7, "BLOCK"))
        Kind = skExecBlock;
    else if (at("ALTER") || at("CREATE") || at("COMMENT") || at("DROP") || at("DECLARE") || at("GRANT")
             || at("RECREATE") || at("REVOKE") || (at("SET") && nextWordIs(3, "GENERATOR")))
        Kind = skDDL;
    else
        Kind = skUnknown;
    IsDML = Kind != skDDL;
}

void TSQLParser::Scan(int from, const TScanTest& test)
{
    if (!test)
        return;
    State = 0;
    FoundPos = 0;
    fStoppedAtClose = false;
    StartDepth = Depth;
    for (ScanPos = std::max(from, 1); ScanPos <= TextLength; ++ScanPos) {
        const char16_t c = At(ScanPos).unicode();
        switch (c) {
        case u'"':
            if (State == 1)
                State = 0;
            else if (State == 0)
                State = 1;
            continue;
        case u'\'':
            if (State == 4)
                State = 0;
            else if (State == 0)
                State = 4;
            continue;
        case u'(':
            if (State == 0)
                ++Depth;
            continue;
        case u')':
            if (State == 0) {
                if (StopAtClose && Depth - 1 < StartDepth) {
                    FoundPos = ScanPos;
                    fStoppedAtClose = true;
                    WantedCount = 0;
                    return;
                }
                --Depth;
            }
            continue;
        case u'*':
            if (State == 2 && At(ScanPos + 1) == u'/')
                State = 0;
            else if (State == 0 && At(ScanPos - 1) == u'/')
                State = 2;
            continue;
        case u'-':
            if (State == 0 && At(ScanPos + 1) == u'-')
                State = 3;
            continue;
        default:
            if (State == 0) {
                if (test(*this, ScanPos)) {
                    FoundPos = ScanPos;
                    WantedCount = 0;
                    return;
                }
            } else if (State == 3 && (c == 13 || c == 10)) {
                State = 0;   // LF alone ends a line comment too
            }
        }
    }
    if (FoundPos == 0 && State == 0 && TextLength > 0 && test(*this, TextLength))
        FoundPos = TextLength;
    WantedCount = 0;
}

bool TSQLParser::TestFrom(TSQLParser& p, int pos) { return WordAt(QStringLiteral("FROM"), p.Text, pos); }
bool TSQLParser::TestFromAtTop(TSQLParser& p, int pos) { return p.Depth == 0 && TestFrom(p, pos); }
bool TSQLParser::TestOrder(TSQLParser& p, int pos) { return WordAt(QStringLiteral("ORDER"), p.Text, pos); }
bool TSQLParser::TestOrderAtTop(TSQLParser& p, int pos) { return p.Depth == 0 && TestOrder(p, pos); }
bool TSQLParser::TestBy(TSQLParser& p, int pos) { return WordAt(QStringLiteral("BY"), p.Text, pos); }
bool TSQLParser::TestInto(TSQLParser& p, int pos) { return WordAt(QStringLiteral("INTO"), p.Text, pos); }

namespace {
bool CountedWordAt(TSQLParser& p, int pos, const QString& word)
{
    if (pos < 2 || !IsWordStartGuard(CharAt(p.Text, pos - 1)) || !WordAt(word, p.Text, pos))
        return false;
    if (p.WantedCount <= 0)
        return true;
    return ++p.SeenCount == p.WantedCount;
}
}

bool TSQLParser::TestWhere(TSQLParser& p, int pos) { return CountedWordAt(p, pos, QStringLiteral("WHERE")); }
bool TSQLParser::TestPlan(TSQLParser& p, int pos) { return CountedWordAt(p, pos, QStringLiteral("PLAN")); }

bool TSQLParser::TestEndOfFrom(TSQLParser& p, int pos)
{
    static const char* const words[] = {"FOR", "GROUP", "HAVING", "ORDER", "PLAN", "UNION", "WHERE", nullptr};
    if (p.Depth < p.StartDepth)
        return false;
    return pos == p.TextLength || SectionEndWordAt(p.Text, pos, words);
}

bool TSQLParser::TestEndOfWhere(TSQLParser& p, int pos)
{
    static const char* const words[] = {"FOR", "GROUP", "HAVING", "ORDER", "PLAN", "START", "UNION", nullptr};
    if (p.Depth < p.StartDepth)
        return false;
    return pos == p.TextLength || SectionEndWordAt(p.Text, pos, words);
}

void TSQLParser::ScanFromStart(int from, const TScanTest& test)
{
    Depth = 0;
    StopAtClose = false;
    SeenCount = 0;
    Scan(from, test);
}

void TSQLParser::FromSection(int& start, int& end)
{
    ScanFromStart(StatementStart, TestFromAtTop);
    start = FoundPos;
    end = 0;
    if (start == 0)
        return;
    Scan(start + 5, TestEndOfFrom);
    // The end is the first position behind the section: the word that ends it, or
    // behind the text when the section runs to its end (no word fits at the last position).
    end = FoundPos == 0 || FoundPos == TextLength ? TextLength + 1 : FoundPos;
}

void TSQLParser::OrderBySection(int& start, int& end, QString& clause)
{
    clause.clear();
    end = 0;
    ScanFromStart(StatementStart, TestOrderAtTop);
    start = FoundPos;
    if (start == 0)
        return;
    Scan(start + 5, TestBy);
    if (FoundPos == 0) {
        start = 0;
        return;
    }
    clause = Text.mid(FoundPos + 1);
    end = TextLength;
}

TSQLParser::Clause TSQLParser::FindClause(int index, const TScanTest& word, int wordLength)
{
    Clause c;
    if (index < 0)
        return c;
    Depth = 0;
    StopAtClose = false;
    SeenCount = 0;
    WantedCount = index;
    Scan(1, word);
    if (FoundPos == 0)
        return c;
    c.word = FoundPos;
    StopAtClose = Depth > 0;
    int pos = FoundPos + wordLength;
    while (pos <= TextLength && IsSpace(At(pos).unicode()))
        ++pos;
    Scan(pos, TestEndOfWhere);
    StopAtClose = false;
    if (FoundPos == 0) {
        c.word = 0;
        return c;
    }
    c.clauseStart = pos;
    if (FoundPos == TextLength && !fStoppedAtClose) {
        c.clauseEnd = TextLength;
    } else {
        int e = FoundPos - 1;
        while (e >= pos && (IsSpace(At(e).unicode()) || At(e) == u'-'))
            --e;
        c.clauseEnd = e;
    }
    c.clause = Text.mid(c.clauseStart - 1, std::max(0, c.clauseEnd - c.clauseStart + 1));
    c.follow = c.clauseEnd + 1;
    return c;
}

void TSQLParser::WhereSection(int index, int& start, QString& clause, int& end)
{
    const Clause c = FindClause(index, TestWhere, 5);
    start = c.word;
    clause = c.clause;
    end = c.word ? c.follow : 0;
}

void TSQLParser::PlanSection(int index, int& start, QString& clause, int& end)
{
    const Clause c = FindClause(index, TestPlan, 4);
    start = c.word;
    clause = c.clause;
    end = c.word ? c.follow : 0;
}

int TSQLParser::WhereCount()
{
    int count = 0;
    ScanFromStart(1, [&count](TSQLParser& p, int pos) {
        if (TestWhere(p, pos))
            ++count;
        return false;
    });
    return count;
}

int TSQLParser::MainWhereIndex()
{
    int count = 0;
    ScanFromStart(1, [&count](TSQLParser& p, int pos) {
        if (!TestWhere(p, pos))
            return false;
        ++count;
        return p.Depth == 0;
    });
    return FoundPos ? count : -1;
}

QString TSQLParser::SetOrderBy(const QString& clause)
{
    int start = 0, end = 0;
    QString old;
    OrderBySection(start, end, old);
    const bool blank = clause.trimmed().isEmpty();
    if (start > 0) {
        if (blank)
            return Text.left(start - 1);
        return Text.left(start - 1) + (At(start - 1) == u'\n' ? QString() : CRLF) + QStringLiteral("ORDER BY ") + clause;
    }
    if (blank)
        return Text;
    QString head = Text;
    while (!head.isEmpty() && head.back().isSpace())
        head.chop(1);
    return head + CRLF + QStringLiteral("ORDER BY ") + clause;
}

QString TSQLParser::SetWhere(int index, const QString& clause)
{
    int start = 0, end = 0;
    QString old;
    WhereSection(index, start, old, end);
    if (start == 0)
        return Text;
    const QString follows = Text.mid(end - 1);
    if (clause.isEmpty())
        return Text.left(start - 1) + CRLF + follows;
    return Text.left(start - 1) + (At(start - 1) == u'\n' ? QString() : CRLF) + QStringLiteral("WHERE ") + clause
        + (At(end) == u'\r' ? QString() : CRLF) + follows;
}

QString TSQLParser::SetMainWhere(const QString& clause)
{
    const int index = MainWhereIndex();
    return index < 1 ? AddCondition(clause, false) : SetWhere(index, clause);
}

QString TSQLParser::AddCondition(const QString& condition, bool onNewLine)
{
    if (condition.isEmpty())
        return Text;
    const QString P = onNewLine ? QStringLiteral("\r\n    ") : QString();
    const int index = MainWhereIndex();
    if (index < 1) {
        int start = 0, end = 0;
        FromSection(start, end);
        if (start == 0)
            return Text;
        return Text.left(end - 1) + CRLF + QStringLiteral(" WHERE ") + P + condition + CRLF + Text.mid(end - 1);
    }
    int start = 0, end = 0;
    QString old;
    WhereSection(index, start, old, end);
    // The old condition stays in brackets, so an OR in it cannot swallow the new one.
    return Text.left(start + 4) + QStringLiteral("( ") + old + P + QStringLiteral(" ) and ( ") + condition
        + QStringLiteral(" )") + P + Text.mid(end - 1);
}

QString TSQLParser::SetPlan(const QString& plan)
{
    int start = 0, end = 0;
    QString old;
    PlanSection(0, start, old, end);
    const bool blank = plan.trimmed().isEmpty();
    if (start > 0)
        return Text.left(start - 1) + (blank ? QString() : QStringLiteral("PLAN ") + plan) + Text.mid(end - 1);
    if (blank)
        return Text;
    int orderStart = 0, orderEnd = 0;
    QString order;
    OrderBySection(orderStart, orderEnd, order);
    if (orderStart > 0)
        return Text.left(orderStart - 1) + QStringLiteral("PLAN ") + plan + CRLF + Text.mid(orderStart - 1);
    QString head = Text;
    while (!head.isEmpty() && head.back().isSpace())
        head.chop(1);
    return head + CRLF + QStringLiteral("PLAN ") + plan;
}

QString TSQLParser::CountStatement()
{
    if (Kind != skSelect)
        return {};
    int start = 0, end = 0;
    FromSection(start, end);
    if (start == 0)
        return {};
    QString result = QStringLiteral("Select Count(*) ") + Text.mid(start - 1, end - start);
    const int index = MainWhereIndex();
    if (index >= 1) {
        int ws = 0, we = 0;
        QString clause;
        WhereSection(index, ws, clause, we);
        result += CRLF + QStringLiteral(" WHERE ") + clause;
    }
    return result;
}

const QStringList& TSQLParser::TableList(bool keepCommas)
{
    if (fTablesFilled)
        return Tables;
    fTablesFilled = true;
    if (Kind != skSelect) {
        Tables << MainTable();
        return Tables;
    }
    int start = 0, end = 0;
    FromSection(start, end);
    if (start == 0)
        return Tables;
    QString from = RemoveComments(Text.mid(start - 1 + 4, end - start - 4));
    // Runs of blanks outside quotes become one blank.
    QString squeezed;
    QChar quote;
    for (QChar c : from) {
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
        } else if (c == u'"' || c == u'\'') {
            quote = c;
        } else if (IsSpace(c.unicode())) {
            if (!squeezed.endsWith(u' '))
                squeezed += u' ';
            continue;
        }
        squeezed += c;
    }
    QString list = JoinsToList(squeezed);
    if (list.contains(u'('))
        list = RemoveBracketedParts(list, keepCommas);
    for (QString entry : list.split(u',')) {
        entry = entry.trimmed();
        if (entry.count(u'"') < 2)
            entry = entry.toUpper();
        if (!entry.isEmpty())
            Tables << entry;
    }
    return Tables;
}

QString TSQLParser::NameBehind(const QString& word, QString* alias, const QString& aliasStop)
{
    int pos = 0;
    for (int p = StatementStart; p <= TextLength && pos == 0; ++p)
        if (WordAt(word, Text, p))
            pos = p;
    if (pos == 0)
        return QStringLiteral("Unknown");
    pos += int(word.size());
    SkipSpacesAndComments(Text, TextLength, pos);
    const auto nameAt = [this](int& p) {
        const int begin = p;
        if (At(p) == u'"') {
            ++p;
            while (p <= TextLength && At(p) != u'"')
                ++p;
            ++p;
        } else {
            while (p <= TextLength && !InSet(At(p).unicode(), {9, 10, 13, 32, u'(', u'-', u'/', u';', u'^'}))
                ++p;
        }
        return Text.mid(begin - 1, p - begin);
    };
    QString name = nameAt(pos);
    if (alias) {
        int next = pos;
        while (next <= TextLength && IsSpace(At(next).unicode()))
            ++next;
        if (next <= TextLength && !WordAt(aliasStop, Text, next) && !InSet(At(next).unicode(), {u'(', u';', u'^'})) {
            const QString a = nameAt(next);
            if (!a.isEmpty())
                name += u' ' + a;
        }
    }
    return name;
}

QString TSQLParser::MainTable()
{
    QString alias;
    switch (Kind) {
    case skUpdate: return NameBehind(QStringLiteral("UPDATE"), &alias, QStringLiteral("SET"));
    case skInsert:
    case skUpdateOrInsert: return NameBehind(QStringLiteral("INTO"), nullptr, QString());
    case skDelete: return NameBehind(QStringLiteral("FROM"), &alias, QStringLiteral("WHERE"));
    default: return QStringLiteral("Unknown");
    }
}

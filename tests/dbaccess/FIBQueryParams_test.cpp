// The parameter parser on its own: names, literals, comments, macros, block heads,
// the comparison in front of a parameter; and random text that must never make it
// or the SQL scanner read outside the text.

#include "DbTestSupport.h"
#include "dbaccess/FIBQuery.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

#include <QRandomGenerator>

namespace {
TParsedSQL Parse(const QString& text, int kind = -1)
{
    return ParseSQLParams(text, u'@', true, kind >= 0 ? kind : TSQLParser(text).Kind);
}

QStringList Names(const TParsedSQL& p)
{
    QStringList names;
    for (const auto& param : p.Params)
        names << param.Name;
    return names;
}

QString ParseError(const QString& text)
{
    try {
        Parse(text);
    } catch (const Exception& e) {
        return e.Message();
    }
    return {};
}
}  // namespace

TEST(ParamParser, NamesLiteralsCommentsAndMacros)
{
    auto p = Parse("SELECT * FROM T WHERE A=:A AND B=:A");
    EXPECT_EQ(p.Processed, "SELECT * FROM T WHERE A=? AND B=?");
    EXPECT_EQ(Names(p), QStringList({"A", "A"}));
    EXPECT_EQ(p.Params[0].Start, 24);
    EXPECT_EQ(p.Params[0].End, 26);

    EXPECT_TRUE(Parse("SELECT ':X' FROM T").Params.empty());
    EXPECT_TRUE(Parse("SELECT 'it''s :X' FROM T").Params.empty());
    EXPECT_TRUE(Parse("SELECT \"a:b\" FROM T").Params.empty());
    EXPECT_TRUE(Parse("SELECT 1 /* :X */ FROM T").Params.empty());
    auto lineComment = Parse("SELECT 1 -- :X\nFROM T WHERE A = :Y");
    EXPECT_EQ(Names(lineComment), QStringList({"Y"}));
    EXPECT_EQ(lineComment.Processed, "SELECT 1 -- :X\nFROM T WHERE A = ?");

    auto quoted = Parse("SELECT * FROM T WHERE A=:\"my name\" and B = :b_2$");
    EXPECT_EQ(Names(quoted), QStringList({"my name", "b_2$"}));
    EXPECT_TRUE(quoted.Params[0].NameQuoted);
    EXPECT_FALSE(quoted.Params[1].NameQuoted);
    EXPECT_EQ(quoted.Processed, "SELECT * FROM T WHERE A=? and B = ?");

    // "?" without a name is numbered by its place.
    auto numbered = Parse("insert into T values (?, ?, :C)");
    EXPECT_EQ(Names(numbered), QStringList({"", "", "C"}));
    EXPECT_EQ(numbered.Processed, "insert into T values (?, ?, ?)");

    // With the check off the text stays as it is.
    auto off = ParseSQLParams("select :A from T", u'@', false, skSelect);
    EXPECT_TRUE(off.Params.empty());
    EXPECT_EQ(off.Processed, "select :A from T");

    // Macros: "@NAME", or "@@NAME%default@" with "#" for a quoted one.
    auto m = Parse("select * from @TAB where @@COND%1=1@ and X = :X and @@S%#abc@ = 1");
    ASSERT_EQ(m.Params.size(), 4u);
    EXPECT_TRUE(m.Params[0].IsMacro);
    EXPECT_EQ(m.Params[0].Name, "@TAB");
    EXPECT_EQ(m.Params[0].MacroDefault, "");
    EXPECT_EQ(m.Params[1].Name, "@COND");
    EXPECT_EQ(m.Params[1].MacroDefault, "1=1");
    EXPECT_FALSE(m.Params[1].MacroQuoted);
    EXPECT_EQ(m.Params[2].Name, "X");
    EXPECT_EQ(m.Params[3].Name, "@S");
    EXPECT_TRUE(m.Params[3].MacroQuoted);
    EXPECT_EQ(m.Params[3].MacroDefault, "abc");
    // Macros stay in the processed text; they are replaced before the server sees it.
    EXPECT_EQ(m.Processed, "select * from @TAB where @@COND%1=1@ and X = ? and @@S%#abc@ = 1");
    // A macro at the very end, and a macro char inside a literal.
    auto end = Parse("select '@x' from @@T");
    ASSERT_EQ(end.Params.size(), 1u);
    EXPECT_EQ(end.Params[0].Name, "@T");
}

TEST(ParamParser, ErrorTexts)
{
    EXPECT_EQ(ParseError("select 'abc from T"), "EOF in string detected");
    EXPECT_EQ(ParseError("select \"abc from T"), "EOF in string detected");
    EXPECT_EQ(ParseError("select 1 /* open"), "EOF in comment detected");
    EXPECT_EQ(ParseError("select * from T where A = : B"), "Parameter name expected");
    EXPECT_EQ(ParseError("select * from T where A = :"), "Parameter name expected");
    EXPECT_EQ(ParseError("select 1 -- open comment to the end"), "");
    // While a form is designed a missing name only ends the parse.
    auto quiet = ParseSQLParams("select :A, : B, :C from T", u'@', true, skSelect, true);
    ASSERT_EQ(quiet.Params.size(), 1u);
    EXPECT_EQ(quiet.Processed, "select ?, : B, :C from T");
    TFIBQuery designed;
    designed.SetDesigning(true);
    designed.SQL().SetText("select :A, : B from T");
    EXPECT_EQ(designed.ParamCount(), 1);
    TFIBQuery running;
    EXPECT_EQ(ThrownMessage([&] { running.SQL().SetText("select :A, : B from T"); }), "Parameter name expected");
}

TEST(ParamParser, ExecuteBlockHeadsDDLAndTheComparisonInFront)
{
    auto block = Parse("EXECUTE BLOCK (A INTEGER = :A, B VARCHAR(10) = ?) RETURNS (R INTEGER) AS\n"
                       "DECLARE X INTEGER; BEGIN X = :A; R = :X + 1; SUSPEND; END");
    ASSERT_EQ(block.Params.size(), 2u);
    EXPECT_EQ(block.Params[0].Name, "A");
    EXPECT_TRUE(block.Params[0].InBlockHead);
    EXPECT_TRUE(block.Processed.contains("BEGIN X = :A; R = :X + 1;"));

    auto ddl = Parse("CREATE PROCEDURE P (A INTEGER) RETURNS (B INTEGER) AS BEGIN B = :A; SUSPEND; END");
    EXPECT_TRUE(ddl.Params.empty());
    // An "AS" inside brackets, or as part of a word, is no body start.
    auto cast = Parse("EXECUTE BLOCK (A INTEGER = CAST(:P AS INTEGER), CLASS_ INT = :Q) AS BEGIN END");
    EXPECT_EQ(Names(cast), QStringList({"P", "Q"}));

    // The comparison in front of a parameter, and whether it stands in an expression.
    auto p = Parse("select * from T where A = :A and B<>:B and C != :C and D ^= :D and E >= :E and F < :F "
                   "and G = (:G) and H = :H + 1 and I = :I|| 'x' and J = :J - 1 and K = :K -- c\n");
    ASSERT_EQ(p.Params.size(), 11u);
    EXPECT_EQ(p.Params[0].NullRewrite, TNullRewrite::IsNull);
    EXPECT_EQ(p.Params[0].OperatorLength, 1);
    EXPECT_EQ(p.Params[1].NullRewrite, TNullRewrite::IsNotNull);
    EXPECT_EQ(p.Params[2].NullRewrite, TNullRewrite::IsNotNull);
    EXPECT_EQ(p.Params[3].NullRewrite, TNullRewrite::IsNotNull);
    EXPECT_EQ(p.Params[4].NullRewrite, TNullRewrite::None);
    EXPECT_EQ(p.Params[5].NullRewrite, TNullRewrite::None);
    EXPECT_EQ(p.Params[6].NullRewrite, TNullRewrite::IsNull);   // brackets are stepped over
    EXPECT_FALSE(p.Params[0].InExpression);
    EXPECT_TRUE(p.Params[7].InExpression);
    EXPECT_TRUE(p.Params[8].InExpression);
    EXPECT_TRUE(p.Params[9].InExpression);
    EXPECT_FALSE(p.Params[10].InExpression);  // "--" is a comment, no minus
}

// Random statements built from the characters that steer both scanners, and pure
// noise: every outcome is a result or one of the layer's exceptions, never a read
// past the text (the test binary runs under AddressSanitizer in CI).
TEST(ParamParser, RandomTextNeverBreaksTheScanners)
{
    QRandomGenerator rng(20261123);
    const QStringList pieces = {"select ", "from ", "where ", "order by ", "plan ", "(", ")", "'", "\"", "/*",
                                "*/", "--", "\n", "\r", ":", "?", "@", "@@", "%", "#", "AS ", "execute block ",
                                "create ", "join ", "on ", ",", " ", "a", "T1 ", "=", "<>", "!=", "^", ";", "-", "/",
                                "*", "|", "µ", "ä", "union ", "group ", "merge ", "update or insert "};
    int parsed = 0, refused = 0;
    for (int round = 0; round < 4000; ++round) {
        QString text;
        const int length = rng.bounded(0, 40);
        for (int i = 0; i < length; ++i) {
            if (rng.bounded(8) == 0)
                text += QChar(static_cast<char16_t>(rng.bounded(1, 0x250)));
            else
                text += pieces[rng.bounded(static_cast<int>(pieces.size()))];
        }
        try {
            auto p = ParseSQLParams(text, u'@', true, TSQLParser(text).Kind);
            ++parsed;
            for (const auto& param : p.Params) {
                ASSERT_GE(param.Start, 0);
                ASSERT_LE(param.End, text.size());
                ASSERT_LE(param.Start, param.End);
                ASSERT_LT(param.OperatorPos, param.Start);
            }
        } catch (const EFIBError&) {
            ++refused;
        }
        // The same text through a statement: parameters set null or to text, macros
        // to random text (which may bring parameters of its own), and the text for
        // the server built; without a database the prepare itself then refuses.
        TFIBQuery query;
        try {
            query.SQL().SetText(text);
            for (int i = 0; i < query.ParamCount(); ++i) {
                TFIBXSQLVAR& v = query.Params()[i];
                if (v.IsMacro() || rng.bounded(2) == 0)
                    v.SetAsString(pieces[rng.bounded(static_cast<int>(pieces.size()))] +
                                  pieces[rng.bounded(static_cast<int>(pieces.size()))]);
                else
                    v.SetIsNull(true);
            }
            query.Prepare();
            ADD_FAILURE() << "prepared without a database";
        } catch (const EFIBError&) {
        }
        TSQLParser parser(text);
        int start = 0, end = 0;
        QString clause;
        parser.FromSection(start, end);
        ASSERT_LE(end, parser.TextLength + 1);
        parser.WhereSection(1, start, clause, end);
        ASSERT_LE(clause.size(), text.size());
        parser.OrderBySection(start, end, clause);
        parser.PlanSection(1, start, clause, end);
        parser.WhereCount();
        parser.MainWhereIndex();
        parser.AddCondition("X = 1", round % 2 == 0);
        parser.SetOrderBy("1");
        parser.SetPlan("(T1 natural)");
        parser.CountStatement();
        parser.TableList(round % 2 == 0);
        parser.MainTable();
        RemoveComments(text);
        RemoveBracketedParts(text, round % 3 == 0);
        JoinsToList(text);
        ReverseOrder(text);
        InsertFirst(text, 5);
        TableOfFromEntry(text);
    }
    EXPECT_GT(parsed, 100);
    EXPECT_GT(refused, 100);
}

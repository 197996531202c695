#include "dbaccess/SqlTxtRtns.h"

#include <gtest/gtest.h>
#include "tests/QtPrinters.h"

TEST(SqlText, StatementKinds)
{
    EXPECT_EQ(TSQLParser("select * from t").Kind, skSelect);
    EXPECT_EQ(TSQLParser("  /* c */ -- x\r\n (SELECT 1 from rdb$database)").Kind, skSelect);
    EXPECT_EQ(TSQLParser("merge into t using s on t.a = s.a when matched then update set b = 1").Kind, skSelect);
    EXPECT_EQ(TSQLParser("update t set a = 1").Kind, skUpdate);
    EXPECT_EQ(TSQLParser("UPDATE OR INSERT INTO t (a) values (1) matching (a)").Kind, skUpdateOrInsert);
    EXPECT_EQ(TSQLParser("delete from t").Kind, skDelete);
    EXPECT_EQ(TSQLParser("Insert into t values (1)").Kind, skInsert);
    EXPECT_EQ(TSQLParser("execute procedure p(1)").Kind, skExecProc);
    EXPECT_EQ(TSQLParser("EXECUTE BLOCK AS BEGIN END").Kind, skExecBlock);
    EXPECT_EQ(TSQLParser("create table t (a int)").Kind, skDDL);
    EXPECT_FALSE(TSQLParser("drop table t").IsDML);
    EXPECT_EQ(TSQLParser("set generator g to 0").Kind, skDDL);
    EXPECT_EQ(TSQLParser("set transaction").Kind, skUnknown);
    EXPECT_EQ(TSQLParser("selection").Kind, skSelect);   // letters behind a word do not stop it
    EXPECT_EQ(TSQLParser("").Kind, skUnknown);
}

TEST(SqlText, WordGuards)
{
    EXPECT_TRUE(WordAt("FROM", "a from b", 3));
    EXPECT_TRUE(WordAt("FROM", "a)FROM(b)", 3));
    EXPECT_FALSE(WordAt("FROM", "a,from b", 3));
    EXPECT_FALSE(WordAt("FROM", "xfrom b", 2));
    EXPECT_FALSE(WordAt("FROM", "a fro", 3));      // must fit
    EXPECT_FALSE(WordAt("FROM", "a from1", 3));    // a digit is no end guard
    EXPECT_TRUE(WordAt("FROM", "a from", 3));
    EXPECT_TRUE(WordAt("FROM", "a fRoM b", 3));
}

TEST(SqlText, SectionsIgnoreLiteralsAndCommentsAndEndAtTheirBracket)
{
    TSQLParser p("select 'from x' as a, \"FROM\" /* from */ from t -- where\r\n where b = 1 order by a");
    int start = 0, end = 0;
    p.FromSection(start, end);
    EXPECT_EQ(p.Text.mid(start - 1, end - start), "from t -- where\r\n ");
    EXPECT_EQ(p.WhereCount(), 1);
    EXPECT_EQ(p.MainWhereIndex(), 1);
    QString clause;
    p.WhereSection(1, start, clause, end);
    EXPECT_EQ(clause, "b = 1");
    EXPECT_EQ(p.Text.mid(start - 1, 5), "where");

    // A sub-select's WHERE counts but ends at its bracket.
    TSQLParser sub("select a from t where x in (select b from u where y=1)");
    EXPECT_EQ(sub.WhereCount(), 2);
    EXPECT_EQ(sub.MainWhereIndex(), 1);
    sub.WhereSection(2, start, clause, end);
    EXPECT_EQ(clause, "y=1");
    sub.WhereSection(1, start, clause, end);
    EXPECT_EQ(clause, "x in (select b from u where y=1)");

    TSQLParser plan("select * from t where a = 1 plan (t natural) order by a");
    plan.PlanSection(1, start, clause, end);
    EXPECT_EQ(clause, "(t natural)");
    EXPECT_EQ(plan.SetPlan("(t index (ix))"), "select * from t where a = 1 PLAN (t index (ix)) order by a");
    plan.SetText("select * from t order by a");
    EXPECT_EQ(plan.SetPlan("(t natural)"), "select * from t PLAN (t natural)\r\norder by a");

    // Only a sub-select's WHERE: the new condition goes behind the FROM section.
    TSQLParser inner("select a, (select max(b) from u where y=1) as m from t order by a");
    EXPECT_EQ(inner.MainWhereIndex(), -1);
    EXPECT_EQ(inner.AddCondition("a > 0", false),
              "select a, (select max(b) from u where y=1) as m from t \r\n WHERE a > 0\r\norder by a");
}

TEST(SqlText, RewritesKeepTheOldClauseInBracketsAndTheRestInPlace)
{
    TSQLParser p("select * from t where a = 1 or b = 2 order by a");
    EXPECT_EQ(p.AddCondition("c = 3", false), "select * from t where( a = 1 or b = 2 ) and ( c = 3 ) order by a");
    TSQLParser q("select * from t order by a");
    EXPECT_EQ(q.AddCondition("c = 3", true), "select * from t \r\n WHERE \r\n    c = 3\r\norder by a");
    EXPECT_EQ(q.AddCondition("", true), q.Text);
    // A last word that is part of the condition ends at the text's end.
    TSQLParser r("select * from t where a = b");
    EXPECT_EQ(r.AddCondition("c = 1", false), "select * from t where( a = b ) and ( c = 1 )");

    p.SetText("select * from t where a = 1\r\norder by b");
    EXPECT_EQ(p.SetWhere(1, "x = 2"), "select * from t \r\nWHERE x = 2\r\norder by b");
    EXPECT_EQ(p.SetWhere(1, ""), "select * from t \r\n\r\norder by b");
    EXPECT_EQ(p.SetWhere(5, "x = 2"), p.Text);
    EXPECT_EQ(p.SetOrderBy("c desc"), "select * from t where a = 1\r\nORDER BY c desc");
    EXPECT_EQ(p.SetOrderBy("  "), "select * from t where a = 1\r\n");
    q.SetText("select * from t  ");
    EXPECT_EQ(q.SetOrderBy(" "), "select * from t  ");
    EXPECT_EQ(q.SetOrderBy("a"), "select * from t\r\nORDER BY a");
    EXPECT_EQ(q.SetMainWhere("k = 1"), "select * from t  \r\n WHERE k = 1\r\n");
    int start = 0, end = 0;
    QString clause;
    p.OrderBySection(start, end, clause);
    EXPECT_EQ(clause, " b");   // all behind BY

    p.SetText("select a, b from t where a > 1 order by a");
    EXPECT_EQ(p.CountStatement(), "Select Count(*) from t \r\n WHERE a > 1");
    EXPECT_EQ(TSQLParser("update t set a = 1").CountStatement(), "");
    EXPECT_EQ(InsertFirst("select a from t", 10), "select FIRST 10  a from t");
    EXPECT_EQ(InsertFirst("select first 5 a from t", 10), "select first 5 a from t");
    EXPECT_EQ(InsertFirst("delete from t", 10), "delete from t");
}

TEST(SqlText, TablesOfSelectsWithJoinsAndDerivedTables)
{
    TSQLParser p("select * from AUFTRAEGE a left outer join MESSDATEN m on m.AUFTRAGKEY = a.AUFTRAGKEY "
                 "inner join \"Mixed\" x on x.k = a.k where a.k = 1");
    EXPECT_EQ(p.TableList(false), QStringList({"AUFTRAEGE A", "MESSDATEN M", "\"Mixed\" x"}));
    TSQLParser d("select * from t1, (select * from t2) d, t3");
    EXPECT_EQ(d.TableList(false), QStringList({"T1", "T3"}));
    TSQLParser k("select * from t1, (select * from t2) d, t3");
    EXPECT_EQ(k.TableList(true), QStringList({"T1", "D", "T3"}));
    EXPECT_EQ(TSQLParser("update Messdaten m set a = 1").TableList(false), QStringList({"Messdaten m"}));
    EXPECT_EQ(MainTableName("select * from messdaten m where 1=1", false), "MESSDATEN");
    EXPECT_EQ(MainTableName("insert into Auftraege (a) values (1)", true), "Auftraege");
    EXPECT_EQ(TSQLParser("update T1 x set a = 1").MainTable(), "T1 x");
    EXPECT_EQ(TSQLParser("update T1 set a = 1").MainTable(), "T1");
    EXPECT_EQ(TSQLParser("insert into \"My Table\"(a) values (1)").MainTable(), "\"My Table\"");
    EXPECT_EQ(TSQLParser("delete from T2 where a = 1").MainTable(), "T2");
    EXPECT_EQ(TSQLParser("delete from T2 y where a = 1").MainTable(), "T2 y");
    EXPECT_EQ(TSQLParser("update or insert into T3 (a) values (1) matching (a)").MainTable(), "T3");
    EXPECT_EQ(TSQLParser("insert t values (1)").MainTable(), "Unknown");
}

TEST(SqlText, FreeRoutines)
{
    EXPECT_TRUE(SameIdentifier("", "X"));
    EXPECT_TRUE(SameIdentifier("abc", "ABC"));
    EXPECT_TRUE(SameIdentifier("\"ABC\"", "abc"));
    EXPECT_FALSE(SameIdentifier("\"Abc\"", "abc"));
    EXPECT_TRUE(SameIdentifier("Abc", "\"Abc\""));
    EXPECT_TRUE(SameIdentifier("abc", "\"ABC\""));
    EXPECT_FALSE(SameIdentifier("\"a\"", "\"A\""));

    EXPECT_EQ(RemoveComments("a /* b */c -- d\r\ne '--x' \"/*y*/\""), "a c e '--x' \"/*y*/\"");
    EXPECT_EQ(RemoveComments("a -- unterminated"), "a ");
    EXPECT_EQ(RemoveBracketedParts("a, (x, (y)) z, b", true), "a,  z, b");
    EXPECT_EQ(RemoveBracketedParts("(x) z, b", false), " b");
    EXPECT_EQ(RemoveBracketedParts("a, b(", false), "a");   // unbalanced: no hang, no overrun

    int aliasPos = 0;
    EXPECT_EQ(TableOfFromEntry("auftraege AS a", &aliasPos), "AUFTRAEGE");
    EXPECT_EQ(AliasOfFromEntry("auftraege AS a", &aliasPos), "A");
    EXPECT_EQ(aliasPos, 14);
    EXPECT_EQ(AliasOfFromEntry("\"My T\" m"), "M");
    EXPECT_EQ(TableOfFromEntry("\"My T\" m"), "\"MY T\"");
    EXPECT_EQ(AliasOfFromEntry("t", &aliasPos), "");
    EXPECT_EQ(aliasPos, 0);

    EXPECT_EQ(QualifiedFieldName("Auftraege", "Versuchsnr"), "\"Auftraege\".\"Versuchsnr\"");
    EXPECT_EQ(QualifiedFieldName("Auftraege", "Versuchsnr", 1), "AUFTRAEGE.VERSUCHSNR");
    EXPECT_EQ(QualifiedFieldName("\"T\"", "f", 1), "\"T\".F");

    EXPECT_EQ(ReverseOrder("a, b desc, c asc nulls first, d collate de_de /* x */"),
              "a desc, b, c desc NULLS LAST, d collate de_de desc");
    EXPECT_EQ(ReverseOrder("f(a, b) DESC NULLS LAST"), "f(a, b) NULLS FIRST");

    EXPECT_EQ(JoinsToList("a JOIN b ON a.x = b.x LEFT JOIN c ON c.y = b.y"), "a , b , c ");
    EXPECT_EQ(JoinsToList("a, b"), "a, b");
}

// One SQL statement: named parameters and macros turned into the text the server
// prepares, prepare and describe, execute by statement type, fetch, close.

#include "dbaccess/FIBQuery.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <cstring>

namespace {
const QString CRLF = QStringLiteral("\r\n");

bool IsNameChar(QChar c) { return c.isLetterOrNumber() || c == u'_' || c == u'$'; }
bool IsLineEnd(QChar c) { return c == u'\n' || c == u'\r'; }
bool IsBlank(QChar c) { return c == u' ' || c == u'\t' || IsLineEnd(c); }

// Characters stepped over when looking left from a parameter for its comparison.
bool IsSkippedBeforeParam(QChar c)
{
    switch (c.unicode()) {
    case 0: case 9: case 10: case 13: case 32: case '"': case '(': case '-': case '/': case ';': case '^':
        return true;
    default:
        return false;
    }
}

int ReadVax(IIBClientLibrary* lib, const char* p, int length)
{
    return static_cast<int>(lib->isc_vax_integer(p, static_cast<short>(length)));
}
}  // namespace

// ---------------------------------------------------------------- parsing

TParsedSQL ParseSQLParams(const QString& text, QChar macroChar, bool paramCheck, int parserKind, bool quietOnBadName)
{
    TParsedSQL result;
    QString& out = result.Processed;
    out.reserve(text.size());
    const int n = static_cast<int>(text.size());
    auto at = [&](int i) { return i >= 0 && i < n ? text[i] : QChar(); };
    const bool blockRules = parserKind == skDDL || parserKind == skExecBlock;
    bool bodyReached = false;
    int depth = 0;
    int i = 0;
    while (i < n) {
        const QChar c = text[i];
        // Block comment.
        if (c == u'/' && at(i + 1) == u'*') {
            const qsizetype close = text.indexOf(QStringLiteral("*/"), i + 2);
            if (close < 0)
                RaiseClientErrorText(FIBTexts::EOFInComment);
            out += QStringView(text).mid(i, close + 2 - i);
            i = static_cast<int>(close) + 2;
            continue;
        }
        // Line comment.
        if (c == u'-' && at(i + 1) == u'-') {
            int j = i + 2;
            while (j < n && !IsLineEnd(text[j]))
                ++j;
            out += QStringView(text).mid(i, j - i);
            i = j;
            continue;
        }
        // Quoted text or name; a doubled quote stays inside.
        if (c == u'\'' || c == u'"') {
            int j = i + 1;
            for (;;) {
                if (j >= n)
                    RaiseClientErrorText(FIBTexts::EOFInString);
                if (text[j] == c) {
                    if (at(j + 1) == c) {
                        j += 2;
                        continue;
                    }
                    break;
                }
                ++j;
            }
            out += QStringView(text).mid(i, j + 1 - i);
            i = j + 1;
            continue;
        }
        if (blockRules && !bodyReached) {
            if (c == u'(')
                ++depth;
            else if (c == u')' && --depth < 0)
                bodyReached = true;
            else if (depth == 0 && (c == u'A' || c == u'a') && (at(i + 1) == u'S' || at(i + 1) == u's') &&
                     !IsNameChar(at(i - 1)) && i + 2 < n && IsBlank(text[i + 2]))
                bodyReached = true;
        }
        const bool paramsAllowed = paramCheck && !(blockRules && bodyReached);
        if ((c == u':' || c == u'?') && paramsAllowed) {
            TParsedParam p;
            p.Start = i;
            int j = i + 1;
            if (at(j) == u'"') {
                const qsizetype close = text.indexOf(u'"', j + 1);
                if (close < 0)
                    RaiseClientErrorText(FIBTexts::EOFInString);
                p.Name = text.mid(j + 1, close - j - 1);
                p.NameQuoted = true;
                j = static_cast<int>(close) + 1;
            } else {
                while (j < n && IsNameChar(text[j]))
                    ++j;
                p.Name = text.mid(i + 1, j - i - 1);
                if (p.Name.isEmpty() && c == u':') {
                    if (!quietOnBadName)
                        RaiseClientErrorText(FIBTexts::ParameterNameExpected);
                    out += QStringView(text).mid(i);
                    return result;
                }
            }
            p.End = j;
            int k = j;
            while (k < n && IsBlank(text[k]))
                ++k;
            const QChar op = at(k);
            p.InExpression = op == u'*' || op == u'+' || op == u'|' || (op == u'/' && at(k + 1) != u'*') ||
                             (op == u'-' && at(k + 1) != u'-');
            p.InBlockHead = parserKind == skExecBlock;
            // The comparison in front decides how a null value is written.
            int b = i - 1;
            while (b >= 0 && IsSkippedBeforeParam(text[b]))
                --b;
            const QChar found = at(b), before = at(b - 1);
            if (found == u'=') {
                if (before == u'!' || before == u'^' || before == u'~') {
                    p.NullRewrite = TNullRewrite::IsNotNull;
                    p.OperatorPos = b - 1;
                    p.OperatorLength = 2;
                } else if (before != u'<' && before != u'>') {
                    p.NullRewrite = TNullRewrite::IsNull;
                    p.OperatorPos = b;
                    p.OperatorLength = 1;
                }
            } else if (found == u'>' && before == u'<') {
                p.NullRewrite = TNullRewrite::IsNotNull;
                p.OperatorPos = b - 1;
                p.OperatorLength = 2;
            }
            out += u'?';
            result.Params.push_back(p);
            i = j;
            continue;
        }
        if (c == macroChar && paramCheck) {
            TParsedParam p;
            p.IsMacro = true;
            p.Start = i;
            QString body;
            if (at(i + 1) == macroChar) {
                qsizetype close = text.indexOf(macroChar, i + 2);
                if (close < 0)
                    close = n;
                body = text.mid(i + 2, close - i - 2);
                p.End = static_cast<int>(std::min<qsizetype>(close + 1, n));
            } else {
                int j = i + 1;
                while (j < n && !IsBlank(text[j]))
                    ++j;
                body = text.mid(i + 1, j - i - 1);
                p.End = j;
            }
            const qsizetype percent = body.indexOf(u'%');
            p.Name = percent < 0 ? body : body.left(percent);
            if (!p.Name.startsWith(macroChar))
                p.Name.prepend(macroChar);
            if (percent >= 0) {
                p.MacroDefault = body.mid(percent + 1);
                if (p.MacroDefault.startsWith(u'#')) {
                    p.MacroQuoted = true;
                    p.MacroDefault.remove(0, 1);
                }
            }
            out += QStringView(text).mid(p.Start, p.End - p.Start);
            result.Params.push_back(p);
            i = p.End;
            continue;
        }
        out += c;
        ++i;
    }
    return result;
}

// ---------------------------------------------------------------- TFIBQuery

TFIBQuery::TFIBQuery(TComponent* owner)
    : TComponent(owner),
      fBase(this),
      fServerParams(std::make_unique<TFIBXSQLDA>(this, true)),
      fCurrent(std::make_unique<TFIBXSQLDA>(this, false)),
      fParams(std::make_unique<TFIBXSQLDA>(this, true))
{
    fSQL.OnChanging = [this] { SQLChanging(); };
    fSQL.OnChange = [this] { SQLChanged(); };
    fBase.OnTransactionEnding = [this] {
        TFIBTransaction* tr = Transaction();
        if (tr && (tr->State() == tsDoCommit || tr->State() == tsDoRollback) && Open())
            Close();
        if (TransactionEnding)
            TransactionEnding(this);
    };
    fBase.OnTransactionEnded = [this] {
        if (TransactionEnded)
            TransactionEnded(this);
    };
    fBase.OnDatabaseDisconnecting = [this] {
        try {
            FreeHandle();
        } catch (const EFIBError&) {
            ForgetStatementHandle();
        }
    };
    fBase.OnDatabaseFree = [this] { ForgetStatementHandle(); };
}

TFIBQuery::~TFIBQuery()
{
    MarkDestroying();
    try {
        if (fHandle && Database() && Database()->Connected())
            FreeHandle();
    } catch (...) {
        // A destructor cannot report; the server drops the statement with the connection.
    }
}

void TFIBQuery::SetDatabase(TFIBDatabase* database)
{
    if (database == Database())
        return;
    if (Prepared())
        FreeHandle();
    fBase.SetDatabase(database);
}

void TFIBQuery::SetTransaction(TFIBTransaction* transaction)
{
    if (transaction == Transaction())
        return;
    if (Open())
        Close();
    fBase.SetTransaction(transaction);
}

void TFIBQuery::SetParamCheck(bool value)
{
    if (value == fParamCheck)
        return;
    fParamCheck = value;
    SQLChanging();
    SQLChanged();
}

void TFIBQuery::SetMacroChar(QChar c)
{
    if (c == fMacroChar)
        return;
    fMacroChar = c;
    SQLChanging();
    SQLChanged();
}

IIBClientLibrary* TFIBQuery::Client()
{
    TFIBDatabase* db = Database();
    if (!db)
        RaiseClientError(fibceDatabaseNotAssigned, {Name()}, this);
    return db->ClientLibrary();
}

std::pair<TFIBDatabase*, TFIBTransaction*> TFIBQuery::Connection()
{
    TFIBDatabase* db = Database();
    if (!db)
        RaiseClientError(fibceDatabaseNotAssigned, {Name()}, this);
    TFIBTransaction* tr = Transaction();
    if (!tr)
        RaiseClientError(fibceTransactionNotAssigned, {Name()}, this);
    return {db, tr};
}

int TFIBQuery::Dialect() const { return Database() ? Database()->SQLDialect() : 3; }

void TFIBQuery::Log(const QString& operation, const QString& value, TLogFlag flag)
{
    TFIBDatabase* db = Database();
    if (db && db->SQLLogger)
        db->SQLLogger->WriteData(Name(), operation, value, flag);
}

TTextCoding TFIBQuery::StatementCoding() const
{
    const TFIBDatabase* db = Database();
    return db && db->IsUnicodeConnect() ? TTextCoding::Utf8 : TTextCoding::Win1252;
}

QByteArray TFIBQuery::Encode(const QString& text) const { return EncodeText(text, StatementCoding()); }

QString TFIBQuery::Decode(const QByteArray& bytes) const
{
    return DecodeText(bytes.constData(), static_cast<int>(bytes.size()), StatementCoding());
}

void TFIBQuery::CheckClosed(const QString& operation)
{
    if (Open())
        RaiseClientError(fibceDatasetOpen, {operation, Name()}, this);
}

void TFIBQuery::CheckOpen(const QString& operation)
{
    if (!Open())
        RaiseClientError(fibceDatasetClosed, {operation, Name()}, this);
}

void TFIBQuery::SQLChanging()
{
    CheckClosed(QStringLiteral("change sql text"));
    if (OnSQLChanging)
        OnSQLChanging(this);
    if (fHandle)
        FreeHandle();
    fLifecycle = TLifecycle::Unprepared;
    fSQLType = SQLUnknown;
    fNullStateChanged = false;
    fMacroChanged = false;
    fOriginsFilled = false;
}

void TFIBQuery::SQLChanged()
{
    const QString text = fSQL.Text();
    fParser.SetText(text);
    ParseParams();
}

// Collects the parameters of the user's text into Params, keeping the values of
// parameters whose names come again.
void TFIBQuery::ParseParams()
{
    const QString text = fSQL.Text();
    TParsedSQL parsed;
    if (fParamCheck)
        parsed = ParseSQLParams(text, fMacroChar, true, fParser.Kind, IsDesigning());
    else
        parsed.Processed = text;
    fProcessedSQL = parsed.Processed;

    // Old values by name.
    auto old = std::make_unique<TFIBXSQLDA>(this, true);
    std::swap(old, fParams);
    fParams->SetCount(static_cast<int>(parsed.Params.size()));
    for (int i = 0; i < fParams->Count(); ++i) {
        const TParsedParam& p = parsed.Params[static_cast<std::size_t>(i)];
        TFIBXSQLVAR& v = (*fParams)[i];
        v.fName = p.Name;
        v.fIsMacro = p.IsMacro;
        v.fMacroQuoted = p.MacroQuoted;
        v.fStartPos = p.Start;
        v.fEndPos = p.End;
        v.fInExpression = p.InExpression;
        v.fInBlockHead = p.InBlockHead;
        v.fNameQuoted = p.NameQuoted;
        v.fNullRewrite = p.NullRewrite;
        v.fOperatorPos = p.OperatorPos;
        v.fOperatorLength = p.OperatorLength;
        XSQLVAR* e = v.fXSQLVAR;
        if (p.IsMacro) {
            v.fStoredValue = p.MacroDefault;
            continue;
        }
        // An unset parameter is null and untyped.
        e->sqltype = 1;
        e->sqlind = &fParams->fBuffers[static_cast<std::size_t>(i)]->indicator;
        *e->sqlind = -1;
    }
    fParams->RebuildNameIndex();
    for (int i = 0; i < fParams->Count(); ++i) {
        TFIBXSQLVAR& v = (*fParams)[i];
        TFIBXSQLVAR* was = v.fName.isEmpty() ? nullptr : old->ByName(v.fName);
        if (!was || was->fIsMacro != v.fIsMacro)
            continue;
        if (v.fIsMacro) {
            if (was->fModified) {
                v.fStoredValue = was->fStoredValue;
                v.fModified = true;
            }
            continue;
        }
        if (!was->fModified)
            continue;
        XSQLVAR* e = v.fXSQLVAR;
        const XSQLVAR* we = was->fXSQLVAR;
        e->sqltype = static_cast<short>(we->sqltype | 1);
        e->sqlscale = we->sqlscale;
        e->sqlsubtype = we->sqlsubtype;
        e->sqllen = we->sqllen;
        if (we->sqldata) {
            fParams->AllocBuffer(i, std::max<int>(we->sqllen + (((we->sqltype & ~1) == SQL_VARYING) ? 2 : 0), 1));
            std::memcpy(e->sqldata, we->sqldata,
                        static_cast<std::size_t>(std::max<int>(we->sqllen + (((we->sqltype & ~1) == SQL_VARYING) ? 2 : 0), 1)));
        }
        e->sqlind = &fParams->fBuffers[static_cast<std::size_t>(i)]->indicator;
        *e->sqlind = was->IsNull() ? -1 : 0;
        v.fStream = was->fStream;
        v.fHasStream = was->fHasStream;
        v.fModified = true;
    }
}

QString TFIBQuery::SubstitutedText(bool forServer)
{
    const QString text = fSQL.Text();
    QString out;
    out.reserve(text.size());
    int cursor = 0;
    const bool forceIsNull = !HasOption(qoNoForceIsNull);
    for (int i = 0; i < fParams->Count(); ++i) {
        TFIBXSQLVAR& v = (*fParams)[i];
        if (v.fIsMacro) {
            QString value = v.fStoredValue.toString();
            if (v.fMacroQuoted && !value.startsWith(u'\''))
                value = u'\'' + value + u'\'';
            out += QStringView(text).mid(cursor, v.fStartPos - cursor);
            out += value;
            cursor = v.fEndPos;
            if (forServer)
                v.fMacroAtPrepare = v.fStoredValue.toString();
            continue;
        }
        if (forServer)
            v.fNullAtPrepare = v.IsNull();
        if (forceIsNull && v.NullStateMatters() && v.IsNull() && v.fOperatorPos >= cursor) {
            out += QStringView(text).mid(cursor, v.fOperatorPos - cursor);
            out += v.fNullRewrite == TNullRewrite::IsNull ? QStringLiteral(" IS NULL ") : QStringLiteral(" IS NOT NULL ");
            out += QStringView(text).mid(v.fOperatorPos + v.fOperatorLength,
                                         v.fStartPos - v.fOperatorPos - v.fOperatorLength);
            cursor = v.fEndPos;
            v.fServerIndex = -1;
        }
    }
    out += QStringView(text).mid(cursor);
    return out;
}

bool TFIBQuery::MustRebuild() const
{
    if (!Prepared() || fMacroChanged || fNullStateChanged)
        return true;
    const bool forceIsNull = !HasOption(qoNoForceIsNull);
    for (int i = 0; i < fParams->Count(); ++i) {
        const TFIBXSQLVAR& v = (*fParams)[i];
        if (v.fIsMacro) {
            if (v.fStoredValue.toString() != v.fMacroAtPrepare)
                return true;
        } else if (forceIsNull && v.NullStateMatters() && v.IsNull() != v.fNullAtPrepare) {
            return true;
        }
    }
    return false;
}

// Text for the server and the server's parameter list, mapped onto Params.
void TFIBQuery::BuildServerText()
{
    for (int i = 0; i < fParams->Count(); ++i)
        (*fParams)[i].fServerIndex = -1;
    const QString substituted = fParamCheck ? SubstitutedText(true) : fSQL.Text();
    TParsedSQL parsed;
    if (fParamCheck)
        parsed = ParseSQLParams(substituted, fMacroChar, true, fParser.Kind);
    else
        parsed.Processed = substituted;
    fProcessedSQL = parsed.Processed;
    fServerSQL = Encode(fProcessedSQL);

    const int count = static_cast<int>(parsed.Params.size());
    fServerParams->SetCount(count);
    // Server parameters find their value by name; unnamed ones by their order.
    std::vector<int> unnamed;
    for (int i = 0; i < fParams->Count(); ++i)
        if (!(*fParams)[i].fIsMacro && (*fParams)[i].fName.isEmpty())
            unnamed.push_back(i);
    std::size_t nextUnnamed = 0;
    for (int k = 0; k < count; ++k) {
        const TParsedParam& p = parsed.Params[static_cast<std::size_t>(k)];
        if (p.IsMacro)
            continue;
        int target = -1;
        if (p.Name.isEmpty()) {
            if (nextUnnamed < unnamed.size())
                target = unnamed[nextUnnamed++];
        } else {
            for (int i = 0; i < fParams->Count(); ++i) {
                TFIBXSQLVAR& v = (*fParams)[i];
                if (!v.fIsMacro && v.fName == p.Name && v.fServerIndex < 0) {
                    target = i;
                    break;
                }
            }
            if (target < 0)
                target = fParams->IndexOf(p.Name);
        }
        if (target < 0) {
            // A parameter brought in by a macro value.
            target = fParams->Count();
            fParams->SetCount(target + 1);
            TFIBXSQLVAR& v = (*fParams)[target];
            v.fName = p.Name;
            v.fXSQLVAR->sqltype = 1;
            v.fXSQLVAR->sqlind = &fParams->fBuffers[static_cast<std::size_t>(target)]->indicator;
            *v.fXSQLVAR->sqlind = -1;
            fParams->RebuildNameIndex();
        }
        if ((*fParams)[target].fServerIndex < 0)
            (*fParams)[target].fServerIndex = k;
        fServerParams->fVars[static_cast<std::size_t>(k)]->fName = p.Name;
        fServerParamOf.resize(static_cast<std::size_t>(count));
        fServerParamOf[static_cast<std::size_t>(k)] = target;
    }
    fServerParamOf.resize(static_cast<std::size_t>(count));
    fNullStateChanged = false;
    fMacroChanged = false;
}

void TFIBQuery::Prepare()
{
    if (Open())
        Close();
    TFIBTransaction* tr = Transaction();
    if (HasOption(qoStartTransaction) && tr && !tr->Active())
        tr->StartTransaction();
    if (MustRebuild()) {
        BuildServerText();
        if (fHandle)
            FreeHandle();
    }
    if (!Prepared())
        DoPrepare();
}

void TFIBQuery::DoPrepare()
{
    const auto [db, tr] = Connection();
    IIBClientLibrary* lib = Client();
    fOrigins.clear();
    fOriginsFilled = false;
    if (fProcessedSQL.trimmed().isEmpty())
        RaiseClientError(fibceEmptyQuery, {QStringLiteral("Prepare")}, this);
    if (!tr->Active())
        tr->StartTransaction();
    try {
        db->CheckActive();
        tr->Call(lib->isc_dsql_alloc_statement2(StatusVector(), db->HandlePtr(), &fHandle), true);
        fCurrent->SetCount(1);
        tr->Call(lib->isc_dsql_prepare(StatusVector(), tr->HandlePtr(), &fHandle, 0, fServerSQL.constData(),
                                       static_cast<unsigned short>(Dialect()), fCurrent->AsXSQLDA()),
                 true);
        // Statement type.
        const char typeItem[] = {isc_info_sql_stmt_type};
        char answer[8] = {};
        tr->Call(lib->isc_dsql_sql_info(StatusVector(), &fHandle, 1, typeItem, sizeof answer, answer), true);
        if (answer[0] != isc_info_sql_stmt_type)
            RaiseClientError(fibceUnknownError, {}, this);
        const int length = ReadVax(lib, answer + 1, 2);
        fSQLType = static_cast<TFIBSQLTypes>(ReadVax(lib, answer + 3, std::clamp(length, 0, 4)));

        if (fSQLType == SQLSelectForUpdate) {
            SetCursorName();
            const QByteArray name = fCursorName.toLatin1();
            tr->Call(lib->isc_dsql_set_cursor_name(StatusVector(), &fHandle, name.constData(), 0), true);
        }
        switch (fSQLType) {
        case SQLUnknown:
        case SQLDDL:
        case SQLCommit:
        case SQLRollback:
            fCurrent->SetCount(0);
            break;
        case SQLGetSegment:
        case SQLPutSegment:
        case SQLStartTransaction:
            RaiseClientError(fibceNotPermitted, {}, this);
        default:
            DescribeParams();
            DescribeColumns();
            break;
        }
    } catch (const Exception& e) {
        if (fHandle)
            CallKeepingStatus([&] { lib->isc_dsql_free_statement(StatusVector(), &fHandle, DSQL_drop); });
        fHandle = 0;
        fLifecycle = TLifecycle::Unprepared;
        fSQLType = SQLUnknown;
        Log(QStringLiteral("Error on Prepare:"), e.Message(), lfQPrepare);
        throw;
    }
    fLifecycle = TLifecycle::Prepared;
    Log(QStringLiteral("Prepare:"), fSQL.Text(), lfQPrepare);
}

void TFIBQuery::SetCursorName()
{
    if (!fCursorName.isEmpty())
        return;
    static const char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    for (int i = 0; i < 10; ++i)
        fCursorName += QChar::fromLatin1(letters[QRandomGenerator::global()->bounded(26)]);
}

void TFIBQuery::DescribeParams()
{
    IIBClientLibrary* lib = Client();
    TFIBTransaction* tr = Transaction();
    const int wanted = fServerParams->Count();
    XSQLDA* da = fServerParams->AsXSQLDA();
    da->sqln = static_cast<ISC_SHORT>(wanted);
    tr->Call(lib->isc_dsql_describe_bind(StatusVector(), &fHandle, static_cast<unsigned short>(Dialect()), da), true);
    if (da->sqld > da->sqln) {
        const int serverCount = da->sqld;
        fServerParams->SetCount(serverCount);
        fServerParamOf.resize(static_cast<std::size_t>(serverCount), -1);
        da = fServerParams->AsXSQLDA();
        tr->Call(lib->isc_dsql_describe_bind(StatusVector(), &fHandle, static_cast<unsigned short>(Dialect()), da),
                 true);
    }
    const int described = da->sqld;
    fServerParams->SetCount(described);
    fServerParamOf.resize(static_cast<std::size_t>(described), -1);
    da = fServerParams->AsXSQLDA();
    da->sqld = static_cast<ISC_SHORT>(described);
    fServerParams->Initialize();
    // The user's variables learn the server's types; those never written take the
    // described type as an empty null value.
    for (int k = 0; k < described; ++k) {
        const int p = fServerParamOf[static_cast<std::size_t>(k)];
        if (p < 0 || p >= fParams->Count())
            continue;
        TFIBXSQLVAR& s = (*fServerParams)[k];
        for (int i : std::vector<int>{p}) {
            TFIBXSQLVAR& v = (*fParams)[i];
            const bool wasDescribed = v.fServerSQLType != 0;
            v.fServerSQLType = s.fServerSQLType;
            v.fServerSQLLen = s.fServerSQLLen;
            v.fServerSQLSubtype = s.fServerSQLSubtype;
            v.fServerSQLScale = s.fServerSQLScale;
            v.fTextCoding = s.fTextCoding;
            v.fDescribed = true;
            if (v.fModified && !wasDescribed && !v.fHasStream) {
                // Written before the server told the type: text is written again
                // under the text rules of that type, and a boolean written as a
                // small integer becomes a boolean.
                if (v.fHasWideValue)
                    v.WriteString(v.fWideValue);
                else if (v.fServerSQLType == SQL_BOOLEAN && v.SQLType() == SQL_SHORT && !v.IsNull())
                    v.SetAsBoolean(v.AsInteger() == 1);
            }
            if (v.fModified)
                continue;
            XSQLVAR* e = v.fXSQLVAR;
            const XSQLVAR* se = s.fXSQLVAR;
            e->sqltype = static_cast<short>(se->sqltype | 1);
            e->sqllen = se->sqllen;
            e->sqlscale = se->sqlscale;
            e->sqlsubtype = se->sqlsubtype;
            const short type = static_cast<short>(se->sqltype & ~1);
            if (type != SQL_NULL)
                fParams->AllocBuffer(i, std::max<int>(se->sqllen + (type == SQL_VARYING ? 2 : 0), 1));
            e->sqlind = &fParams->fBuffers[static_cast<std::size_t>(i)]->indicator;
            *e->sqlind = -1;
        }
    }
}

void TFIBQuery::DescribeColumns()
{
    IIBClientLibrary* lib = Client();
    TFIBTransaction* tr = Transaction();
    if (fSQLType == SQLSelect || fSQLType == SQLSelectForUpdate || fSQLType == SQLExecProcedure) {
        XSQLDA* da = fCurrent->AsXSQLDA();
        const int count = da->sqld;
        if (count > da->sqln) {
            fCurrent->SetCount(count);
            da = fCurrent->AsXSQLDA();
            tr->Call(lib->isc_dsql_describe(StatusVector(), &fHandle, static_cast<unsigned short>(Dialect()), da),
                     true);
        } else {
            fCurrent->SetCount(count);
            if (count > 0) {
                // The block of one entry was filled by the prepare itself.
            }
        }
    } else {
        fCurrent->SetCount(0);
    }
    fCurrent->Initialize();
    fCurrent->NoRow = true;
}

void TFIBQuery::ResetOutput()
{
    fCurrent->NoRow = true;
}

bool TFIBQuery::ServerInput(XSQLDA*& in)
{
    in = nullptr;
    // As an execute does: the text may change with the parameters' nulls.
    if ((fParamCheck && fParams->Count() > 0) || !Prepared())
        Prepare();
    if (fBlobsToWrite || !fHandle)
        return false;
    CopyParamsToServer();
    if (fServerParams->Count() > 0)
        in = fServerParams->AsXSQLDA();
    return true;
}

void TFIBQuery::CopyParamsToServer()
{
    for (int k = 0; k < fServerParams->Count(); ++k) {
        const int p = k < static_cast<int>(fServerParamOf.size()) ? fServerParamOf[static_cast<std::size_t>(k)] : -1;
        TFIBXSQLVAR& s = (*fServerParams)[k];
        XSQLVAR* se = s.fXSQLVAR;
        TFIBXSQLDA::TBuffer& own = *fServerParams->fBuffers[static_cast<std::size_t>(k)];
        se->sqlind = &own.indicator;
        const TFIBXSQLVAR* v = p >= 0 && p < fParams->Count() ? &(*fParams)[p] : nullptr;
        if (!v || v->IsNull() || !v->fXSQLVAR->sqldata) {
            // Null: the described type with the null indicator.
            se->sqltype = static_cast<short>(s.fServerSQLType | 1);
            se->sqllen = s.fServerSQLLen;
            se->sqlscale = s.fServerSQLScale;
            se->sqlsubtype = s.fServerSQLSubtype;
            se->sqldata = own.data.get();
            own.indicator = -1;
            continue;
        }
        const XSQLVAR* ve = v->fXSQLVAR;
        se->sqltype = static_cast<short>(ve->sqltype | 1);
        se->sqllen = ve->sqllen;
        se->sqlscale = ve->sqlscale;
        se->sqlsubtype = ve->sqlsubtype;
        se->sqldata = ve->sqldata;
        own.indicator = 0;
    }
}

void TFIBQuery::WriteBlobParams()
{
    TFIBDatabase* db = Database();
    TFIBTransaction* tr = Transaction();
    IIBClientLibrary* lib = Client();
    for (int i = 0; i < fParams->Count(); ++i) {
        TFIBXSQLVAR& v = (*fParams)[i];
        if (!v.fHasStream || v.fIsMacro)
            continue;
        isc_blob_handle blob = 0;
        ISC_QUAD id{};
        tr->Call(lib->isc_create_blob2(StatusVector(), db->HandlePtr(), tr->HandlePtr(), &blob, &id, 0, nullptr),
                 true);
        const QByteArray& data = v.fStream;
        constexpr qsizetype Segment = 32768;
        for (qsizetype at = 0; at < data.size(); at += Segment) {
            const auto length = static_cast<unsigned short>(std::min(Segment, data.size() - at));
            const ISC_STATUS rc = lib->isc_put_segment(StatusVector(), &blob, length, data.constData() + at);
            if (rc) {
                CallKeepingStatus([&] { lib->isc_close_blob(StatusVector(), &blob); });
                tr->Call(rc, true);
            }
        }
        tr->Call(lib->isc_close_blob(StatusVector(), &blob), true);
        std::memcpy(v.fXSQLVAR->sqldata, &id, sizeof id);
        if (v.fXSQLVAR->sqlind)
            *v.fXSQLVAR->sqlind = 0;
    }
}

QString TFIBQuery::ParamsLogText() const
{
    QString text;
    for (int i = 0; i < fParams->Count(); ++i) {
        const TFIBXSQLVAR& v = (*fParams)[i];
        const short t = v.SQLType();
        text += CRLF + QStringLiteral("Params[") + QString::number(i) + u']';
        if (t == SQL_BLOB || t == SQL_ARRAY)
            text += QStringLiteral("=(") + (t == SQL_BLOB ? QStringLiteral("BLOB") : QStringLiteral("ARRAY")) + u')';
        else if (v.fIsMacro)
            text += QStringLiteral("='") + v.fStoredValue.toString() + u'\'';
        else
            text += QStringLiteral("='") + (v.IsNull() ? QStringLiteral("<NULL>") : v.AsString()) + u'\'';
    }
    return text;
}

void TFIBQuery::CallSQLExecuted(TSQLExecutedStep step)
{
    if (TFIBTransaction* tr = Transaction())
        tr->SQLExecuted(this, step);
}

void TFIBQuery::ExecuteImmediate()
{
    const auto [db, tr] = Connection();
    if (HasOption(qoStartTransaction) && !tr->Active())
        tr->StartTransaction();
    if (!tr->Active())
        RaiseClientError(fibceNotInTransaction, {tr->Name()}, this);
    BuildServerText();
    if (fProcessedSQL.trimmed().isEmpty())
        RaiseClientError(fibceEmptyQuery, {QStringLiteral("execute")}, this);
    IIBClientLibrary* lib = Client();
    tr->Call(lib->isc_dsql_execute_immediate(StatusVector(), db->HandlePtr(), tr->HandlePtr(), 0,
                                             fServerSQL.constData(), static_cast<unsigned short>(Dialect()), nullptr),
             true);
    Log(QStringLiteral("Execute immediate:"), fProcessedSQL, lfQExecute);
}

void TFIBQuery::ExecQuery()
{
    fInExecute = true;
    const auto executeEnded = qScopeGuard([this] { fInExecute = false; });
    fFirstFetchDone = false;

    if (fSQLType == SQLUnknown && !Prepared() && fParser.Kind == skDDL) {
        ExecuteImmediate();
        return;
    }
    if (BeforeExecute)
        BeforeExecute(this);
    TFIBTransaction* tr = Transaction();
    if (!tr)
        RaiseClientError(fibceTransactionNotAssigned, {Name()}, this);
    ResetOutput();
    bool startedHere = false;
    if (HasOption(qoStartTransaction) && !tr->Active()) {
        tr->StartTransaction();
        startedHere = true;
    }
    CallSQLExecuted(TSQLExecutedStep::BeforeExecute);
    if ((fParamCheck && fParams->Count() > 0) || !Prepared())
        Prepare();
    if (!tr->Active())
        RaiseClientError(fibceNotInTransaction, {tr->Name()}, this);
    if (fBlobsToWrite) {
        WriteBlobParams();
    }
    if (!fHandle && fSQLType != SQLCommit && fSQLType != SQLRollback)
        RaiseClientError(fibceInvalidStatementHandle, {Name()}, this);
    CopyParamsToServer();
    XSQLDA* in = fServerParams->Count() > 0 ? fServerParams->AsXSQLDA() : nullptr;
    IIBClientLibrary* lib = Client();
    const unsigned short dialect = static_cast<unsigned short>(Dialect());
    QElapsedTimer timer;
    timer.start();
    try {
        switch (fSQLType) {
        case SQLSelect:
        case SQLSelectForUpdate:
            if (Open())
                Close();
            tr->Call(lib->isc_dsql_execute(StatusVector(), tr->HandlePtr(), &fHandle, dialect, in), true);
            fLifecycle = TLifecycle::Open;
            fFetchFailure = nullptr;
            fRecordCount = 0;
            ResetOutput();
            break;
        case SQLExecProcedure:
            tr->Call(lib->isc_dsql_execute2(StatusVector(), tr->HandlePtr(), &fHandle, dialect, in,
                                            fCurrent->Count() > 0 ? fCurrent->AsXSQLDA() : nullptr),
                     true);
            fCurrent->NoRow = false;
            break;
        case SQLCommit:
            tr->Commit();
            break;
        case SQLRollback:
            tr->Rollback();
            break;
        default:
            tr->Call(lib->isc_dsql_execute(StatusVector(), tr->HandlePtr(), &fHandle, dialect, in), true);
            break;
        }
    } catch (const Exception& e) {
        if (Database() && Database()->SQLLogger)
            Log(QStringLiteral("Error on execute query. Error message: \"") + e.Message() + u'"',
                fSQL.Text() + ParamsLogText(), lfQExecute);
        throw;
    }
    fExecutionTime = timer.elapsed();
    if (Database() && Database()->SQLLogger)
        Log(QStringLiteral("Execute query:"),
            fSQL.Text() + ParamsLogText() + CRLF + QStringLiteral("TrID=") + QString::number(tr->TransactionID()),
            lfQExecute);
    fBlobsToWrite = false;
    for (int i = 0; i < fParams->Count(); ++i)
        (*fParams)[i].fHasStream = false;

    CallSQLExecuted(TSQLExecutedStep::AfterExecute);
    if (AfterExecute)
        AfterExecute(this);
    if (GoToFirstRecordOnExecute && Open())
        Next();
    if (HasOption(qoAutoCommit) && fSQLType != SQLSelect && fSQLType != SQLSelectForUpdate && tr->Active()) {
        // A transaction this query started for itself is ended; one that was
        // running before keeps its context.
        if (startedHere)
            tr->Commit();
        else
            tr->CommitRetaining();
    }
    if (!Open() && HasOption(qoFreeHandleAfterExecute))
        FreeHandle();
}

TFIBXSQLDA* TFIBQuery::Next()
{
    if (fFetchFailure)
        std::rethrow_exception(fFetchFailure);
    if (fLifecycle == TLifecycle::AtEnd)
        return nullptr;
    // Fetching needs an open cursor, also after the handle was freed.
    CheckOpen(QStringLiteral("fetch next record"));
    if (OnSQLFetch) {
        bool stop = false;
        OnSQLFetch(this, fRecordCount, stop);
        if (stop && !IsDesigning())
            return nullptr;
    }
    if (!fHandle)
        RaiseClientError(fibceInvalidStatementHandle, {Name()}, this);
    IIBClientLibrary* lib = Database()->ClientLibrary();
    TFIBTransaction* tr = Transaction();
    if (!tr)
        RaiseClientError(fibceTransactionNotAssigned, {Name()}, this);
    // A fetch is activity like any other call: it keeps the transaction from its
    // time-out and the connection from its idle close. The codes 100 and the
    // cursor error are answers here, not failures, so the check does not raise.
    const ISC_STATUS rc = tr->Call(
        lib->isc_dsql_fetch(StatusVector(), &fHandle, static_cast<unsigned short>(Dialect()), fCurrent->AsXSQLDA()),
        false);
    TFIBXSQLDA* answer = nullptr;
    if (rc == 0) {
        ++fRecordCount;
        fCurrent->NoRow = false;
        answer = fCurrent.get();
    } else if (rc == 100 || CheckStatusVector({isc_dsql_cursor_err})) {
        fLifecycle = TLifecycle::AtEnd;
    } else {
        try {
            tr->Call(rc, true);
        } catch (...) {
            fFetchFailure = std::current_exception();
            throw;
        }
    }
    if (Database()->SQLLogger) {
        QStringList lines;
        if (answer)
            for (int i = 0; i < fCurrent->Count(); ++i) {
                const TFIBXSQLVAR& v = (*fCurrent)[i];
                lines << v.Name() + QStringLiteral(" = ") + (v.IsNull() ? QStringLiteral("NULL") : v.AsString());
            }
        if (Eof())
            lines << QStringLiteral("  End of file reached");
        Log(QStringLiteral("Fetch:"), lines.join(CRLF), lfQFetch);
    }
    if (!fFirstFetchDone) {
        fFirstFetchDone = true;
        CallSQLExecuted(TSQLExecutedStep::AfterFirstFetch);
        if (AfterFirstFetch)
            AfterFirstFetch(this);
    }
    return answer;
}

void TFIBQuery::Close()
{
    fInClose = true;
    const auto closeEnded = qScopeGuard([this] { fInClose = false; });
    if (fHandle && Open() && (fSQLType == SQLSelect || fSQLType == SQLSelectForUpdate)) {
        CallSQLExecuted(TSQLExecutedStep::CursorClose);
        TFIBDatabase* db = Database();
        if (db && db->Connected()) {
            IIBClientLibrary* lib = db->ClientLibrary();
            CheckClientCall(lib->isc_dsql_free_statement(StatusVector(), &fHandle, DSQL_close), lib, this,
                            {isc_bad_stmt_handle, isc_dsql_cursor_close_err});
        }
    }
    fFetchFailure = nullptr;
    // A handle freed meanwhile leaves the statement unprepared.
    if (Open())
        fLifecycle = TLifecycle::Prepared;
    fFirstFetchDone = false;
    ResetOutput();
    if (HasOption(qoFreeHandleAfterExecute) && !fInExecute)
        FreeHandle();
}

void TFIBQuery::FreeHandle()
{
    fLifecycle = TLifecycle::Unprepared;
    fCurrent->SetCount(0);
    if (fHandle) {
        TFIBDatabase* db = Database();
        if (db && db->Connected()) {
            IIBClientLibrary* lib = db->ClientLibrary();
            const ISC_STATUS rc = lib->isc_dsql_free_statement(StatusVector(), &fHandle, DSQL_drop);
            // Freed or not, the handle is not used again.
            fHandle = 0;
            CheckClientCall(rc, lib, this, {isc_bad_stmt_handle});
        }
    }
    fHandle = 0;
}

void TFIBQuery::ForgetStatementHandle()
{
    fHandle = 0;
    fLifecycle = TLifecycle::Unprepared;
    fFetchFailure = nullptr;
}

TFIBXSQLVAR& TFIBQuery::Fields(int index)
{
    if (index < 0 || index >= fCurrent->Count())
        RaiseClientError(fibceFieldNotFound, {QStringLiteral("Field No: ") + QString::number(index)}, this);
    return (*fCurrent)[index];
}

void TFIBQuery::RowCounts(int& selects, int& inserts, int& updates, int& deletes)
{
    selects = inserts = updates = deletes = 0;
    if (!fHandle)
        RaiseClientError(fibceInvalidStatementHandle, {Name()}, this);
    IIBClientLibrary* lib = Client();
    const char item[] = {isc_info_sql_records};
    QByteArray buffer(256, 0);
    for (int attempt = 0; attempt < 2; ++attempt) {
        Transaction()->Call(lib->isc_dsql_sql_info(StatusVector(), &fHandle, 1, item,
                                                   static_cast<short>(buffer.size()), buffer.data()),
                            true);
        if (buffer[0] == isc_info_end)
            return;
        const int length = ReadVax(lib, buffer.constData() + 1, 2);
        if (buffer[0] == isc_info_truncated || length + 3 > buffer.size()) {
            buffer.fill(0, std::min(length + 16, 32000));
            continue;
        }
        break;
    }
    if (buffer[0] != isc_info_sql_records)
        return;
    int pos = 3;
    while (pos + 3 <= buffer.size() && buffer[pos] != isc_info_end) {
        const char cluster = buffer[pos];
        const int len = ReadVax(lib, buffer.constData() + pos + 1, 2);
        if (pos + 3 + len > buffer.size())
            break;
        const int value = ReadVax(lib, buffer.constData() + pos + 3, len);
        switch (cluster) {
        case isc_info_req_select_count:
            selects = value;
            break;
        case isc_info_req_insert_count:
            inserts = value;
            break;
        case isc_info_req_update_count:
            updates = value;
            break;
        case isc_info_req_delete_count:
            deletes = value;
            break;
        default:
            break;
        }
        pos += 3 + len;
    }
}

int TFIBQuery::RowsAffected()
{
    int s, i, u, d;
    RowCounts(s, i, u, d);
    switch (fSQLType) {
    case SQLInsert:
        return i;
    case SQLUpdate:
        return u;
    case SQLDelete:
        return d;
    case SQLSelect:
        return s;
    default:
        return s + i + u + d;
    }
}

int TFIBQuery::StatementChangedRows()
{
    // A statement run without a handle (directly executed text) has no counts to give.
    if (!fHandle)
        return 0;
    int s, i, u, d;
    RowCounts(s, i, u, d);
    return i + u + d;
}

QString TFIBQuery::Plan()
{
    if (!Prepared() || !fHandle)
        return {};
    switch (fSQLType) {
    case SQLSelect:
    case SQLInsert:
    case SQLUpdate:
    case SQLDelete:
    case SQLExecProcedure:
    case SQLSelectForUpdate:
        break;
    default:
        return {};
    }
    IIBClientLibrary* lib = Client();
    const char item[] = {isc_info_sql_get_plan};
    for (int size = 16384; size <= 65000; size *= 2) {
        QByteArray buffer(size, 0);
        Transaction()->Call(lib->isc_dsql_sql_info(StatusVector(), &fHandle, 1, item,
                                                   static_cast<short>(std::min(size, 32767)), buffer.data()),
                            true);
        if (buffer[0] == isc_info_truncated)
            continue;
        if (buffer[0] != isc_info_sql_get_plan)
            return {};
        const int length = std::min(ReadVax(lib, buffer.constData() + 1, 2), size - 3);
        QString text = Decode(buffer.mid(3, length));
        int start = 0;
        while (start < text.size() && text[start].unicode() <= 32)
            ++start;
        return text.mid(start);
    }
    return {};
}

void TFIBQuery::FillOrigins()
{
    fOriginsFilled = true;
    const int count = fCurrent->Count();
    fOrigins.assign(static_cast<std::size_t>(count), QString());
    if (!Prepared() || !fHandle || count == 0)
        return;
    std::vector<QString> aliases(static_cast<std::size_t>(count));
    TFIBDatabase* db = Database();
    bool answered = false;
    if (db && db->ServerMajorVersion() >= 2) {
        IIBClientLibrary* lib = Client();
        const char items[] = {isc_info_sql_select, isc_info_sql_describe_vars, isc_info_sql_sqlda_seq,
                              isc_info_sql_relation_alias, isc_info_sql_describe_end};
        QByteArray buffer(32766, 0);
        Transaction()->Call(lib->isc_dsql_sql_info(StatusVector(), &fHandle, sizeof items, items,
                                                   static_cast<short>(buffer.size()), buffer.data()),
                            true);
        int pos = 0;
        int seq = 0;
        while (pos < buffer.size()) {
            const char item = buffer[pos++];
            if (item == isc_info_end || item == isc_info_truncated)
                break;
            if (item == isc_info_sql_select || item == isc_info_sql_describe_end)
                continue;
            if (pos + 2 > buffer.size())
                break;
            const int len = ReadVax(lib, buffer.constData() + pos, 2);
            pos += 2;
            if (len < 0 || pos + len > buffer.size())
                break;
            if (item == isc_info_sql_sqlda_seq)
                seq = ReadVax(lib, buffer.constData() + pos, len);
            else if (item == isc_info_sql_relation_alias && seq >= 1 && seq <= count) {
                aliases[static_cast<std::size_t>(seq - 1)] = Decode(buffer.mid(pos, len)).trimmed();
                answered = answered || len > 0;
            }
            pos += len;
        }
    }
    QStringList tables;
    if (!answered)
        tables = fParser.TableList(false);
    for (int i = 0; i < count; ++i) {
        const TFIBXSQLVAR& v = (*fCurrent)[i];
        const QString relation = v.RelationName();
        const QString field = v.SqlName();
        if (relation.isEmpty() || field.isEmpty())
            continue;
        QString alias = aliases[static_cast<std::size_t>(i)];
        if (alias.isEmpty()) {
            alias = relation;
            for (const QString& entry : tables)
                if (SameIdentifier(TableOfFromEntry(entry), relation)) {
                    const QString a = AliasOfFromEntry(entry);
                    if (!a.isEmpty())
                        alias = a;
                    break;
                }
        }
        fOrigins[static_cast<std::size_t>(i)] = (alias + u'.' + field).left(32);
    }
}

QString TFIBQuery::FieldOrigin(int index)
{
    if (!fOriginsFilled || static_cast<int>(fOrigins.size()) != fCurrent->Count())
        FillOrigins();
    if (index < 0 || index >= static_cast<int>(fOrigins.size()))
        return {};
    return fOrigins[static_cast<std::size_t>(index)];
}

QString TFIBQuery::FieldOrigin(const QString& name) { return FieldOrigin(FieldIndex(name)); }

void TFIBQuery::ExecWP(const QList<QVariant>& values)
{
    std::vector<int> positions;
    for (int i = 0; i < fParams->Count(); ++i) {
        const TFIBXSQLVAR& v = (*fParams)[i];
        if (v.fIsMacro)
            continue;
        if (!v.fName.isEmpty() && fParams->IndexOf(v.fName) != i)
            continue;
        positions.push_back(i);
    }
    if (static_cast<int>(positions.size()) != values.size())
        RaiseClientErrorText(FIBTexts::ParameterCountMismatch, {Name()}, this);
    for (std::size_t k = 0; k < positions.size(); ++k)
        (*fParams)[positions[k]].SetAsVariant(values[static_cast<qsizetype>(k)]);
    ExecQuery();
}

void TFIBQuery::ExecWP(const QStringList& names, const QList<QVariant>& values)
{
    if (names.size() != values.size())
        RaiseClientErrorText(FIBTexts::ParameterCountMismatch, {Name()}, this);
    for (qsizetype k = 0; k < names.size(); ++k)
        ParamByName(names[k]).SetAsVariant(values[k]);
    ExecQuery();
}

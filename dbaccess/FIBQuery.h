#pragma once
// One SQL statement (TFIBQuery) and its values: parameters and output columns
// (TFIBXSQLVAR) in lists (TFIBXSQLDA) laid over the client library's own XSQLDA
// block, so that a fetch writes straight into the buffers the typed reads use.

#include "dbaccess/FIBDatabase.h"
#include "dbaccess/SqlTxtRtns.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QString>
#include <QStringDecoder>
#include <QStringList>
#include <QVariant>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

class TFIBQuery;
class TFIBXSQLDA;

// Statement types in the order of the server's isc_info_sql_stmt_* answers.
enum TFIBSQLTypes : int {
    SQLUnknown,
    SQLSelect,
    SQLInsert,
    SQLUpdate,
    SQLDelete,
    SQLDDL,
    SQLGetSegment,
    SQLPutSegment,
    SQLExecProcedure,
    SQLStartTransaction,
    SQLCommit,
    SQLRollback,
    SQLSelectForUpdate,
    SQLSetGenerator,
    SQLSavePointOperation
};

enum TpFIBQueryOption : std::uint8_t {
    qoStartTransaction = 1,
    qoAutoCommit = 2,
    qoTrimCharFields = 4,
    qoNoForceIsNull = 8,
    qoFreeHandleAfterExecute = 16
};
using TpFIBQueryOptions = std::uint8_t;

// ---------------------------------------------------------------- TFIBXSQLVAR

// Windows-1252 bytes as text through a table taken once from Qt's decoder: one pass
// over the bytes and the one string it returns. The record cache reads with it too.
QString DecodeWin1252(const char* bytes, int length);

// How the bytes of a text column and of a text blob are coded on a connection:
// Latin-1 is binary content (one character per byte). Statement values and the
// record cache follow the same rule.
enum class TTextCoding : std::uint8_t { Latin1, Utf8, Win1252 };
TTextCoding ColumnTextCoding(const TFIBDatabase* db, int charsetId);
TTextCoding BlobTextCoding(const TFIBDatabase* db, int charsetId);
QByteArray EncodeText(const QString& text, TTextCoding coding);
QString DecodeBlobText(const QByteArray& bytes, TTextCoding coding);
// Inline: the record cache decodes every text cell through it.
inline QString DecodeText(const char* bytes, int length, TTextCoding coding)
{
    switch (coding) {
    case TTextCoding::Utf8:
        return QString::fromUtf8(bytes, length);
    case TTextCoding::Latin1:
        return QString::fromLatin1(bytes, length);
    case TTextCoding::Win1252:
        break;
    }
    return DecodeWin1252(bytes, length);
}
// The whole content of a blob, read by its id in a running transaction.
QByteArray ReadBlobBytes(TFIBDatabase* db, TFIBTransaction* tr, const ISC_QUAD& id);

// What becomes of the comparison in front of a parameter when the parameter is null.
enum class TNullRewrite : std::uint8_t {
    None,
    IsNull,     // "=" turns into IS NULL
    IsNotNull,  // "<>", "!=", "^=", "~=" turn into IS NOT NULL
};

class TFIBXSQLVAR {
public:
    TFIBXSQLVAR(TFIBXSQLDA* parent, int index);
    TFIBXSQLVAR(const TFIBXSQLVAR&) = delete;
    TFIBXSQLVAR& operator=(const TFIBXSQLVAR&) = delete;

    int Index() const { return fIndex; }
    QString Name() const { return fName; }
    bool Modified() const { return fModified; }
    void SetModified(bool value) { fModified = value; }
    XSQLVAR* Data() const { return fXSQLVAR; }
    TFIBXSQLDA* Parent() const { return fParent; }
    TFIBQuery* Query() const;

    // Type of the entry as it stands now (without the nullable bit), and as the
    // server described it.
    short SQLType() const { return static_cast<short>(fXSQLVAR->sqltype & ~1); }
    short SQLSubtype() const { return fXSQLVAR->sqlsubtype; }
    short SQLScale() const { return fXSQLVAR->sqlscale; }
    short Size() const { return fXSQLVAR->sqllen; }
    short ServerSQLType() const { return fServerSQLType; }
    short ServerSQLLen() const { return fServerSQLLen; }
    short ServerSQLSubtype() const { return fServerSQLSubtype; }
    short ServerSQLScale() const { return fServerSQLScale; }
    // Character set id of a text entry (low byte of the subtype).
    int CharacterSet() const { return fServerSQLSubtype & 0xFF; }
    // Names of the relation and field behind an output column.
    QString RelationName() const;
    QString SqlName() const;

    bool IsMacro() const { return fIsMacro; }
    bool IsMacroQuoted() const { return fMacroQuoted; }
    // Parse flags: in an expression, in an EXECUTE BLOCK head, name was quoted.
    bool InExpression() const { return fInExpression; }
    bool InBlockHead() const { return fInBlockHead; }
    bool NameQuoted() const { return fNameQuoted; }
    int StartPos() const { return fStartPos; }
    int EndPos() const { return fEndPos; }
    // The comparison in front of the parameter turns into IS [NOT] NULL when null.
    bool NullStateMatters() const { return fNullRewrite != TNullRewrite::None; }

    // ---- reads ----
    bool IsNull() const;
    bool IsNullable() const { return fXSQLVAR->sqltype & 1; }
    qint64 AsInt64() const;
    int AsInteger() const;
    short AsShort() const { return static_cast<short>(AsInteger()); }
    double AsDouble() const;
    double AsFloat() const { return AsDouble(); }
    long double AsExtended() const;
    // Value times 10,000, rounded.
    qint64 AsCurrency() const;
    // Days since 30.12.1899, fraction = time of day.
    double AsDateTime() const;
    double AsDate() const { return AsDateTime(); }
    double AsTime() const { return AsDateTime(); }
    QDateTime AsQDateTime() const;
    bool AsBoolean() const;
    QString AsString() const;
    QString AsWideString() const;
    QVariant AsVariant() const;
    QVariant Value() const { return AsVariant(); }
    // The raw bytes of the value (DB_KEY, blob ids).
    QByteArray AsRaw() const;
    ISC_QUAD AsQuad() const;

    // ---- writes: retype the entry to the value; the server converts ----
    void SetIsNull(bool value);
    void SetIsNullable(bool value);
    void SetAsShort(short value);
    void SetAsInteger(int value);
    void SetAsInt64(qint64 value);
    void SetAsDouble(double value);
    void SetAsFloat(double value) { SetAsDouble(value); }
    void SetAsExtended(long double value);
    void SetAsCurrency(qint64 valueTimes10000);
    // Decimal text with a scale ("12.345") as a scaled 64-bit integer.
    void SetAsBcd(const QString& decimalText);
    void SetAsDateTime(double value);
    void SetAsDate(double value) { SetAsDateTime(value); }
    void SetAsTime(double value) { SetAsDateTime(value); }
    void SetAsQDateTime(const QDateTime& value);
    void SetAsBoolean(bool value);
    void SetAsGuid(const QByteArray& sixteenBytes);
    void SetAsQuad(const ISC_QUAD& blobId);
    void SetAsString(const QString& value);
    void SetAsWideString(const QString& value) { SetAsString(value); }
    void SetAsVariant(const QVariant& value);
    void SetValue(const QVariant& value) { SetAsVariant(value); }
    // Blob data to send at execution.
    void SetAsStream(const QByteArray& data);
    bool HasStreamValue() const { return fHasStream; }
    const QByteArray& StreamValue() const { return fStream; }

private:
    friend class TFIBXSQLDA;
    friend class TFIBQuery;

    // Every write goes to all variables of the same name.
    template <class Fn>
    void WriteAll(Fn&& fn);
    void Retype(short type, short length, short scale = 0);
    void SetNullState(bool isNull);
    void MarkWritten();
    void WriteString(const QString& value);
    QString ReadText() const;
    QString NumberText() const;
    QString ReadBlobText() const;
    [[noreturn]] void ConversionError() const;
    const char* Buffer() const { return fXSQLVAR->sqldata; }
    bool IsDBKey() const;

    int fIndex;
    bool fModified = false;
    QString fName;
    XSQLVAR* fXSQLVAR = nullptr;
    TFIBXSQLDA* fParent;
    bool fIsMacro = false;
    bool fMacroQuoted = false;
    QVariant fStoredValue;
    short fServerSQLType = 0;
    short fServerSQLLen = 0;
    short fServerSQLSubtype = 0;
    short fServerSQLScale = 0;
    bool fInExpression = false;
    bool fInBlockHead = false;
    bool fNameQuoted = false;
    bool fDescribed = false;
    int fStartPos = 0;
    int fEndPos = 0;
    TNullRewrite fNullRewrite = TNullRewrite::None;
    int fOperatorPos = -1;
    int fOperatorLength = 0;
    bool fNullAtPrepare = false;
    QString fMacroAtPrepare;
    bool fHasStream = false;
    QByteArray fStream;
    QString fWideValue;
    bool fHasWideValue = false;
    // Index in the list the server gets, -1 when this variable is not sent.
    int fServerIndex = -1;
    // How text bytes are coded (ColumnTextCoding).
    TTextCoding fTextCoding = TTextCoding::Win1252;
};

// ---------------------------------------------------------------- TFIBXSQLDA

class TFIBXSQLDA {
public:
    TFIBXSQLDA(TFIBQuery* query, bool isInput);
    ~TFIBXSQLDA();
    TFIBXSQLDA(const TFIBXSQLDA&) = delete;
    TFIBXSQLDA& operator=(const TFIBXSQLDA&) = delete;

    int Count() const { return static_cast<int>(fVars.size()); }
    // Grows or shrinks the list and its block; entries that stay keep their data.
    void SetCount(int count);
    TFIBXSQLVAR& operator[](int index) const { return Vars(index); }
    // Raises "XSQLDA index out of range." outside the list.
    TFIBXSQLVAR& Vars(int index) const;
    // The first variable of that exact name, or nullptr.
    TFIBXSQLVAR* ByName(const QString& name) const;
    // Raises "XSQLDA name does not exist (%s)." for an unknown name.
    TFIBXSQLVAR& VarByName(const QString& name) const;
    int IndexOf(const QString& name) const;
    QStringList Names() const;
    // After a describe: keeps the server's types, names the columns and sizes the buffers.
    void Initialize();
    XSQLDA* AsXSQLDA() const { return fDA; }
    bool IsInput() const { return fIsInput; }
    TFIBQuery* Query() const { return fQuery; }
    // Number of entries the server wants (sqld) and the room there is (sqln).
    int ServerCount() const { return fDA ? fDA->sqld : 0; }
    int Room() const { return fDA ? fDA->sqln : 0; }
    // Puts a variable's name into the indices.
    void SetVarName(int index, const QString& name);
    // Every other variable with the same name as index.
    const std::vector<int>& SameNamed(int index) const;
    // Output: no row fetched yet (every column reads as null).
    bool NoRow = true;

private:
    friend class TFIBXSQLVAR;
    friend class TFIBQuery;
    char* AllocBuffer(int index, int size);
    void FreeBuffer(int index);
    void RebuildNameIndex();

    TFIBQuery* fQuery;
    bool fIsInput;
    XSQLDA* fDA = nullptr;
    int fRoom = 0;
    std::vector<std::unique_ptr<TFIBXSQLVAR>> fVars;
    struct TBuffer {
        std::unique_ptr<char[]> data;
        int size = 0;
        short indicator = 0;
    };
    std::vector<std::unique_ptr<TBuffer>> fBuffers;
    QHash<QString, int> fNames;             // first index of each unique name
    std::multimap<QString, int> fAllNames;  // every name, sorted, duplicates kept
    std::vector<std::vector<int>> fSameNamed;
};

// ---------------------------------------------------------------- parsing

// One parameter or macro found by the parameter parser.
struct TParsedParam {
    QString Name;
    bool IsMacro = false;
    bool MacroQuoted = false;
    QString MacroDefault;
    int Start = 0;             // first character of the parameter in the text
    int End = 0;               // first character behind it
    bool InExpression = false;
    bool InBlockHead = false;
    bool NameQuoted = false;
    TNullRewrite NullRewrite = TNullRewrite::None;
    int OperatorPos = -1;
    int OperatorLength = 0;
};

struct TParsedSQL {
    QString Processed;         // "?" in place of each parameter, macros left as they stand
    std::vector<TParsedParam> Params;
};

// The single pass over a statement text: parameters, macros, comments, literals.
// Raises "EOF in comment detected", "EOF in string detected", "Parameter name expected";
// with quietOnBadName (a form being designed) a missing name ends the parse instead,
// the rest of the text copied as it stands.
TParsedSQL ParseSQLParams(const QString& text, QChar macroChar, bool paramCheck, int parserKind,
                          bool quietOnBadName = false);

// ---------------------------------------------------------------- TFIBQuery

class TFIBQuery : public TComponent, public IFIBStatement {
public:
    explicit TFIBQuery(TComponent* owner = nullptr);
    ~TFIBQuery() override;

    TNotifyEvent TransactionEnding;
    TNotifyEvent TransactionEnded;
    TNotifyEvent BeforeExecute;
    TNotifyEvent AfterExecute;
    TNotifyEvent AfterFirstFetch;
    TNotifyEvent OnSQLChanging;
    // Asked before each fetch with the rows fetched so far; may stop the fetch.
    std::function<void(TFIBQuery*, int recordCount, bool& stopFetching)> OnSQLFetch;

    TFIBBase& Base() { return fBase; }
    TFIBDatabase* Database() const { return fBase.Database(); }
    virtual void SetDatabase(TFIBDatabase* database);
    TFIBTransaction* Transaction() const { return fBase.Transaction(); }
    void SetTransaction(TFIBTransaction* transaction);

    // Where the statement stands: unprepared -> prepared -> open (a cursor) -> at
    // its end; a close goes back to prepared, a freed handle to unprepared.
    enum class TLifecycle : std::uint8_t { Unprepared, Prepared, Open, AtEnd };
    TLifecycle Lifecycle() const { return fLifecycle; }
    // Open with no row fetched yet.
    bool Bof() const { return Open() && fRecordCount == 0; }
    bool Eof() const { return fLifecycle == TLifecycle::AtEnd; }
    bool GoToFirstRecordOnExecute = true;
    bool Open() const { return fLifecycle == TLifecycle::Open || fLifecycle == TLifecycle::AtEnd; }
    bool Prepared() const { return fLifecycle != TLifecycle::Unprepared; }
    int RecordCount() const { return fRecordCount; }
    isc_stmt_handle Handle() const { return fHandle; }
    TFIBStringList& SQL() { return fSQL; }
    const TFIBStringList& SQL() const { return fSQL; }
    bool ParamCheck() const { return fParamCheck; }
    void SetParamCheck(bool value);
    // The text with "?" in place of each named parameter, and its bytes for the server.
    QString ProcessedSQL() const { return fProcessedSQL; }
    QByteArray ServerSQL() const { return fServerSQL; }
    TFIBXSQLDA& Current() { return *fCurrent; }
    TFIBXSQLDA& Params() { return *fParams; }
    TFIBXSQLDA& ServerParams() { return *fServerParams; }
    // Readies the statement as an execute would and gives the parameters as the
    // server takes them, for a caller that executes it itself: null when there are
    // none. A statement with blob parameters still to be written answers false.
    bool ServerInput(XSQLDA*& in);
    TFIBSQLTypes SQLType() const { return fSQLType; }
    QChar MacroChar() const { return fMacroChar; }
    void SetMacroChar(QChar c);
    TpFIBQueryOptions Options = 0;
    bool HasOption(TpFIBQueryOption o) const { return Options & o; }
    // Milliseconds of the last execution.
    std::int64_t ExecutionTime() const { return fExecutionTime; }
    QString CursorName() const { return fCursorName; }
    TSQLParser& Parser() { return fParser; }

    virtual void Prepare();
    virtual void ExecQuery();
    // The next row, or nullptr at the end.
    TFIBXSQLDA* Next();
    void Close();
    void FreeHandle();
    void CheckClosed(const QString& operation);
    void CheckOpen(const QString& operation);

    TFIBXSQLVAR* FindParam(const QString& name) { return fParams->ByName(name); }
    TFIBXSQLVAR& ParamByName(const QString& name) { return fParams->VarByName(name); }
    TFIBXSQLVAR* FindField(const QString& name) { return fCurrent->ByName(name); }
    TFIBXSQLVAR& FieldByName(const QString& name) { return fCurrent->VarByName(name); }
    TFIBXSQLVAR& Fields(int index);
    int FieldIndex(const QString& name) const { return fCurrent->IndexOf(name); }
    int FieldCount() const { return fCurrent->Count(); }
    int ParamCount() const { return fParams->Count(); }

    // Both raise "Invalid statement handle." for a statement without a handle.
    int RowsAffected();
    // Selected, inserted, updated, deleted rows of the last execution.
    void RowCounts(int& selects, int& inserts, int& updates, int& deletes);
    QString Plan();
    // "ALIAS.FIELD" of an output column; empty for an expression.
    QString FieldOrigin(int index);
    QString FieldOrigin(const QString& name);

    // Sets the parameters in order and executes.
    void ExecWP(const QList<QVariant>& values);
    // Sets the named parameters and executes.
    void ExecWP(const QStringList& names, const QList<QVariant>& values);

    // IFIBStatement
    void ForgetStatementHandle() override;
    void UnprepareStatement() override { FreeHandle(); }
    int StatementSQLType() const override { return fSQLType; }
    bool StatementClosing() const override { return fInClose; }
    int StatementChangedRows() override;

    // Flags the variables set; public for the value classes.
    void MarkNullStateChanged() { fNullStateChanged = true; }
    void MarkMacroChanged() { fMacroChanged = true; }
    void MarkBlobsToWrite() { fBlobsToWrite = true; }

protected:
    TFIBBase fBase;
    void Log(const QString& operation, const QString& value, TLogFlag flag);
    IIBClientLibrary* Client();
    // The database and transaction a server call needs; raises for a missing one.
    std::pair<TFIBDatabase*, TFIBTransaction*> Connection();
    int Dialect() const;
    bool ParamCheckActive() const { return fParamCheck; }

private:
    void SQLChanging();
    void SQLChanged();
    void ParseParams();
    // Text for the server: macros substituted, null comparisons rewritten.
    QString SubstitutedText(bool forServer);
    bool MustRebuild() const;
    void BuildServerText();
    void DoPrepare();
    void SetCursorName();
    void DescribeParams();
    void DescribeColumns();
    void CopyParamsToServer();
    void WriteBlobParams();
    QString ParamsLogText() const;
    void ResetOutput();
    // Statement texts, plans and aliases travel in the connection's character set.
    TTextCoding StatementCoding() const;
    QByteArray Encode(const QString& text) const;
    QString Decode(const QByteArray& bytes) const;
    void CallSQLExecuted(TSQLExecutedStep step);
    void ExecuteImmediate();
    void FillOrigins();

    TSQLParser fParser;
    TLifecycle fLifecycle = TLifecycle::Unprepared;
    // The failure of a fetch on the open cursor. The client answers later fetches
    // of a broken cursor with "no more rows"; they raise this again instead, so a
    // broken-off result never passes for a complete one.
    std::exception_ptr fFetchFailure;
    int fRecordCount = 0;
    isc_stmt_handle fHandle = 0;
    TFIBStringList fSQL;
    bool fParamCheck = true;
    QString fProcessedSQL;
    QByteArray fServerSQL;
    std::unique_ptr<TFIBXSQLDA> fServerParams;
    std::unique_ptr<TFIBXSQLDA> fCurrent;
    TFIBSQLTypes fSQLType = SQLUnknown;
    std::unique_ptr<TFIBXSQLDA> fParams;
    QChar fMacroChar = u'@';
    std::int64_t fExecutionTime = 0;
    // The text for the server must be built anew before the next prepare.
    bool fNullStateChanged = false;
    bool fMacroChanged = false;
    bool fBlobsToWrite = false;
    // Re-entry marks: a close from within ExecQuery keeps the handle; the
    // transaction asks whether the close is the statement's own.
    bool fInClose = false;
    bool fInExecute = false;
    // The transaction hears of the first fetch after each execute once.
    bool fFirstFetchDone = false;
    bool fOriginsFilled = false;
    std::vector<QString> fOrigins;
    QString fCursorName;
    // For each entry of the server list, the index of its variable in Params.
    std::vector<int> fServerParamOf;
};

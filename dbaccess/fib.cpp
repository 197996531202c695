#include "dbaccess/fib.h"

#include "dbaccess/FIBComponent.h"
#include "dbaccess/FIBDatabase.h"
#include "dbaccess/IB_Intf.h"

#include <QStringDecoder>
#include <array>
#include <cstring>
#include <mutex>

#if defined(__x86_64__) || defined(__i386__)
#include <fpu_control.h>
#define FIB_HAS_FPU_CONTROL_WORD 1
#endif

TFIBDatabase* LostConnectTarget = nullptr;

// ---------------------------------------------------------------- status vector

namespace {
thread_local ISC_STATUS tStatusVector[StatusVectorLength] = {};

std::mutex gFlagsLock;
std::uint8_t gErrorDisplayFlags = DefaultErrorDisplayFlags;

const QString CRLF = QStringLiteral("\r\n");

// The process's control word as it was before any client library was loaded.
#ifdef FIB_HAS_FPU_CONTROL_WORD
const fpu_control_t gDefaultControlWord = [] {
    fpu_control_t cw;
    _FPU_GETCW(cw);
    return cw;
}();
#endif
}  // namespace

ISC_STATUS* StatusVector() { return tStatusVector; }

ISC_STATUS StatusVectorPrimaryCode() { return tStatusVector[1]; }

bool CheckStatusVector(std::initializer_list<ISC_STATUS> codes)
{
    const ISC_STATUS* sv = tStatusVector;
    int i = 0;
    while (i < StatusVectorLength) {
        const ISC_STATUS tag = sv[i];
        if (tag == isc_arg_end)
            return false;
        if (tag == isc_arg_gds || tag == isc_arg_number) {
            if (i + 1 < StatusVectorLength)
                for (ISC_STATUS code : codes)
                    if (sv[i + 1] == code)
                        return true;
            i += 2;
        } else if (tag == isc_arg_cstring) {
            i += 3;
        } else {
            i += 2;
        }
    }
    return false;
}

std::uint8_t ErrorDisplayFlags()
{
    std::lock_guard lock(gFlagsLock);
    return gErrorDisplayFlags;
}

void SetErrorDisplayFlags(std::uint8_t flags)
{
    std::lock_guard lock(gFlagsLock);
    gErrorDisplayFlags = flags;
}

void SetExtendedFPUPrecision()
{
#ifdef FIB_HAS_FPU_CONTROL_WORD
    fpu_control_t cw;
    _FPU_GETCW(cw);
    cw = (cw & ~_FPU_EXTENDED) | _FPU_EXTENDED;
    _FPU_SETCW(cw);
#endif
}

void RestoreFPUControlWord()
{
#ifdef FIB_HAS_FPU_CONTROL_WORD
    fpu_control_t cw = gDefaultControlWord;
    _FPU_SETCW(cw);
#endif
}

// ---------------------------------------------------------------- message table

namespace {
const std::array<const char*, FIBMessageCount> kMessages = {
    "Unknown error.",
    "Unsupported feature.",
    "Not permitted.",
    "Temporary file access error.",
    "Database connection timed out.",
    "Cannot set database.",
    "Cannot set transaction.",
    "Operation cancelled at user's request.",
    "DPB Constant (isc_dpb_%s) is unsupported.",
    "DPB Constant (%s) is unknown.",
    "TPB Constant (isc_tpb_%s) is unsupported.",
    "TPB Constant (%s) is unknown.",
    "%s: Cannot perform operation -- DB is not open.",
    "Cannot perform operation -- DB is currently open.",
    "Database name is missing.",
    "%s :Transaction is not active.",
    "%s :Transaction is active.",
    "Timeout values cannot be negative.",
    "%s :No databases are listed in transaction component.",
    "%s :Updating wrong database.",
    "%s :Updating wrong transaction.",
    "Database not assigned for %s.",
    "Transaction not assigned for %s.",
    "XSQLDA index out of range.",
    "XSQLDA name does not exist (%s).",
    "End of file.",
    "Beginning of file.",
    "%s:Invalid statement handle.",
    "Can't %s because %s dataset open.",
    "Can't %s because %s dataset closed.",
    "Unknown SQL Data type (%d).",
    "Invalid column index (index exceeds permitted range).",
    "Invalid parameter index (index exceeds permitted range).",
    "Invalid data conversion.",
    "Column cannot be set to null (%s)",
    "Blob stream cannot be read.",
    "Blob stream cannot be written.",
    "Can't %s , because  query is empty",
    "Can't \"open\" a non-select statement. Use ExecQuery.",
    "No access to field \"%s\".",
    "Field \"%s\" is read-only.",
    "Field \"%s\" not found.",
    "DataSet not in Edit or Insert mode.(%s)",
    "Not editing.",
    "Can't insert into dataset. (%s)",
    "Can't post. (%s) ",
    "Can't update. (%s)",
    "Can't delete from dataset. (%s)",
    "Can't refresh row. (%s)",
    "Buffer not set.",
    "Circular references not permitted.(%s)",
    "SQL Parse Error in :%s\r\n\r\n%s",
    "User abort.",
    "Data set is uni-directional.",
    "Cannot create shared resource. (Windows error %d)",
    "Windows API error. (Windows error %d [$%.8x])",
    "Column lists do not match.",
    "Column types don't match. (From index: %d, To index: %d)",
    "Can't end a shared transaction unless it is forced and equal to the transaction's TimeoutAction.",
    "Column types \"%s\" is not array field",
    "Dimension %d don't exist in \"%s\" ",
    "SQL Dialect invalid",
    "InterBase library gds32.dll not found in the path. Please install InterBase to use this functionality",
    "%s is an InterBase6 function. Please upgrade to InterBase6 to use this functonality",
    "InterBase Install DLL ibinstall.dll not found in the path. Please install InterBase 6 to use this functionality",
    "Cannot perform operation -- service is not attached",
    "Cannot perform operation -- service is attached",
    "Server Name Missing",
    "Query Parameters missing or incorrect",
    "Start Parameters missing or incorrect",
    "Unexpected Output buffer value",
    "Generic ServiceStart not applicable: Use Specific Procedures to set configuration params",
    "SPB Constant Not supported",
    "SPB Constant Unknown",
    "Field Size too small. Field %s.%s",
    "%s. Can't use limited cache. \r\n"
    "CachedUpdates must be False,\r\n"
    "Select must have \"Order by\" clause ,\r\n"
    "All order fields must exist in fields section\r\n"
    "Select can't use params with prefix \"NEW_\"\r\n"
    "UpdateTransaction must be equel Transaction or AutoCommit=True ",
    "Error in %s. FieldList is empty.",
    "%s can't use field \"%s\"",
    "%s is an Firebird 2 function. Please upgrade to Firebird 2 to use this functonality",
};

// Text from the client library: UTF-8 when it is valid UTF-8, the 8-bit code page otherwise.
QString ClientText(const char* text)
{
    const QByteArray bytes(text);
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString result = utf8.decode(bytes);
    if (!utf8.hasError())
        return result;
    QStringDecoder cp1252("windows-1252");
    return cp1252.decode(bytes);
}

bool IsAsciiLower(QChar c) { return c >= u'a' && c <= u'z'; }
}  // namespace

QString FIBMessageText(int index)
{
    if (index < 0 || index >= FIBMessageCount)
        return {};
    return QString::fromUtf8(kMessages[static_cast<std::size_t>(index)]);
}

QString FormatFIBText(const QString& format, const QList<QVariant>& arguments)
{
    QString out;
    qsizetype next = 0;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format[i];
        if (c != u'%' || i + 1 >= format.size()) {
            out += c;
            continue;
        }
        if (format[i + 1] == u'%') {
            out += u'%';
            ++i;
            continue;
        }
        // Optional precision ".N" before the conversion letter.
        qsizetype j = i + 1;
        int precision = -1;
        if (format[j] == u'.') {
            ++j;
            precision = 0;
            while (j < format.size() && format[j].isDigit())
                precision = precision * 10 + format[j++].digitValue();
        }
        if (j >= format.size()) {
            out += format.mid(i);
            break;
        }
        const QChar conv = format[j];
        const QVariant arg = next < arguments.size() ? arguments[next] : QVariant();
        if (conv == u's') {
            out += arg.toString();
        } else if (conv == u'd') {
            out += QString::number(arg.toLongLong());
        } else if (conv == u'x') {
            QString hex = QString::number(arg.toULongLong() & 0xFFFFFFFFull, 16).toUpper();
            if (precision > 0)
                hex = hex.rightJustified(precision, u'0');
            out += hex;
        } else {
            out += format.mid(i, j - i + 1);
            i = j;
            continue;
        }
        ++next;
        i = j;
    }
    return out;
}

// ---------------------------------------------------------------- exceptions

EFIBError::EFIBError(int sqlCode, const QString& message, const TComponent* raiser)
    : Exception(QString()), SQLCode(sqlCode), IBErrorCode(static_cast<int>(StatusVectorPrimaryCode())),
      Raiser(raiser), fFlags(ErrorDisplayFlags()), fMessageBody(message)
{
    if (raiser)
        RaiserName = raiser->Name();
    Recompose();
}

EFIBError::EFIBError(int sqlCode, const TComponent* raiser, const QString& sqlMessage, const QString& ibMessage,
                     std::uint8_t flags)
    : Exception(QString()), SQLCode(sqlCode), IBErrorCode(static_cast<int>(StatusVectorPrimaryCode())),
      SQLMessage(sqlMessage), IBMessage(ibMessage), Raiser(raiser), fFlags(flags)
{
    if (raiser)
        RaiserName = raiser->Name();
    Recompose();
}

void EFIBError::SetCustomMessage(const QString& text)
{
    fCustomMessage = text;
    Recompose();
}

void EFIBError::SetMessageBody(const QString& text)
{
    fMessageBody = text;
    Recompose();
}

void EFIBError::Recompose()
{
    QString text;
    if ((fFlags & ShowRaiserName) && RaiserName.size() > 1)
        text += RaiserName + u':' + CRLF;
    if (fFlags & ShowSQLMessage)
        text += SQLMessage;
    if (fFlags & ShowIBMessage)
        text += IBMessage;
    if (!fCustomMessage.isEmpty())
        text += fCustomMessage;
    text += fMessageBody;
    // The base keeps its text privately; a fresh base carries the new one.
    static_cast<Exception&>(*this) = Exception(text);
}

void RaiseStatusError(IIBClientLibrary* client, const TComponent* sender)
{
    // One read of the flags serves the whole error: another thread may change them
    // while the texts are gathered.
    const std::uint8_t flags = ErrorDisplayFlags();
    const int sqlCode = client->isc_sqlcode(StatusVector());

    QString state;
    if (client->HasEntryPoint(fibep_fb_sqlstate)) {
        char buffer[6] = {};
        client->fb_sqlstate(buffer, StatusVector());
        buffer[5] = 0;
        state = QString::fromLatin1(buffer);
    }

    QString sqlMessage;
    if (flags & ShowSQLMessage) {
        char buffer[1024] = {};
        client->isc_sql_interprete(static_cast<short>(sqlCode), buffer, static_cast<short>(sizeof buffer));
        buffer[sizeof buffer - 1] = 0;
        sqlMessage = ClientText(buffer);
        sqlMessage.remove(QStringLiteral("\\n"));
        if (!sqlMessage.isEmpty()) {
            if (IsAsciiLower(sqlMessage[0]))
                sqlMessage[0] = sqlMessage[0].toUpper();
            if (!sqlMessage.endsWith(u'.'))
                sqlMessage += u'.' + CRLF;
        }
    }

    QString ibMessage;
    if ((flags & ShowSQLState) && !state.isEmpty())
        ibMessage = QStringLiteral("SQL error state =") + state + CRLF;

    if (flags & ShowIBMessage) {
        // The interpret calls walk a copy of the pointer, never the vector itself.
        const ISC_STATUS* walker = StatusVector();
        const bool modern = client->HasEntryPoint(fibep_fb_interpret);
        std::vector<char> buffer(modern ? 20480 : 1024);
        for (int guard = 0; guard < StatusVectorLength; ++guard) {
            std::fill(buffer.begin(), buffer.end(), 0);
            ISC_LONG length;
            if (modern)
                length = client->fb_interpret(buffer.data(), static_cast<unsigned>(buffer.size()), &walker);
            else
                length = client->isc_interprete(buffer.data(), const_cast<ISC_STATUS**>(&walker));
            if (length <= 0)
                break;
            buffer.back() = 0;
            QString piece = ClientText(buffer.data());
            if (piece.isEmpty())
                continue;
            if (IsAsciiLower(piece[0]))
                piece[0] = piece[0].toUpper();
            ibMessage += piece;
            if (!ibMessage.endsWith(u'.'))
                ibMessage += u'.';
            ibMessage += CRLF;
        }
    }

    EFIBInterBaseError error(sqlCode, sender, sqlMessage, ibMessage, flags);
    error.SQLState = state;

    bool raise = true;
    if (LostConnectTarget && !LostConnectTarget->IsDesigning())
        raise = LostConnectTarget->ExamineLostConnection(error);
    if (raise)
        throw error;
}

ISC_STATUS CheckClientCall(ISC_STATUS status, IIBClientLibrary* client, const TComponent* sender,
                           std::initializer_list<ISC_STATUS> tolerated)
{
    RestoreFPUControlWord();
    if (status > 0 && !CheckStatusVector(tolerated))
        RaiseStatusError(client, sender);
    return status;
}

void RaiseClientError(TFIBClientMessage message, const QList<QVariant>& arguments, const TComponent* raiser)
{
    throw EFIBClientError(message, FormatFIBText(FIBMessageText(message), arguments), raiser);
}

void RaiseClientErrorText(const QString& format, const QList<QVariant>& arguments, const TComponent* raiser)
{
    throw EFIBClientError(-1, FormatFIBText(format, arguments), raiser);
}

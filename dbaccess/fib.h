#pragma once
// The database layer's error vocabulary: the per-thread status vector every client
// call writes into, the error display flags, the layer's own message texts, and the
// exception classes that carry a failed client call or a failure the layer finds itself.

#include "frame/ZELBase.h"

#include <ibase.h>

#include <QString>
#include <QVariant>
#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>

class TComponent;
class IIBClientLibrary;

// ---- Status vector ----
// Twenty status words per thread: two threads calling the client at once never
// see each other's errors, and no status ever travels between calls.
constexpr int StatusVectorLength = 20;
ISC_STATUS* StatusVector();
// Second word of the current thread's vector: the primary error code.
ISC_STATUS StatusVectorPrimaryCode();

// Walks the current thread's status vector and answers whether any error code or
// number argument equals one of codes.
bool CheckStatusVector(std::initializer_list<ISC_STATUS> codes);

// ---- Error display flags ----
// Which parts make up the text of a database error. Read once per error.
constexpr std::uint8_t ShowIBMessage = 2;
constexpr std::uint8_t ShowSQLMessage = 4;
constexpr std::uint8_t ShowSQLState = 8;
constexpr std::uint8_t ShowRaiserName = 16;
constexpr std::uint8_t DefaultErrorDisplayFlags = 30;
std::uint8_t ErrorDisplayFlags();
void SetErrorDisplayFlags(std::uint8_t flags);

// ---- Floating-point control word ----
// The client library is known to change the x87 control word; the layer puts the
// process's own value back after every checked call.
void SetExtendedFPUPrecision();
void RestoreFPUControlWord();

// ---- The layer's own messages ----
constexpr int FIBMessageCount = 79;
// Row index of the message table (0 .. FIBMessageCount-1); empty text outside.
QString FIBMessageText(int index);

// The rows of the message table by name; the layer raises its own errors only
// through these, never by a bare row number.
enum TFIBClientMessage : int {
    fibceUnknownError = 0,
    fibceNotSupported = 1,
    fibceNotPermitted = 2,
    fibceFileAccessError = 3,
    fibceConnectionTimeout = 4,
    fibceCannotSetDatabase = 5,
    fibceCannotSetTransaction = 6,
    fibceOperationCancelled = 7,
    fibceDPBConstantNotSupported = 8,
    fibceDPBConstantUnknown = 9,
    fibceTPBConstantNotSupported = 10,
    fibceTPBConstantUnknown = 11,
    fibceDatabaseClosed = 12,
    fibceDatabaseOpen = 13,
    fibceDatabaseNameMissing = 14,
    fibceNotInTransaction = 15,
    fibceInTransaction = 16,
    fibceTimeoutNegative = 17,
    fibceNoDatabasesInTransaction = 18,
    fibceUpdateWrongDB = 19,
    fibceUpdateWrongTR = 20,
    fibceDatabaseNotAssigned = 21,
    fibceTransactionNotAssigned = 22,
    fibceXSQLDAIndexOutOfRange = 23,
    fibceXSQLDANameDoesNotExist = 24,
    fibceEOF = 25,
    fibceBOF = 26,
    fibceInvalidStatementHandle = 27,
    fibceDatasetOpen = 28,
    fibceDatasetClosed = 29,
    fibceUnknownSQLDataType = 30,
    fibceInvalidColumnIndex = 31,
    fibceInvalidParamColumnIndex = 32,
    fibceInvalidDataConversion = 33,
    fibceColumnIsNotNullable = 34,
    fibceBlobCannotBeRead = 35,
    fibceBlobCannotBeWritten = 36,
    fibceEmptyQuery = 37,
    fibceCannotOpenNonSQLSelect = 38,
    fibceNoFieldAccess = 39,
    fibceFieldReadOnly = 40,
    fibceFieldNotFound = 41,
    fibceNotInEditOrInsert = 42,
    fibceNotEditing = 43,
    fibceCannotInsert = 44,
    fibceCannotPost = 45,
    fibceCannotUpdate = 46,
    fibceCannotDelete = 47,
    fibceCannotRefresh = 48,
    fibceBufferNotSet = 49,
    fibceCircularReference = 50,
    fibceSQLParseError = 51,
    fibceUserAbort = 52,
    fibceDataSetUniDirectional = 53,
    fibceCannotCreateSharedResource = 54,
    fibceWindowsAPIError = 55,
    fibceColumnListsDontMatch = 56,
    fibceColumnTypesDontMatch = 57,
    fibceCantEndSharedTransaction = 58,
    fibceFieldIsNotArray = 59,
    fibceArrayDimensionMissing = 60,
    fibceSQLDialectInvalid = 61,
    fibceGDS32NotFound = 62,
    fibceIB60feature = 63,
    fibceIBInstallMissing = 64,
    fibceServiceNotAttached = 65,
    fibceServiceAttached = 66,
    fibceServerNameMissing = 67,
    fibceQueryParamsError = 68,
    fibceStartParamsError = 69,
    fibceOutputParsingError = 70,
    fibceUseSpecificProcedures = 71,
    fibceSPBConstantNotSupported = 72,
    fibceSPBConstantUnknown = 73,
    fibceFieldSizeError = 74,
    fibceCantUseLimitedCache = 75,
    fibceFieldListEmpty = 76,
    fibceCantUseField = 77,
    fibceFB2feature = 78,
};
static_assert(fibceFB2feature == FIBMessageCount - 1, "every row of the message table has a name");

// Texts looked up by name rather than by row.
namespace FIBTexts {
inline const QString UnknownClientLibrary = QStringLiteral("Can't perform operation %s. Unknown client library");
inline const QString DifferentClientLibrary =
    QStringLiteral("%s.") + QStringLiteral("\r\n") + QStringLiteral("Transaction can't work with different client library.");
inline const QString ErrorOfRecordUpdating = QStringLiteral("Error of record updating:");
inline const QString DeadlockDetected = QStringLiteral("Deadlock detected");
inline const QString RecordDoesNotExist = QStringLiteral("Record does not exist");
inline const QString EditMultipleRecords = QStringLiteral("Attempt to edit multiple records");
inline const QString CantSortInvalidParameter = QStringLiteral("Can't sort. Invalid parameter: Fields[");
inline const QString CantGetInfo = QStringLiteral("Can't get info for ");
inline const QString DatabaseIsNotAssigned = QStringLiteral("Database is not assigned");
inline const QString BeforeDisconnectDestroyed = QStringLiteral(
    "Error of %s.BeforeDisconnect. Probably you are trying to get access to destroyed components. %s");
inline const QString BeforeDisconnectError = QStringLiteral("Error of %s.BeforeDisconnect. %s");
inline const QString AfterDisconnectDestroyed = QStringLiteral(
    "Error of %s.AfterDisconnect. Probably you are trying to get access to destroyed components. %s");
inline const QString AfterDisconnectError = QStringLiteral("Error of %s.AfterDisconnect. %s");
inline const QString LoginDialogMissing = QStringLiteral("Unable to find Database login dialog. ");
inline const QString LoginDialogMissingDesign = QStringLiteral("Please, install package with property editors.");
inline const QString LoginDialogMissingRun = QStringLiteral("Please, add FIBDBLoginDlg into USES statement of your project.");
inline const QString CircularLink = QStringLiteral("Circular link is not allowed.");
inline const QString ParameterDoesNotExist = QStringLiteral("Parameter \"%s\" does not exist in %s");
inline const QString ParameterCountMismatch = QStringLiteral("%s. Parameters count is not equel count of parameter values");
inline const QString EOFInComment = QStringLiteral("EOF in comment detected");
inline const QString EOFInString = QStringLiteral("EOF in string detected");
inline const QString ParameterNameExpected = QStringLiteral("Parameter name expected");
inline const QString NotPFIBDataSet = QStringLiteral("%s is not TpFIBDataSet");
inline const QString UserAbortApplyUpdates = QStringLiteral("User abort apply updates for %s %s");
inline const QString UnableToGetRecordCount = QStringLiteral("%s unable to get number of records");
inline const QString UnableToLockRecord = QStringLiteral("Unable to lock record. Update query is empty");
inline const QString UnableToGenerate =
    QStringLiteral("%s: unable to generate %s because fields for \"%s\" do not exist in dataset.");
inline const QString CantFindProcedure = QStringLiteral("Can't find procedure %s in %s");
}  // namespace FIBTexts

// printf-style filling of the layer's message texts: %s, %d and %.8x take the
// arguments in order; "%%" is a percent sign.
QString FormatFIBText(const QString& format, const QList<QVariant>& arguments);

// ---- Exceptions ----
class EFIBError : public Exception {
public:
    // A failure with a ready text (client errors).
    EFIBError(int sqlCode, const QString& message, const TComponent* raiser = nullptr);
    // A failed client call: the two texts from the status vector, gathered under
    // the display flags given, which the error keeps for composing its text.
    EFIBError(int sqlCode, const TComponent* raiser, const QString& sqlMessage, const QString& ibMessage,
              std::uint8_t flags = ErrorDisplayFlags());

    int SQLCode = 0;
    int IBErrorCode = 0;
    QString RaiserName;
    QString SQLMessage;
    QString IBMessage;
    QString CustomMessage() const { return fCustomMessage; }
    void SetCustomMessage(const QString& text);
    QString MessageBody() const { return fMessageBody; }
    // Changing the body composes the whole text anew.
    void SetMessageBody(const QString& text);
    QString SQLState;
    const TComponent* Raiser = nullptr;

    // Composes the text from its parts under the display flags of this error.
    void Recompose();

private:
    std::uint8_t fFlags;
    QString fCustomMessage;
    QString fMessageBody;
};

class EFIBInterBaseError : public EFIBError {
public:
    using EFIBError::EFIBError;
};

class EFIBClientError : public EFIBError {
public:
    using EFIBError::EFIBError;
};

// Raises EFIBInterBaseError built from the current thread's status vector, unless
// the lost-connection target takes the error over (then it returns).
void RaiseStatusError(IIBClientLibrary* client, const TComponent* sender);
// ---- The way back from every client call ----
// The client library changes the FPU control word; these put the process's own
// value back and answer the call's status. The checked form raises the layer's
// error for a failed call (status > 0) unless the status vector names one of the
// tolerated codes:  CheckClientCall(lib->isc_...(StatusVector(), ...), lib, this);
inline ISC_STATUS SettleClientCall(ISC_STATUS status)
{
    RestoreFPUControlWord();
    return status;
}
ISC_STATUS CheckClientCall(ISC_STATUS status, IIBClientLibrary* client, const TComponent* sender,
                           std::initializer_list<ISC_STATUS> tolerated = {});
// A cleanup call made while a failure is being reported (closing a blob, dropping a
// half-prepared statement): its own status does not replace the one reported.
template <class Fn>
void CallKeepingStatus(Fn&& cleanup)
{
    ISC_STATUS saved[StatusVectorLength];
    std::copy(StatusVector(), StatusVector() + StatusVectorLength, saved);
    cleanup();
    RestoreFPUControlWord();
    std::copy(saved, saved + StatusVectorLength, StatusVector());
}

// Raises EFIBClientError with the text of that row, filled with the arguments;
// SQLCode is the row number.
[[noreturn]] void RaiseClientError(TFIBClientMessage message, const QList<QVariant>& arguments = {},
                                   const TComponent* raiser = nullptr);
// Raises EFIBClientError with a given format; SQLCode is -1.
[[noreturn]] void RaiseClientErrorText(const QString& format, const QList<QVariant>& arguments = {},
                                       const TComponent* raiser = nullptr);

// A database error is shown to the lost-connection target before it is raised; the
// target may ask to swallow it. Nothing in the program sets a target.
class TFIBDatabase;
extern TFIBDatabase* LostConnectTarget;

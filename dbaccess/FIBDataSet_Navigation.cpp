#include "dbaccess/FIBDataSet_Internal.h"
#include "dbaccess/SqlTxtRtns.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <cstring>

using namespace fibds;

// ---- positions ----

int TFIBCustomDataSet::VisibleCount() const
{
    if (!fCache)
        return 0;
    return fCache->HasMap ? static_cast<int>(fCache->Map.size()) : fCache->Count();
}

int TFIBCustomDataSet::RowAt(int pos) const
{
    return fCache->HasMap ? fCache->Map[static_cast<std::size_t>(pos)] : pos;
}

void TFIBCustomDataSet::EnsureMap()
{
    if (fCache->HasMap)
        return;
    fCache->Map.resize(static_cast<std::size_t>(fCache->Count()));
    for (int i = 0; i < fCache->Count(); ++i)
        fCache->Map[static_cast<std::size_t>(i)] = i;
    fCache->HasMap = true;
}

int TFIBCustomDataSet::PositionOfRow(int row) const
{
    if (!fCache || row < 0 || row >= fCache->Count())
        return -1;
    if (!fCache->HasMap)
        return row;
    // Most lookups are for the row at the same place; the map is searched otherwise.
    const auto& map = fCache->Map;
    if (row < static_cast<int>(map.size()) && map[static_cast<std::size_t>(row)] == row)
        return row;
    auto it = std::find(map.begin(), map.end(), row);
    return it == map.end() ? -1 : static_cast<int>(it - map.begin());
}

bool TFIBCustomDataSet::RowVisible(int row) const { return PositionOfRow(row) >= 0; }

void TFIBCustomDataSet::FillBuf(TBuf* b, int pos) const
{
    b->Pos = pos;
    const int row = RowAt(pos);
    // A blob read for another row is of no use here; one of the same row stays.
    if (row != b->Row && !b->Blobs.empty())
        ReleaseBlobSlots(b);
    b->Row = row;
    b->HasCopy = false;
}

TRecordBuffer TFIBCustomDataSet::AllocRecordBuffer() { return reinterpret_cast<TRecordBuffer>(new TBuf); }

void TFIBCustomDataSet::FreeRecordBuffer(TRecordBuffer& buffer)
{
    delete Buf(buffer);
    buffer = nullptr;
}

TGetResult TFIBCustomDataSet::GetRecord(TRecordBuffer buffer, TGetMode mode, bool)
{
    if (!fCache)
        return grEOF;
    TBuf* b = Buf(buffer);
    switch (mode) {
    case gmCurrent:
        if (fCurrent < 0)
            return grBOF;
        while (fCurrent >= VisibleCount() && FetchOne()) {
        }
        if (fCurrent >= VisibleCount())
            return grEOF;
        FillBuf(b, fCurrent);
        return grOK;
    case gmNext:
        for (;;) {
            if (fCurrent + 1 >= VisibleCount() && !FetchOne()) {
                fCurrent = VisibleCount();
                return grEOF;
            }
            FillBuf(b, ++fCurrent);
            if (!Filtered() || RecordFilter(buffer))
                return grOK;
        }
    case gmPrior:
        for (;;) {
            if (fCurrent > VisibleCount())
                fCurrent = VisibleCount();
            if (fCurrent <= 0) {
                fCurrent = -1;
                return grBOF;
            }
            FillBuf(b, --fCurrent);
            if (!Filtered() || RecordFilter(buffer))
                return grOK;
        }
    }
    return grError;
}

bool TFIBCustomDataSet::GetRecordAt(TRecordBuffer buffer, int row)
{
    if (!fCache || row < 0)
        return false;
    if (Filtered()) {
        if (!ScanFilter(static_cast<std::size_t>(row) + 1, true))
            return false;
        FillBuf(Buf(buffer), fFilterPos[static_cast<std::size_t>(row)]);
        return true;
    }
    while (row >= VisibleCount() && FetchOne()) {
    }
    if (row >= VisibleCount())
        return false;
    FillBuf(Buf(buffer), row);
    return true;
}

void TFIBCustomDataSet::InternalSetToRecord(TRecordBuffer buffer)
{
    const TBuf* b = Buf(buffer);
    if (b->Row >= 0) {
        const int pos = PositionOfRow(b->Row);
        fCurrent = pos >= 0 ? pos : b->Pos;
    } else {
        fCurrent = b->Pos;
    }
}

void TFIBCustomDataSet::InternalLast()
{
    while (FetchOne()) {
    }
    fCurrent = VisibleCount();
}

void TFIBCustomDataSet::InternalSetRecNo(int value)
{
    if (Filtered()) {
        ScanFilter(static_cast<std::size_t>(value), true);
        if (!fFilterPos.empty())
            fCurrent = fFilterPos[std::min<std::size_t>(static_cast<std::size_t>(value), fFilterPos.size()) - 1];
        return;
    }
    while (value > VisibleCount() && FetchOne()) {
    }
    fCurrent = std::clamp(value - 1, 0, std::max(0, VisibleCount() - 1));
}

int TFIBCustomDataSet::GetRecNo() const
{
    const TBuf* b = Buf(ActiveBuffer());
    if (!b)
        return 0;
    if (State() == dsInsert)
        return b->Pos + 1;
    if (b->Pos >= 0 && Filtered())
        return FilteredIndexOf(b->Pos) + 1;
    return b->Pos >= 0 ? b->Pos + 1 : 0;
}

std::unique_ptr<TFIBQuery> TFIBCustomDataSet::PrepareServerRecordCount() const
{
    auto q = std::make_unique<TFIBQuery>();
    q->SetDatabase(Database());
    q->SetTransaction(Transaction());
    q->SQL().SetText(QStringLiteral("Select Count(*) from (") + fQSelect->SQL().Text() + QStringLiteral(")"));
    q->Prepare();
    TFIBXSQLDA& from = fQSelect->Params();
    for (int i = 0; i < q->Params().Count() && i < from.Count(); ++i)
        q->Params()[i].SetValue(from[i].Value());
    return q;
}

int TFIBCustomDataSet::ServerRecordCount() const
{
    const std::unique_ptr<TFIBQuery> q = PrepareServerRecordCount();
    q->ExecQuery();
    const int count = q->Eof() ? 0 : q->Current()[0].AsInteger();
    q->Close();
    return count;
}

int TFIBCustomDataSet::GetRecordCount() const
{
    if ((fPrepareOptions & psAskRecordCount) && !fAllFetched && Database() && Transaction())
        return ServerRecordCount() - fDeleted + fInserted;
    if (Filtered()) {
        // The rows fetched so far that pass, as without a filter.
        ScanFilter(static_cast<std::size_t>(VisibleCount()) + 1, false);
        return static_cast<int>(fFilterPos.size());
    }
    return VisibleCount();
}

// ---- bookmarks ----

void TFIBCustomDataSet::GetBookmarkData(TRecordBuffer buffer, TBookmark& bookmark) const
{
    const qint32 row = Buf(buffer)->Row;
    bookmark = QByteArray(reinterpret_cast<const char*>(&row), sizeof row);
}

void TFIBCustomDataSet::InternalGotoBookmark(const TBookmark& bookmark)
{
    if (!BookmarkValid(bookmark))
        throw EDatabaseError(QStringLiteral("Record not found"));
    qint32 row;
    std::memcpy(&row, bookmark.constData(), sizeof row);
    fCurrent = PositionOfRow(row);
}

TBookmark TFIBCustomDataSet::GetBookmark() const
{
    if (State() == dsInsert || State() == dsEdit)
        throw EDatabaseError(QStringLiteral("Can't use bookmark. DataSet not in browse mode"));
    return TDataSet::GetBookmark();
}

void TFIBCustomDataSet::GotoBookmark(const TBookmark& bookmark)
{
    if (State() == dsInsert || State() == dsEdit)
        throw EDatabaseError(QStringLiteral("Can't use bookmark. DataSet not in browse mode"));
    TDataSet::GotoBookmark(bookmark);
}

bool TFIBCustomDataSet::BookmarkValid(const TBookmark& bookmark) const
{
    if (!fCache || bookmark.size() != sizeof(qint32))
        return false;
    qint32 row;
    std::memcpy(&row, bookmark.constData(), sizeof row);
    return RowVisible(row);
}

int TFIBCustomDataSet::CompareBookmarks(const TBookmark& a, const TBookmark& b) const
{
    const auto pos = [this](const TBookmark& m) {
        if (m.size() != sizeof(qint32))
            return -1;
        qint32 row;
        std::memcpy(&row, m.constData(), sizeof row);
        return PositionOfRow(row);
    };
    const int x = pos(a), y = pos(b);
    return x < y ? -1 : (x > y ? 1 : 0);
}

// ---- sort and search ----

int TFIBCustomDataSet::CompareRows(const std::vector<int>& cols, const std::vector<bool>& asc, int a, int b) const
{
    const std::byte* ra = fCache->Record(a);
    const std::byte* rb = fCache->Record(b);
    for (std::size_t i = 0; i < cols.size(); ++i) {
        const int col = cols[i];
        const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(col)];
        const bool na = NullBit(ra, fNullOffset, col);
        const bool nb = NullBit(rb, fNullOffset, col);
        int r = 0;
        // Nulls come first in ascending order.
        if (na || nb) {
            r = na == nb ? 0 : (na ? -1 : 1);
        } else if (IsTextType(d.SqlType) || d.IsLongString) {
            r = QString::compare(TextOf(d, ra, a, nullptr), TextOf(d, rb, b, nullptr), Qt::CaseSensitive);
        } else if (d.BlobIndex >= 0) {
            r = QString::compare(DecodeBlobText(RowBlob(d, ra, a), d.Coding), DecodeBlobText(RowBlob(d, rb, b), d.Coding),
                                 Qt::CaseSensitive);
        } else if (d.SqlType == SQL_INT64 && !d.Int64AsDouble) {
            const qint64 x = Load<qint64>(ra + d.Offset), y = Load<qint64>(rb + d.Offset);
            r = x < y ? -1 : (x > y ? 1 : 0);
        } else if (d.SqlType == SQL_TIMESTAMP) {
            // The stored milliseconds run with time; a date-time before the day zero
            // does not (18:00 of a day there is less than 06:00 of it).
            const double x = Load<double>(ra + d.Offset), y = Load<double>(rb + d.Offset);
            r = x < y ? -1 : (x > y ? 1 : 0);
        } else {
            const double x = FloatOf(d, ra + d.Offset), y = FloatOf(d, rb + d.Offset);
            r = x < y ? -1 : (x > y ? 1 : 0);
        }
        if (r != 0)
            return asc[i] ? r : -r;
    }
    return 0;
}

void TFIBCustomDataSet::SortMap(const QStringList& fields, const std::vector<bool>& ascending)
{
    std::vector<int> cols;
    std::vector<TField*> sortFields;
    for (const QString& name : fields) {
        TField* f = FindField(name.trimmed());
        if (!f || f->FieldNo() <= 0)
            throw EDatabaseError(QStringLiteral("Can't sort. Invalid parameter: Fields[") + name + QStringLiteral("]"));
        cols.push_back(f->FieldNo() - 1);
        sortFields.push_back(f);
    }
    std::vector<bool> asc(cols.size(), true);
    for (std::size_t i = 0; i < asc.size() && i < ascending.size(); ++i)
        asc[i] = ascending[i];
    while (FetchOne()) {
    }
    EnsureMap();
    std::stable_sort(fCache->Map.begin(), fCache->Map.end(), [&](int a, int b) {
        if (OnCompareFieldValues) {
            for (std::size_t i = 0; i < sortFields.size(); ++i) {
                int r = 0;
                OnCompareFieldValues(sortFields[i], a, b, r);
                if (r != 0)
                    return asc[i] ? r < 0 : r > 0;
            }
            return false;
        }
        return CompareRows(cols, asc, a, b) < 0;
    });
    fSortFields = fields;
    fSortAscending = asc;
    ResetFilterIndex();
}

void TFIBCustomDataSet::DoSort(const QStringList& fields, const std::vector<bool>& ascending)
{
    CheckDatasetOpen(QStringLiteral(" do local sorting "));
    CheckBrowseMode();
    const TBookmark current = IsEmpty() ? TBookmark() : TDataSet::GetBookmark();
    SortMap(fields, ascending);
    if (!current.isEmpty() && BookmarkValid(current)) {
        InternalGotoBookmark(current);
        Resync();
    } else {
        First();
    }
    DataEvent(deDataSetChange);
}

namespace {
bool IsDateTimeField(TFieldType type) { return type == ftDate || type == ftTime || type == ftDateTime; }

// A key as a date-time value: date and time variants, text in the process's
// formats or in ISO form, or a number. False when it is none of these.
bool KeyAsDateTime(const QVariant& key, TDateTime& value)
{
    switch (key.typeId()) {
    case QMetaType::QDateTime: {
        const QDateTime dt = key.toDateTime();
        value = QDateTimeToDateTime(dt);
        return dt.isValid();
    }
    case QMetaType::QDate: {
        const QDate d = key.toDate();
        value = QDateTimeToDateTime(QDateTime(d, QTime(0, 0)));
        return d.isValid();
    }
    case QMetaType::QTime: {
        const QTime t = key.toTime();
        value = t.msecsSinceStartOfDay() / MSecsPerDay;
        return t.isValid();
    }
    case QMetaType::QString: {
        const QString text = key.toString().trimmed();
        const QString date = FormatSettings.ShortDateFormat;
        for (const QString& format : {date + u' ' + FormatSettings.ShortTimeFormat, date + QStringLiteral(" HH:mm"),
                                      date + QStringLiteral(" HH:mm:ss.zzz")}) {
            const QDateTime dt = QDateTime::fromString(text, format);
            if (dt.isValid()) {
                value = QDateTimeToDateTime(dt);
                return true;
            }
        }
        for (const QString& format : {date, QStringLiteral("yyyy-MM-dd")}) {
            const QDate d = QDate::fromString(text, format);
            if (d.isValid()) {
                value = QDateTimeToDateTime(QDateTime(d, QTime(0, 0)));
                return true;
            }
        }
        const QDateTime iso = QDateTime::fromString(text, Qt::ISODateWithMs);
        if (iso.isValid()) {
            value = QDateTimeToDateTime(iso);
            return true;
        }
        bool ok = false;
        value = text.toDouble(&ok);
        return ok;
    }
    default: {
        bool ok = false;
        value = key.toDouble(&ok);
        return ok;
    }
    }
}

// A date field matches on the day, a time field on the time of day, a date-time
// field on both, to the millisecond that the cache keeps.
bool SameDateTime(TFieldType type, TDateTime a, TDateTime b)
{
    const bool sameDay = std::trunc(a) == std::trunc(b);
    const bool sameTime = TimeOfDayMs(a) == TimeOfDayMs(b);
    switch (type) {
    case ftDate: return sameDay;
    case ftTime: return sameTime;
    default: return sameDay && sameTime;
    }
}
}  // namespace

bool TFIBCustomDataSet::MatchAt(int pos, const std::vector<TField*>& fields, const QVariantList& values,
                                TLocateOptions options)
{
    if (!SelectActiveRow(pos))
        return false;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const QVariant& key = values[static_cast<qsizetype>(i)];
        TField* f = fields[i];
        bool match;
        if (key.isNull() || f->IsNull()) {
            match = key.isNull() && f->IsNull();
        } else if (FieldStorage(f->DataType()) == TFieldStorage::Text) {
            const QString a = f->AsString().trimmed();
            const QString b = key.toString().trimmed();
            const Qt::CaseSensitivity cs = options & loCaseInsensitive ? Qt::CaseInsensitive : Qt::CaseSensitive;
            match = options & loPartialKey ? a.startsWith(b, cs) : a.compare(b, cs) == 0;
        } else if (IsDateTimeField(f->DataType())) {
            TDateTime wanted = 0;
            match = KeyAsDateTime(key, wanted) && SameDateTime(f->DataType(), f->AsDateTime(), wanted);
        } else {
            const int type = key.typeId();
            TDateTime wanted = 0;
            if (type == QMetaType::QDateTime || type == QMetaType::QDate || type == QMetaType::QTime)
                match = KeyAsDateTime(key, wanted) && f->AsFloat() == wanted;
            else
                match = f->AsFloat() == key.toDouble();
        }
        if (!match)
            return false;
    }
    return true;
}

void TFIBCustomDataSet::MoveToFound(int pos)
{
    // pos counts in the filtered order while a filter is on; the cursor in the map's.
    const int target = Filtered() ? fFilterPos[static_cast<std::size_t>(pos)] : pos;
    SelectCursorRow();
    if (BeforeScroll)
        BeforeScroll(this);
    fCurrent = target;
    Resync();
    DataEvent(deDataSetChange);
    DoAfterScroll();
}

std::pair<std::vector<TField*>, QVariantList> TFIBCustomDataSet::LocateKeys(const QString& keyFields,
                                                                            const QVariant& keyValues)
{
    std::vector<TField*> fields = GetFieldList(keyFields);
    QVariantList values = fields.size() == 1 ? QVariantList{keyValues} : keyValues.toList();
    if (values.size() != static_cast<qsizetype>(fields.size()))
        throw EDatabaseError(QStringLiteral("%1: Locate needs one value per key field").arg(Name()));
    return {std::move(fields), std::move(values)};
}

bool TFIBCustomDataSet::Search(const QString& keyFields, const QVariant& keyValues, TLocateOptions options, int from,
                               int step)
{
    CheckBrowseMode();
    TScreenCursorScope wait(fSQLScreenCursor);
    const auto [fields, values] = LocateKeys(keyFields, keyValues);
    const int saved = fCurrent;
    for (int pos = from; pos >= 0; pos += step) {
        if (MatchAt(pos, fields, values, options)) {
            MoveToFound(pos);
            return true;
        }
        if (!SelectActiveRow(pos))
            break;
    }
    SelectCursorRow();
    fCurrent = saved;
    return false;
}

bool TFIBCustomDataSet::Locate(const QString& keyFields, const QVariant& keyValues, TLocateOptions options)
{
    CheckBrowseMode();
    TScreenCursorScope wait(fSQLScreenCursor);
    const auto [fields, values] = LocateKeys(keyFields, keyValues);
    if (IsEmpty())
        return false;
    const int saved = fCurrent;
    const int current = std::max(0, RecNo() - 1);
    // Rows already here first, from the current one on and then those before it;
    // only then more rows from the server.
    const int cached = Filtered() ? (ScanFilter(static_cast<std::size_t>(VisibleCount()) + 1, false),
                                     static_cast<int>(fFilterPos.size()))
                                  : VisibleCount();
    for (int i = 0; i < cached; ++i) {
        const int pos = (current + i) % cached;
        if (MatchAt(pos, fields, values, options)) {
            MoveToFound(pos);
            return true;
        }
    }
    for (int pos = cached; SelectActiveRow(pos); ++pos) {
        if (MatchAt(pos, fields, values, options)) {
            MoveToFound(pos);
            return true;
        }
    }
    SelectCursorRow();
    fCurrent = saved;
    return false;
}

void TFIBCustomDataSet::SetFilter(const QString& value)
{
    ResetFilterIndex();
    TDataSet::SetFilter(value);
}

void TFIBCustomDataSet::SetFiltered(bool value)
{
    ResetFilterIndex();
    TDataSet::SetFiltered(value);
}

bool TFIBCustomDataSet::ScanFilter(std::size_t count, bool fetch) const
{
    auto* self = const_cast<TFIBCustomDataSet*>(this);
    while (fFilterPos.size() < count) {
        if (fFilterScanned >= VisibleCount() && !(fetch && self->FetchOne()))
            return false;
        self->FillBuf(&fFilterBuf, fFilterScanned);
        if (self->RecordFilter(reinterpret_cast<TRecordBuffer>(&fFilterBuf)))
            fFilterPos.push_back(fFilterScanned);
        ++fFilterScanned;
    }
    return true;
}

int TFIBCustomDataSet::FilteredIndexOf(int pos) const
{
    if (pos >= fFilterScanned)
        ScanFilter(static_cast<std::size_t>(-1), false);
    const auto it = std::lower_bound(fFilterPos.begin(), fFilterPos.end(), pos);
    return static_cast<int>(it - fFilterPos.begin());
}

bool TFIBCustomDataSet::LocateNext(const QString& keyFields, const QVariant& keyValues, TLocateOptions options)
{
    CheckDatasetOpen(QStringLiteral("LocateNext"));
    return Search(keyFields, keyValues, options, RecNo(), 1);
}

bool TFIBCustomDataSet::LocatePrior(const QString& keyFields, const QVariant& keyValues, TLocateOptions options)
{
    CheckDatasetOpen(QStringLiteral("LocatePrior"));
    return Search(keyFields, keyValues, options, RecNo() - 2, -1);
}

// ---- after scrolling, update statuses, calculated values ----

void TFIBCustomDataSet::DoAfterScroll()
{
    TDataSet::DoAfterScroll();
    if (!OnEndScroll || IsDestroying())
        return;
    if (!fEndScrollTimer) {
        fEndScrollTimer = std::make_unique<QTimer>();
        fEndScrollTimer->setSingleShot(true);
        QObject::connect(fEndScrollTimer.get(), &QTimer::timeout, [this] {
            if (OnEndScroll && Active())
                OnEndScroll(this);
        });
    }
    // A restart per scroll: a burst of moves ends in one notice.
    fEndScrollTimer->start(fEndScrollDelay);
}

bool TFIBCustomDataSet::StatusVisible(int row) const
{
    static constexpr TUpdateRecordTypes byStatus[] = {rtUnmodified, rtModified, rtInserted,
                                                      rtDeleted,    rtInserted, rtDeleted};
    const auto status = Load<std::uint8_t>(fCache->Record(row) + FlagsOffset) & 7;
    return status < 6 && (fUpdateRecordTypes & byStatus[status]);
}

void TFIBCustomDataSet::SetUpdateRecordTypes(TUpdateRecordTypes value)
{
    if (value == fUpdateRecordTypes)
        return;
    fUpdateRecordTypes = value;
    if (!Active())
        return;
    CheckBrowseMode();
    RebuildMap();
    ResetFilterIndex();
    First();
    DataEvent(deDataSetChange);
}

void TFIBCustomDataSet::RebuildMap()
{
    // Rows that come back go behind the nearest shown row of a lower slot, so an
    // inserted row keeps its place and the order stays close to what was seen.
    std::vector<int> order;
    if (fCache->HasMap) {
        std::vector<char> inMap(static_cast<std::size_t>(fCache->Count()), 0);
        for (int r : fCache->Map)
            inMap[static_cast<std::size_t>(r)] = 1;
        order = fCache->Map;
        for (int r = 0; r < fCache->Count(); ++r) {
            if (inMap[static_cast<std::size_t>(r)])
                continue;
            auto at = order.begin();
            for (auto it = order.begin(); it != order.end(); ++it)
                if (*it < r)
                    at = it + 1;
            order.insert(at, r);
        }
    } else {
        order.resize(static_cast<std::size_t>(fCache->Count()));
        for (int r = 0; r < fCache->Count(); ++r)
            order[static_cast<std::size_t>(r)] = r;
    }
    std::erase_if(order, [this](int r) { return !StatusVisible(r); });
    fCache->Map = std::move(order);
    fCache->HasMap = true;
    if (!fSortFields.isEmpty()) {
        const QStringList fields = fSortFields;
        const std::vector<bool> asc = fSortAscending;
        SortMap(fields, asc);
    }
}

bool TFIBCustomDataSet::ReadCachedCalcFields(TRecordBuffer buffer, std::vector<QVariant>& values)
{
    const TBuf* b = Buf(buffer);
    if (!(fOptions & poCacheCalcFields) || !b || b->HasCopy || b->Row < 0)
        return false;
    const auto it = fCalcCache.find(b->Row);
    if (it == fCalcCache.end())
        return false;
    values = it->second;
    return true;
}

void TFIBCustomDataSet::WriteCachedCalcFields(TRecordBuffer buffer, const std::vector<QVariant>& values)
{
    const TBuf* b = Buf(buffer);
    if ((fOptions & poCacheCalcFields) && b && !b->HasCopy && b->Row >= 0)
        fCalcCache[b->Row] = values;
}

// ---- order of the server's rows ----

namespace {
// Splits at commas outside brackets and quotes.
QStringList SplitOrderList(const QString& text)
{
    QStringList items;
    int depth = 0;
    QChar quote;
    QString item;
    for (const QChar c : text) {
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
        } else if (c == '\'' || c == '"') {
            quote = c;
        } else if (c == '(') {
            ++depth;
        } else if (c == ')') {
            --depth;
        } else if ((c == ',' || c == ';') && depth == 0) {
            items.push_back(item.trimmed());
            item.clear();
            continue;
        }
        item += c;
    }
    if (!item.trimmed().isEmpty())
        items.push_back(item.trimmed());
    return items;
}

// One order item as name and direction; false for an expression.
bool ParseOrderItem(QString item, QString& name, bool& ascending)
{
    static const QRegularExpression tail(QStringLiteral("\\s+NULLS\\s+(FIRST|LAST)\\s*$"),
                                         QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression dir(QStringLiteral("\\s+(ASC|ASCENDING|DESC|DESCENDING)\\s*$"),
                                        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression plain(QStringLiteral("^(?:(?:\"[^\"]+\"|[A-Za-z_$][\\w$]*)\\.)?(\"[^\"]+\"|[A-Za-z_$][\\w$]*|\\d+)$"));
    item.remove(tail);
    ascending = true;
    const QRegularExpressionMatch d = dir.match(item);
    if (d.hasMatch()) {
        ascending = !d.captured(1).startsWith(QLatin1Char('D'), Qt::CaseInsensitive);
        item.truncate(d.capturedStart());
    }
    const QRegularExpressionMatch m = plain.match(item.trimmed());
    if (!m.hasMatch())
        return false;
    name = m.captured(1);
    if (name.startsWith(QLatin1Char('"')))
        name = name.mid(1, name.size() - 2);
    else
        name = name.toUpper();
    return true;
}
}  // namespace

void TFIBCustomDataSet::ReadOrderInfo()
{
    TSQLParser parser(fQSelect->SQL().Text());
    int start = 0, end = 0;
    QString clause;
    parser.OrderBySection(start, end, clause);
    if (start <= 0)
        return;
    for (const QString& item : SplitOrderList(clause)) {
        QString name;
        bool ascending = true;
        if (!ParseOrderItem(item, name, ascending))
            break;
        TField* field = nullptr;
        bool isNumber = false;
        const int column = name.toInt(&isNumber);
        if (isNumber) {
            for (TField* f : Fields())
                if (f->FieldNo() == column)
                    field = f;
        } else {
            for (TField* f : Fields()) {
                if (f->FieldNo() <= 0)
                    continue;
                const TFIBFieldDescr& d = fDescr[static_cast<std::size_t>(f->FieldNo() - 1)];
                if (d.FieldName == name || f->FieldName() == name) {
                    field = f;
                    break;
                }
            }
        }
        if (!field)
            throw EDatabaseError(QStringLiteral("%1.\r\nField %2 use in order, but not presented in fields section of SelectSQL")
                                     .arg(Name(), name));
        fOrderInfo.push_back({field->FieldName(), ascending});
    }
}

void TFIBCustomDataSet::DoSortEx(const QString& orderList)
{
    QStringList fields;
    std::vector<bool> ascending;
    for (const QString& item : SplitOrderList(orderList)) {
        QString name;
        bool asc = true;
        if (!ParseOrderItem(item, name, asc))
            throw EDatabaseError(QStringLiteral("Can't sort. Invalid parameter: Fields[") + item + QStringLiteral("]"));
        fields.push_back(name);
        ascending.push_back(asc);
    }
    DoSort(fields, ascending);
}

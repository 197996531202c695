#pragma once
// A dataset over columns in memory, built on the dataset contract the same way the
// record cache over a statement is: the buffer holds a row number while browsing
// and a private copy of the row while editing. Tests and the benchmark use it.

#include "dbaccess/DB.h"

#include <cstring>
#include <vector>

class TMemDataSet : public TDataSet {
public:
    struct Column {
        QString Name;
        TFieldType Type = ftUnknown;
        int Size = 0;
        bool Required = false;
        std::vector<double> F;
        std::vector<qint64> I;
        std::vector<QString> S;
        std::vector<QByteArray> B;
        std::vector<char> Null;
    };

    explicit TMemDataSet(TComponent* owner = nullptr) : TDataSet(owner) {}
    ~TMemDataSet() override
    {
        MarkDestroying();
        Close();
    }

    // Schema and rows; a column's values are set with SetCell (null until then).
    void AddColumn(const QString& name, TFieldType type, int size = 0, bool required = false)
    {
        fColumns.push_back(Column{name, type, size, required, {}, {}, {}, {}, {}});
        Resize(fColumns.back(), fRows);
    }
    void Reserve(int rows)
    {
        for (Column& c : fColumns) {
            c.Null.reserve(static_cast<std::size_t>(rows));
            Storage(c, [rows](auto& v) { v.reserve(static_cast<std::size_t>(rows)); });
        }
    }
    int AddRow()
    {
        ++fRows;
        for (Column& c : fColumns)
            Resize(c, fRows);
        return fRows - 1;
    }
    void SetCell(int row, int col, const QVariant& value)
    {
        Column& c = fColumns[static_cast<std::size_t>(col)];
        const auto r = static_cast<std::size_t>(row);
        c.Null[r] = value.isNull();
        if (value.isNull())
            return;
        switch (FieldStorage(c.Type)) {
        case TFieldStorage::Float: c.F[r] = value.toDouble(); break;
        case TFieldStorage::Integer: c.I[r] = value.toLongLong(); break;
        case TFieldStorage::Text: c.S[r] = value.toString(); break;
        default: c.B[r] = value.toByteArray(); break;
        }
    }
    void SetFloat(int row, int col, double v)
    {
        Column& c = fColumns[static_cast<std::size_t>(col)];
        c.F[static_cast<std::size_t>(row)] = v;
        c.Null[static_cast<std::size_t>(row)] = 0;
    }
    const std::vector<double>& FloatColumn(int col) const { return fColumns[static_cast<std::size_t>(col)].F; }
    QVariant Cell(int row, int col) const
    {
        const Column& c = fColumns[static_cast<std::size_t>(col)];
        const auto r = static_cast<std::size_t>(row);
        if (c.Null[r])
            return QVariant();
        switch (FieldStorage(c.Type)) {
        case TFieldStorage::Float: return c.F[r];
        case TFieldStorage::Integer: return c.I[r];
        case TFieldStorage::Text: return c.S[r];
        default: return c.B[r];
        }
    }

    // Rows refuse editing (InternalEdit raises) while set.
    void SetReadOnlyRows(bool value) { fReadOnlyRows = value; }
    // Raised by the next InternalPost while above zero (counts down).
    int FailPosts = 0;
    // Calls of the record hooks, to show what the base asks for.
    int GetRecordCalls = 0;
    int SetToRecordCalls = 0;

    bool GetFieldData(TField* field, double* value) override { return Read(field, value, &TCell::F, &Column::F); }
    bool GetFieldData(TField* field, qint64* value) override { return Read(field, value, &TCell::I, &Column::I); }
    bool GetFieldData(TField* field, QString* value) override { return Read(field, value, &TCell::S, &Column::S); }
    bool GetFieldData(TField* field, QByteArray* value) override { return Read(field, value, &TCell::B, &Column::B); }
    void SetFieldData(TField* field, const double* value) override { Write(field, value, &TCell::F); }
    void SetFieldData(TField* field, const qint64* value) override { Write(field, value, &TCell::I); }
    void SetFieldData(TField* field, const QString* value) override { Write(field, value, &TCell::S); }
    void SetFieldData(TField* field, const QByteArray* value) override { Write(field, value, &TCell::B); }

protected:
    struct TCell {
        bool Null = true;
        double F = 0;
        qint64 I = 0;
        QString S;
        QByteArray B;
    };
    struct Record {
        int Row = -1;
        bool HasCopy = false;
        std::vector<TCell> Copy;
    };
    static Record* Rec(TRecordBuffer b) { return reinterpret_cast<Record*>(b); }

    TRecordBuffer AllocRecordBuffer() override { return reinterpret_cast<TRecordBuffer>(new Record); }
    void FreeRecordBuffer(TRecordBuffer& buffer) override
    {
        delete Rec(buffer);
        buffer = nullptr;
    }

    void Fill(TRecordBuffer buffer, int row)
    {
        Record* r = Rec(buffer);
        r->Row = row;
        r->HasCopy = false;
    }

    TGetResult GetRecord(TRecordBuffer buffer, TGetMode mode, bool) override
    {
        ++GetRecordCalls;
        switch (mode) {
        case gmCurrent:
            if (fCursor < 0)
                return grBOF;
            if (fCursor >= fRows)
                return grEOF;
            Fill(buffer, fCursor);
            return grOK;
        case gmNext:
            for (;;) {
                if (fCursor >= fRows - 1) {
                    fCursor = fRows;
                    return grEOF;
                }
                Fill(buffer, ++fCursor);
                if (RecordFilter(buffer))
                    return grOK;
            }
        case gmPrior:
            for (;;) {
                if (fCursor <= 0) {
                    fCursor = -1;
                    return grBOF;
                }
                Fill(buffer, --fCursor);
                if (RecordFilter(buffer))
                    return grOK;
            }
        }
        return grError;
    }
    bool GetRecordAt(TRecordBuffer buffer, int row) override
    {
        if (row < 0 || row >= fRows)
            return false;
        Fill(buffer, row);
        return true;
    }
    void InternalInitRecord(TRecordBuffer buffer) override
    {
        Record* r = Rec(buffer);
        r->Row = -1;
        r->HasCopy = true;
        r->Copy.assign(fColumns.size(), TCell());
    }
    void InternalSetToRecord(TRecordBuffer buffer) override
    {
        ++SetToRecordCalls;
        fCursor = Rec(buffer)->Row;
    }

    void InternalOpen() override
    {
        FieldDefs().Clear();
        for (const Column& c : fColumns)
            FieldDefs().Add(c.Name, c.Type, c.Size, c.Required);
        if (DefaultFields())
            CreateFields();
        BindFields(true);
        fCursor = -1;
        fOpen = true;
    }
    void InternalClose() override { fOpen = false; }
    bool IsCursorOpen() const override { return fOpen; }
    void InternalFirst() override { fCursor = -1; }
    void InternalLast() override { fCursor = fRows; }
    void InternalSetRecNo(int value) override { fCursor = std::clamp(value - 1, 0, fRows - 1); }
    int GetRecNo() const override
    {
        const Record* r = Rec(ActiveBuffer());
        return r && r->Row >= 0 ? r->Row + 1 : 0;
    }
    int GetRecordCount() const override { return fRows; }

    void InternalEdit() override
    {
        if (fReadOnlyRows)
            throw EDatabaseError(QStringLiteral("row is locked"));
        Record* r = Rec(ActiveBuffer());
        r->Copy.assign(fColumns.size(), TCell());
        for (std::size_t c = 0; c < fColumns.size(); ++c) {
            const Column& col = fColumns[c];
            const auto row = static_cast<std::size_t>(r->Row);
            TCell& cell = r->Copy[c];
            cell.Null = col.Null[row];
            if (!col.F.empty()) cell.F = col.F[row];
            if (!col.I.empty()) cell.I = col.I[row];
            if (!col.S.empty()) cell.S = col.S[row];
            if (!col.B.empty()) cell.B = col.B[row];
        }
        r->HasCopy = true;
    }
    void InternalInsert() override { fInsertAt = Appending() || fCursor < 0 ? fRows : std::min(fCursor, fRows); }
    void InternalPost() override
    {
        if (FailPosts > 0) {
            --FailPosts;
            throw EDatabaseError(QStringLiteral("post refused"));
        }
        Record* r = Rec(ActiveBuffer());
        int row = r->Row;
        if (State() == dsInsert) {
            row = fInsertAt;
            ++fRows;
            for (Column& c : fColumns) {
                const auto at = static_cast<std::ptrdiff_t>(row);
                c.Null.insert(c.Null.begin() + at, char(1));
                Storage(c, [at](auto& v) { v.insert(v.begin() + at, typename std::decay_t<decltype(v)>::value_type{}); });
                Resize(c, fRows);
            }
        }
        for (std::size_t c = 0; c < fColumns.size(); ++c) {
            Column& col = fColumns[c];
            const TCell& cell = r->Copy[c];
            const auto at = static_cast<std::size_t>(row);
            col.Null[at] = cell.Null;
            switch (FieldStorage(col.Type)) {
            case TFieldStorage::Float: col.F[at] = cell.F; break;
            case TFieldStorage::Integer: col.I[at] = cell.I; break;
            case TFieldStorage::Text: col.S[at] = cell.S; break;
            default: col.B[at] = cell.B; break;
            }
        }
        fCursor = row;
    }
    void InternalDelete() override
    {
        const auto at = static_cast<std::ptrdiff_t>(fCursor);
        for (Column& c : fColumns) {
            c.Null.erase(c.Null.begin() + at);
            Storage(c, [at](auto& v) {
                if (!v.empty())
                    v.erase(v.begin() + at);
            });
        }
        --fRows;
    }

    void GetBookmarkData(TRecordBuffer buffer, TBookmark& bookmark) const override
    {
        const int row = Rec(buffer)->Row;
        bookmark = QByteArray(reinterpret_cast<const char*>(&row), sizeof row);
    }
    void InternalGotoBookmark(const TBookmark& bookmark) override
    {
        if (!BookmarkValid(bookmark))
            throw EDatabaseError(QStringLiteral("Record not found"));
        std::memcpy(&fCursor, bookmark.constData(), sizeof fCursor);
    }

public:
    bool BookmarkValid(const TBookmark& bookmark) const override
    {
        if (bookmark.size() != sizeof(int))
            return false;
        int row;
        std::memcpy(&row, bookmark.constData(), sizeof row);
        return row >= 0 && row < fRows;
    }
    int CompareBookmarks(const TBookmark& a, const TBookmark& b) const override
    {
        int x = -1, y = -1;
        if (a.size() == sizeof x)
            std::memcpy(&x, a.constData(), sizeof x);
        if (b.size() == sizeof y)
            std::memcpy(&y, b.constData(), sizeof y);
        return x < y ? -1 : (x > y ? 1 : 0);
    }

private:
    template <class F>
    static void Storage(Column& c, F f)
    {
        switch (FieldStorage(c.Type)) {
        case TFieldStorage::Float: f(c.F); break;
        case TFieldStorage::Integer: f(c.I); break;
        case TFieldStorage::Text: f(c.S); break;
        default: f(c.B); break;
        }
    }
    static void Resize(Column& c, int rows)
    {
        const auto n = static_cast<std::size_t>(rows);
        c.Null.resize(n, 1);
        Storage(c, [n](auto& v) { v.resize(n); });
    }

    template <class T, class CellMember, class ColumnMember>
    bool Read(TField* field, T* value, CellMember cellMember, ColumnMember columnMember)
    {
        const Record* r = Rec(ActiveBuffer());
        const int col = field->FieldNo() - 1;
        if (!r || col < 0)
            return false;
        const auto c = static_cast<std::size_t>(col);
        if (r->HasCopy) {
            const TCell& cell = r->Copy[c];
            if (cell.Null)
                return false;
            if (value)
                *value = cell.*cellMember;
            return true;
        }
        if (r->Row < 0 || r->Row >= fRows)
            return false;
        const Column& column = fColumns[c];
        const auto row = static_cast<std::size_t>(r->Row);
        if (column.Null[row])
            return false;
        if (value)
            *value = (column.*columnMember)[row];
        return true;
    }
    template <class T, class CellMember>
    void Write(TField* field, const T* value, CellMember cellMember)
    {
        Record* r = Rec(ActiveBuffer());
        TCell& cell = r->Copy[static_cast<std::size_t>(field->FieldNo() - 1)];
        cell.Null = value == nullptr;
        if (value)
            cell.*cellMember = *value;
    }

    std::vector<Column> fColumns;
    int fRows = 0;
    int fCursor = -1;
    int fInsertAt = 0;
    bool fOpen = false;
    bool fReadOnlyRows = false;
};

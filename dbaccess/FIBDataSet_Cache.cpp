#include "dbaccess/FIBDataSet_Internal.h"

#include <algorithm>
#include <cmath>
#include <cstring>

using namespace fibds;

// ---------------------------------------------------------------- string store

std::uint32_t TStringCollection::AtOf(std::uint32_t row) const
{
    if (row >= fRows)
        return 0;
    if (!fAt.empty())
        return fAt[row];
    const auto next = std::upper_bound(fRuns.begin(), fRuns.end(), row,
                                       [](std::uint32_t r, const TRun& run) { return r < run.First; });
    return std::prev(next)->At;
}

void TStringCollection::SetAt(std::uint32_t row, std::uint32_t at)
{
    if (!fAt.empty()) {
        if (fAt.size() <= row)
            fAt.resize(std::size_t(row) + 1, 0);
        fAt[row] = at;
        fRows = std::max(fRows, row + 1);
        return;
    }
    if (row >= fRows) {
        // At the end, as a fetch writes: rows skipped hold no text.
        if (row > fRows && (fRuns.empty() || fRuns.back().At != 0))
            fRuns.push_back({fRows, 0});
        if (fRuns.empty() || fRuns.back().At != at)
            fRuns.push_back({row, at});
        fRows = row + 1;
    } else {
        // An edit inside: the run holding the row is split around it.
        auto it = std::prev(std::upper_bound(fRuns.begin(), fRuns.end(), row,
                                             [](std::uint32_t r, const TRun& run) { return r < run.First; }));
        if (it->At == at)
            return;
        const std::uint32_t end = std::next(it) == fRuns.end() ? fRows : std::next(it)->First;
        const std::uint32_t old = it->At;
        std::vector<TRun> parts;
        if (row > it->First)
            parts.push_back({it->First, old});
        parts.push_back({row, at});
        if (row + 1 < end)
            parts.push_back({row + 1, old});
        const auto pos = it - fRuns.begin();
        fRuns.erase(it);
        fRuns.insert(fRuns.begin() + pos, parts.begin(), parts.end());
    }
    // Runs that no longer save room give way to the index row by row.
    if (fRuns.size() > 64 && fRuns.size() * sizeof(TRun) > std::size_t(fRows) * sizeof(std::uint32_t)) {
        fAt.resize(fRows);
        for (std::size_t k = 0; k < fRuns.size(); ++k) {
            const std::uint32_t end = k + 1 < fRuns.size() ? fRuns[k + 1].First : fRows;
            std::fill(fAt.begin() + fRuns[k].First, fAt.begin() + end, fRuns[k].At);
        }
        fRuns.clear();
        fRuns.shrink_to_fit();
    }
}

void TStringCollection::Set(int row, const char* data, int length, bool trim)
{
    if (row < 0)
        return;
    const auto r = static_cast<std::uint32_t>(row);
    if (trim)
        length = TrimmedLength(data, length);
    if (length <= 0) {
        SetAt(r, 0);
        return;
    }
    const auto n = static_cast<std::uint32_t>(length);
    if (fLast) {
        std::uint32_t lastLength;
        std::memcpy(&lastLength, fData.data() + fLast - 1, sizeof lastLength);
        if (lastLength == n && std::memcmp(fData.data() + fLast - 1 + sizeof n, data, n) == 0) {
            SetAt(r, fLast);
            return;
        }
    }
    // Texts are shared, so an edit never writes over the old room.
    const auto at = static_cast<std::uint32_t>(fData.size());
    const auto* len = reinterpret_cast<const char*>(&n);
    fData.insert(fData.end(), len, len + sizeof n);
    fData.insert(fData.end(), data, data + length);
    fLast = at + 1;
    SetAt(r, fLast);
}

const char* TStringCollection::Data(int row, int& length) const
{
    const std::uint32_t at = row < 0 ? 0 : AtOf(static_cast<std::uint32_t>(row));
    if (at == 0) {
        length = 0;
        return nullptr;
    }
    const char* p = fData.data() + at - 1;
    std::uint32_t n;
    std::memcpy(&n, p, sizeof n);
    length = static_cast<int>(n);
    return p + sizeof n;
}

QByteArray TStringCollection::Get(int row) const
{
    int length = 0;
    const char* p = Data(row, length);
    return p ? QByteArray(p, length) : QByteArray();
}

void TStringCollection::Clear()
{
    fRuns.clear();
    fAt.clear();
    fRows = 0;
    fData.clear();
    fLast = 0;
}

// ---------------------------------------------------------------- cache

TRecordsCache::TRecordsCache(int storedRecordSize, int bufferChunks, int longStringCount, int blobCount)
    : fRecordSize(storedRecordSize), fStrings(static_cast<std::size_t>(longStringCount)), fBlobCount(blobCount)
{
    if (storedRecordSize <= 0)
        throw EMemManagerError(QStringLiteral("Incompatible Sizes"));
    fBlockSize = storedRecordSize * std::max(bufferChunks, 1);
    if (fBlockSize < 1024)
        fBlockSize = storedRecordSize + 1024 - 1024 % storedRecordSize;
    if (storedRecordSize > fBlockSize)
        throw EMemManagerError(QStringLiteral("Incompatible Sizes"));
    fRecordsPerBlock = fBlockSize / storedRecordSize;
}

int TRecordsCache::AddRecord()
{
    const int row = fCount;
    const auto block = static_cast<std::size_t>(row / fRecordsPerBlock);
    if (block >= fBlocks.size())
        fBlocks.emplace_back(new std::byte[static_cast<std::size_t>(fBlockSize)]());
    ++fCount;
    std::memset(Record(row), 0, static_cast<std::size_t>(fRecordSize));
    return row;
}

std::byte* TRecordsCache::Record(int row)
{
    return fBlocks[static_cast<std::size_t>(row / fRecordsPerBlock)].get()
           + static_cast<std::ptrdiff_t>(row % fRecordsPerBlock) * fRecordSize;
}

const std::byte* TRecordsCache::Record(int row) const
{
    return fBlocks[static_cast<std::size_t>(row / fRecordsPerBlock)].get()
           + static_cast<std::ptrdiff_t>(row % fRecordsPerBlock) * fRecordSize;
}

std::byte* TRecordsCache::WriteRecord(int row)
{
    if (row < 0 || row >= fCount)
        throw EMemManagerError(QStringLiteral("Can't write to Buffer.Incorrect RecordNo"));
    return Record(row);
}

const std::byte* TRecordsCache::ReadRecord(int row) const
{
    if (row < 0 || row >= fCount)
        throw EMemManagerError(QStringLiteral("Can't read Buffer.Incorrect RecordNo"));
    return Record(row);
}

const QByteArray* TRecordsCache::ClientBlob(int row, int index) const
{
    if (fClientBlobs.empty())
        return nullptr;
    const auto it = fClientBlobs.find(static_cast<std::int64_t>(row) * fBlobCount + index);
    return it == fClientBlobs.end() ? nullptr : &it->second;
}

void TRecordsCache::SetClientBlob(int row, int index, const QByteArray& data)
{
    fClientBlobs[static_cast<std::int64_t>(row) * fBlobCount + index] = data;
}

void TRecordsCache::ClearClientBlob(int row, int index)
{
    fClientBlobs.erase(static_cast<std::int64_t>(row) * fBlobCount + index);
}

void TRecordsCache::SaveOld(int row)
{
    if (row < 0 || row >= fCount)
        throw EMemManagerError(QStringLiteral("Can't read LogBuffer.Incorrect RecordNo"));
    if (fOld.count(row))
        return;
    TOld& old = fOld[row];
    const std::byte* rec = Record(row);
    old.Data.assign(rec, rec + fRecordSize);
    for (const TStringCollection& s : fStrings)
        old.Strings.push_back(s.Get(row));
    for (int i = 0; i < fBlobCount; ++i)
        if (const QByteArray* blob = ClientBlob(row, i))
            old.Blobs[i] = *blob;
}

void TRecordsCache::DropOld(int row)
{
    fOld.erase(row);
}

bool TRecordsCache::RestoreOld(int row)
{
    const auto it = fOld.find(row);
    if (it == fOld.end())
        return false;
    const TOld& old = it->second;
    std::memcpy(WriteRecord(row), old.Data.data(), old.Data.size());
    for (std::size_t i = 0; i < fStrings.size() && i < old.Strings.size(); ++i)
        fStrings[i].Set(row, old.Strings[i].constData(), static_cast<int>(old.Strings[i].size()), false);
    for (int i = 0; i < fBlobCount; ++i) {
        const auto blob = old.Blobs.find(i);
        if (blob == old.Blobs.end())
            ClearClientBlob(row, i);
        else
            SetClientBlob(row, i, blob->second);
    }
    fOld.erase(it);
    return true;
}

const QByteArray* TRecordsCache::OldClientBlob(int row, int index) const
{
    const auto it = fOld.find(row);
    if (it == fOld.end())
        return nullptr;
    const auto blob = it->second.Blobs.find(index);
    return blob == it->second.Blobs.end() ? nullptr : &blob->second;
}

const std::vector<std::byte>* TRecordsCache::OldRecord(int row) const
{
    auto it = fOld.find(row);
    return it == fOld.end() ? nullptr : &it->second.Data;
}

const std::vector<QByteArray>* TRecordsCache::OldStrings(int row) const
{
    auto it = fOld.find(row);
    return it == fOld.end() ? nullptr : &it->second.Strings;
}

std::size_t TRecordsCache::MemoryUsed() const
{
    std::size_t n = fBlocks.size() * static_cast<std::size_t>(fBlockSize) + Map.capacity() * sizeof(int);
    for (const TStringCollection& s : fStrings)
        n += s.Bytes();
    for (const auto& [key, blob] : fClientBlobs)
        n += static_cast<std::size_t>(blob.size());
    return n;
}

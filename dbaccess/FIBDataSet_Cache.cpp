#include "dbaccess/FIBDataSet_Internal.h"

#include <algorithm>
#include <cmath>
#include <cstring>

using namespace fibds;

// ---------------------------------------------------------------- string store

void TStringCollection::Set(int row, const char* data, int length, bool trim)
{
    const auto r = static_cast<std::size_t>(row);
    if (fAt.size() <= r)
        fAt.resize(r + 1, 0);
    if (trim)
        length = TrimmedLength(data, length);
    if (length <= 0) {
        fAt[r] = 0;
        return;
    }
    const auto n = static_cast<std::uint32_t>(length);
    if (fLast) {
        std::uint32_t lastLength;
        std::memcpy(&lastLength, fData.data() + fLast - 1, sizeof lastLength);
        if (lastLength == n && std::memcmp(fData.data() + fLast - 1 + sizeof n, data, n) == 0) {
            fAt[r] = fLast;
            return;
        }
    }
    // Texts are shared, so an edit never writes over the old room.
    const auto at = static_cast<std::uint32_t>(fData.size());
    const auto* len = reinterpret_cast<const char*>(&n);
    fData.insert(fData.end(), len, len + sizeof n);
    fData.insert(fData.end(), data, data + length);
    fLast = at + 1;
    fAt[r] = fLast;
}

const char* TStringCollection::Data(int row, int& length) const
{
    const auto r = static_cast<std::size_t>(row);
    if (row < 0 || r >= fAt.size() || fAt[r] == 0) {
        length = 0;
        return nullptr;
    }
    const char* p = fData.data() + fAt[r] - 1;
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
    fAt.clear();
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

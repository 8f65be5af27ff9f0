// Seeking, reading, writing and deleting records.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "host/coredll/CallHook.h"
#include "host/coredll/Device.h"
#include "host/coredll/LocalMemory.h"
#include "host/coredll/StoreBlock.h"
#include "host/coredll/StoreCursor.h"
#include "host/coredll/StoreMounts.h"
#include "platform/Database.h"

namespace wkt::host {

namespace {

CEOID Report(DWORD error, CEOID oid) {
  if (error == ERROR_SUCCESS)
    return oid;
  SetError(error);
  return 0;
}

DWORD SeekToValue(StoreCursor& cursor, DWORD seekType, DWORD value, WORD valueCount, CEOID& found,
                  uint32_t* place) {
  if constexpr (sizeof(void*) > sizeof(DWORD)) {
    // The pointer does not fit the argument.
    return ERROR_INVALID_PARAMETER;
  } else {
    const auto* values = reinterpret_cast<const CEPROPVAL*>(static_cast<uintptr_t>(value));
    if (values == nullptr || valueCount == 0)
      return ERROR_INVALID_PARAMETER;
    return cursor.SeekValue(seekType, {values, valueCount}, found, place);
  }
}

CEOID Seek(HANDLE handle, DWORD seekType, DWORD value, WORD valueCount, DWORD* index) {
  const StoreLock lock;
  const auto cursor = StoreCursor::OfHandle(handle);
  if (cursor == nullptr)
    return Report(ERROR_INVALID_PARAMETER, 0);
  CEOID found = 0;
  switch (seekType) {
    case CEDB_SEEK_CEOID:
      return Report(cursor->SeekOid(value, index), value);
    case CEDB_SEEK_BEGINNING: {
      const DWORD error = cursor->SeekFromBeginning(value, found, index);
      return Report(error, found);
    }
    case CEDB_SEEK_END: {
      const DWORD error = cursor->SeekFromEnd(value, found, index);
      return Report(error, found);
    }
    case CEDB_SEEK_CURRENT: {
      const DWORD error = cursor->SeekFromCurrent(static_cast<int32_t>(value), found, index);
      return Report(error, found);
    }
    case CEDB_SEEK_VALUESMALLER:
    case CEDB_SEEK_VALUEFIRSTEQUAL:
    case CEDB_SEEK_VALUEGREATER:
    case CEDB_SEEK_VALUENEXTEQUAL: {
      const DWORD error = SeekToValue(*cursor, seekType, value, valueCount, found, index);
      return Report(error, found);
    }
    default:
      return Report(ERROR_INVALID_PARAMETER, 0);
  }
}

// A caller's buffer for one record: as given, or replaced when it may be.
struct ReadBuffer {
  BYTE** block;
  DWORD* byteCount;
  bool mayReplace;
};

// Room for `needed` bytes. Blocks come from where LocalAlloc takes them.
DWORD MakeRoom(const ReadBuffer& buffer, size_t needed) {
  if (*buffer.block != nullptr && *buffer.byteCount >= needed) {
    *buffer.byteCount = static_cast<DWORD>(needed);
    return ERROR_SUCCESS;
  }
  if (!buffer.mayReplace) {
    *buffer.byteCount = static_cast<DWORD>(needed);
    return ERROR_INSUFFICIENT_BUFFER;
  }
  void* block = TakeLocalMemory(needed != 0 ? needed : 1);
  if (block == nullptr)
    return ERROR_NOT_ENOUGH_MEMORY;
  ReturnLocalMemory(*buffer.block);
  *buffer.block = static_cast<BYTE*>(block);
  *buffer.byteCount = static_cast<DWORD>(needed);
  return ERROR_SUCCESS;
}

DWORD CopyAll(std::string_view image, const ReadBuffer& buffer, WORD& propertyCount) {
  uint32_t count = 0;
  const size_t byteCount = BlockBytes(image, image.size(), count);
  if (byteCount == 0)
    return ERROR_READ_FAULT;
  if (const DWORD error = MakeRoom(buffer, byteCount); error != ERROR_SUCCESS)
    return error;
  if (!FillBlock(image, count, *buffer.block))
    return ERROR_READ_FAULT;
  propertyCount = static_cast<WORD>(count);
  return ERROR_SUCCESS;
}

DWORD CopySome(const RecordImage& image, const ReadBuffer& buffer,
               std::span<const CEPROPID> wanted) {
  size_t needed = wanted.size() * sizeof(CEPROPVAL);
  bool isAny = false;
  for (const CEPROPID property : wanted) {
    const uint32_t index = image.Find(property);
    if (index == image.Count())
      continue;
    needed += image.DataOf(index).size();
    isAny = true;
  }
  if (!isAny)
    return ERROR_NO_DATA;
  if (const DWORD error = MakeRoom(buffer, needed); error != ERROR_SUCCESS)
    return error;
  BYTE* data = *buffer.block + wanted.size() * sizeof(CEPROPVAL);
  for (size_t place = 0; place < wanted.size(); ++place) {
    const uint32_t index = image.Find(wanted[place]);
    BYTE* slot = *buffer.block + place * sizeof(CEPROPVAL);
    if (index < image.Count()) {
      const std::string_view bytes = image.DataOf(index);
      data = std::copy(bytes.begin(), bytes.end(), data);
      PutValue(image.At(index), data - bytes.size(), image.At(index).word, slot);
    } else {
      CEPROPVAL missing{};
      missing.propid = wanted[place];
      missing.wFlags = CEDB_PROPNOTFOUND;
      std::memcpy(slot, &missing, sizeof missing);
    }
  }
  return ERROR_SUCCESS;
}

CEOID ReadRecord(HANDLE handle, DWORD flags, WORD* propertyCount, const CEPROPID* wanted,
                 BYTE** block, DWORD* byteCount, HANDLE heap) {
  const StoreLock lock;
  const auto cursor = StoreCursor::OfHandle(handle);
  // There are no heaps but the local one.
  if (cursor == nullptr || (flags & ~CEDB_ALLOWREALLOC) != 0 || propertyCount == nullptr ||
      block == nullptr || byteCount == nullptr || heap != nullptr ||
      (wanted != nullptr && *propertyCount == 0))
    return Report(ERROR_INVALID_PARAMETER, 0);
  CEOID oid = 0;
  // The usual request: everything, in a block made for it. It is made while reading ahead.
  const bool isWhole = wanted == nullptr && (flags & CEDB_ALLOWREALLOC) != 0 && *block == nullptr;
  cursor->ExpectWholeReads(isWhole);
  RecordBlock ready;
  if (isWhole && cursor->TakeBlock(oid, ready)) {
    *block = ready.bytes;
    *byteCount = ready.byteCount;
    *propertyCount = ready.propertyCount;
    if (cursor->Increments())
      cursor->Advance();
    return oid;
  }
  std::string_view bytes;
  if (const DWORD error = cursor->Current(oid, bytes); error != ERROR_SUCCESS)
    return Report(error, 0);
  const ReadBuffer buffer{block, byteCount, (flags & CEDB_ALLOWREALLOC) != 0};
  DWORD error = ERROR_READ_FAULT;
  if (wanted == nullptr) {
    error = CopyAll(bytes, buffer, *propertyCount);
  } else if (const auto image = RecordImage::Parse(bytes); image) {
    error = CopySome(*image, buffer, {wanted, *propertyCount});
  }
  if (error == ERROR_SUCCESS && cursor->Increments())
    cursor->Advance();
  return Report(error, oid);
}

CEOID WriteRecord(HANDLE handle, CEOID oid, WORD count, const CEPROPVAL* values) {
  const StoreLock lock;
  const auto cursor = StoreCursor::OfHandle(handle);
  if (cursor == nullptr || count == 0 || values == nullptr)
    return Report(ERROR_INVALID_PARAMETER, 0);
  StoreDatabase& database = cursor->Database();
  if (const DWORD error = database.Write(oid, {values, count}); error != ERROR_SUCCESS)
    return Report(error, 0);
  const Device* device = Device::Current();
  if (device != nullptr && device->CurrentCursorModel() == CursorModel::WriteMovesPosition)
    return Report(cursor->SeekOid(oid, nullptr), oid);
  return oid;
}

BOOL DeleteRecord(HANDLE handle, CEOID oid) {
  const StoreLock lock;
  const auto cursor = StoreCursor::OfHandle(handle);
  const DWORD error =
      cursor == nullptr ? DWORD{ERROR_INVALID_PARAMETER} : cursor->Database().Delete(oid);
  if (error != ERROR_SUCCESS)
    SetError(error);
  return error == ERROR_SUCCESS ? TRUE : FALSE;
}

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

CEOID CEAPI CeSeekDatabaseEx(HANDLE database, DWORD seekType, DWORD value, WORD valueCount,
                             LPDWORD index) {
  return HookedCall(
      "CeSeekDatabaseEx", CEOID{0},
      [&] { return Seek(database, seekType, value, valueCount, index); }, database, seekType, value,
      valueCount, index);
}

CEOID CEAPI CeSeekDatabase(HANDLE database, DWORD seekType, DWORD value, LPDWORD index) {
  return HookedCall(
      "CeSeekDatabase", CEOID{0}, [&] { return Seek(database, seekType, value, 1, index); },
      database, seekType, value, index);
}

CEOID CEAPI CeReadRecordPropsEx(HANDLE database, DWORD flags, LPWORD propCount, CEPROPID* propIds,
                                LPBYTE* buffer, LPDWORD byteCount, HANDLE heap) {
  return HookedCall(
      "CeReadRecordPropsEx", CEOID{0},
      [&] { return ReadRecord(database, flags, propCount, propIds, buffer, byteCount, heap); },
      database, flags, propCount, propIds, buffer, byteCount, heap);
}

CEOID CEAPI CeWriteRecordProps(HANDLE database, CEOID oid, WORD propCount, CEPROPVAL* values) {
  return HookedCall(
      "CeWriteRecordProps", CEOID{0}, [&] { return WriteRecord(database, oid, propCount, values); },
      database, oid, propCount, values);
}

BOOL CEAPI CeDeleteRecord(HANDLE database, CEOID oid) {
  return HookedCall(
      "CeDeleteRecord", FALSE, [&] { return DeleteRecord(database, oid); }, database, oid);
}

// What moves a cursor's position.
#include "host/coredll/StoreCatalogue.h"
#include "host/coredll/StoreCursor.h"
#include "host/coredll/StoreVolume.h"
#include "platform/Errors.h"

namespace wkt::host {

DWORD StoreCursor::SeekOid(CEOID wanted, uint32_t* place) {
  uint32_t rank = 0;
  const DWORD error = volume_->ReadWhole([&] {
    if (const DWORD outdated = CheckGeneration(); outdated != ERROR_SUCCESS)
      return outdated;
    if (const DWORD missing = ReadOne(wanted); missing != ERROR_SUCCESS)
      return missing;
    return place != nullptr ? database_->Ranks(order_).RankOf(key_, rank) : DWORD{ERROR_SUCCESS};
  });
  nextRunLength_ = kFirstRunLength;
  if (error != ERROR_SUCCESS) {
    GoToEnd();
    return error == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_SEEK} : error;
  }
  if (place != nullptr)
    *place = rank;
  return ERROR_SUCCESS;
}

DWORD StoreCursor::SeekFromBeginning(uint32_t distance, CEOID& found, uint32_t* place) {
  nextRunLength_ = kFirstRunLength;
  if (distance != 0)
    return SeekPlace(distance, found, place);
  // The usual one, before reading all records in their order.
  at_ = At::Begin;
  ClearRun();
  std::string_view image;
  const DWORD error = Current(found, image);
  if (error != ERROR_SUCCESS) {
    GoToEnd();
    return error == ERROR_NO_MORE_ITEMS ? DWORD{ERROR_SEEK} : error;
  }
  if (place != nullptr)
    *place = 0;
  return ERROR_SUCCESS;
}

DWORD StoreCursor::SeekFromEnd(uint32_t distance, CEOID& found, uint32_t* place) {
  nextRunLength_ = kFirstRunLength;
  const DWORD error = volume_->ReadWhole([this] { return CheckGeneration(); });
  if (error != ERROR_SUCCESS)
    return error;
  return SeekPlace(int64_t{database_->Row().recordCount} - 1 - distance, found, place);
}

DWORD StoreCursor::SeekFromCurrent(int32_t distance, CEOID& found, uint32_t* place) {
  nextRunLength_ = kFirstRunLength;
  uint32_t rank = 0;
  const DWORD error = volume_->ReadWhole([&] {
    const DWORD resolved = Resolve();
    if (resolved != ERROR_SUCCESS && at_ != At::Gap && at_ != At::End)
      return resolved;
    if (at_ != At::End)
      return database_->Ranks(order_).RankOf(Key(), rank);
    rank = database_->Row().recordCount;
    return DWORD{ERROR_SUCCESS};
  });
  if (error != ERROR_SUCCESS)
    return error;
  int64_t wanted = int64_t{rank} + distance;
  // Where the deleted record was there is no record; the next one is one on.
  if (at_ == At::Gap)
    wanted = distance == 0 ? -1 : distance > 0 ? wanted - 1 : wanted;
  return SeekPlace(wanted, found, place);
}

DWORD StoreCursor::SeekPlace(int64_t wanted, CEOID& found, uint32_t* place) {
  std::string key;
  DWORD error = ERROR_SEEK;
  if (wanted >= 0 && wanted <= 0xFFFFFFFF) {
    error = volume_->ReadWhole([&] {
      const DWORD outdated = CheckGeneration();
      return outdated != ERROR_SUCCESS
                 ? outdated
                 : database_->Ranks(order_).KeyAt(static_cast<uint32_t>(wanted), key);
    });
  }
  if (error != ERROR_SUCCESS) {
    GoToEnd();
    return error;
  }
  found = OidOfKey(key);
  MoveTo(found, key);
  if (place != nullptr)
    *place = static_cast<uint32_t>(wanted);
  return ERROR_SUCCESS;
}

DWORD StoreCursor::SeekValue(DWORD seekType, std::span<const CEPROPVAL> values, CEOID& found,
                             uint32_t* place) {
  std::string prefix;
  std::string key;
  nextRunLength_ = kFirstRunLength;
  const DWORD error = volume_->ReadWhole([&] {
    if (const DWORD outdated = CheckGeneration(); outdated != ERROR_SUCCESS)
      return outdated;
    if (const DWORD wrong = MakeSeekKey(database_->Orders()[order_], values, prefix);
        wrong != ERROR_SUCCESS)
      return wrong;
    return database_->FindKey(order_, seekType, prefix, Key(), key);
  });
  if (error == ERROR_INVALID_PARAMETER)
    return error;
  uint32_t rank = 0;
  const DWORD ranked = error == ERROR_SUCCESS ? database_->Ranks(order_).RankOf(key, rank) : error;
  if (ranked != ERROR_SUCCESS) {
    GoToEnd();
    return ranked == ERROR_NO_MORE_ITEMS ? DWORD{ERROR_SEEK} : ranked;
  }
  found = OidOfKey(key);
  MoveTo(found, key);
  if (place != nullptr)
    *place = rank;
  return ERROR_SUCCESS;
}

}  // namespace wkt::host

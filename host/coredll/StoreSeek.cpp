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
  if (distance != 0) {
    return SeekPlace(
        [&](int64_t& wanted) {
          wanted = distance;
          return DWORD{ERROR_SUCCESS};
        },
        found, place);
  }
  nextRunLength_ = kFirstRunLength;
  // The usual one, before reading all records in their order.
  at_ = At::Begin;
  ClearRun();
  const DWORD error = Settle();
  if (error != ERROR_SUCCESS) {
    GoToEnd();
    return error == ERROR_NO_MORE_ITEMS ? DWORD{ERROR_SEEK} : error;
  }
  found = oid_;
  if (place != nullptr)
    *place = 0;
  return ERROR_SUCCESS;
}

DWORD StoreCursor::SeekFromEnd(uint32_t distance, CEOID& found, uint32_t* place) {
  return SeekPlace(
      [&](int64_t& wanted) {
        wanted = int64_t{database_->Row().recordCount} - 1 - distance;
        return DWORD{ERROR_SUCCESS};
      },
      found, place);
}

DWORD StoreCursor::SeekFromCurrent(int32_t distance, CEOID& found, uint32_t* place) {
  return SeekPlace(
      [&](int64_t& wanted) {
        const DWORD resolved = Resolve();
        if (resolved != ERROR_SUCCESS && at_ != At::Gap && at_ != At::End)
          return resolved;
        uint32_t rank = database_->Row().recordCount;
        if (at_ != At::End) {
          if (const DWORD error = database_->Ranks(order_).RankOf(Key(), rank);
              error != ERROR_SUCCESS)
            return error;
        }
        wanted = int64_t{rank} + distance;
        // Where the deleted record was there is no record; the next one is one on.
        if (at_ == At::Gap)
          wanted = distance == 0 ? -1 : distance > 0 ? wanted - 1 : wanted;
        return DWORD{ERROR_SUCCESS};
      },
      found, place);
}

// From where the place is counted, the place and its record are of one state of the database.
template <typename FindPlace>
DWORD StoreCursor::SeekPlace(const FindPlace& findPlace, CEOID& found, uint32_t* place) {
  std::string key;
  int64_t wanted = 0;
  const DWORD error = volume_->ReadWhole([&] {
    DWORD problem = CheckGeneration();
    if (problem == ERROR_SUCCESS)
      problem = findPlace(wanted);
    if (problem != ERROR_SUCCESS)
      return problem;
    return wanted < 0 || wanted > 0xFFFFFFFF
               ? DWORD{ERROR_SEEK}
               : database_->Ranks(order_).KeyAt(static_cast<uint32_t>(wanted), key);
  });
  return Arrive(error, key, static_cast<uint32_t>(wanted), found, place);
}

// The end of a seek: at the key's record, or at the end when there is none.
DWORD StoreCursor::Arrive(DWORD error, std::string_view key, uint32_t rank, CEOID& found,
                          uint32_t* place) {
  nextRunLength_ = kFirstRunLength;
  if (error != ERROR_SUCCESS) {
    GoToEnd();
    return error == ERROR_NO_MORE_ITEMS ? DWORD{ERROR_SEEK} : error;
  }
  found = OidOfKey(key);
  MoveTo(found, key);
  if (place != nullptr)
    *place = rank;
  return ERROR_SUCCESS;
}

DWORD StoreCursor::SeekValue(DWORD seekType, std::span<const CEPROPVAL> values, CEOID& found,
                             uint32_t* place) {
  std::string prefix;
  std::string key;
  uint32_t rank = 0;
  const DWORD error = volume_->ReadWhole([&] {
    if (const DWORD outdated = CheckGeneration(); outdated != ERROR_SUCCESS)
      return outdated;
    DWORD problem = MakeSeekKey(database_->Orders()[order_], values, prefix);
    if (problem == ERROR_SUCCESS && seekType == CEDB_SEEK_VALUENEXTEQUAL) {
      problem = FindNextEqual(prefix, key);
    } else if (problem == ERROR_SUCCESS) {
      problem = database_->FindKey(order_, seekType, prefix, values.size(), key);
    }
    return problem == ERROR_SUCCESS ? database_->Ranks(order_).RankOf(key, rank) : problem;
  });
  // What was asked makes no sense; nothing was looked for.
  if (error == ERROR_INVALID_PARAMETER)
    return error;
  return Arrive(error, key, rank, found, place);
}

// The record after the position, if it has the values.
DWORD StoreCursor::FindNextEqual(std::string_view prefix, std::string& found) {
  const DWORD resolved = Resolve();
  if (resolved != ERROR_SUCCESS && at_ != At::Gap)
    return resolved;
  const DWORD error = database_->NextKey(order_, Key(), found);
  return error == ERROR_SUCCESS && !found.starts_with(prefix) ? DWORD{ERROR_NO_MORE_ITEMS} : error;
}

}  // namespace wkt::host

// An open database handle: a position in one of the database's orders.
//
// The position is a record, not a place: it stays on its record whatever is written around it. What
// comes after a record that was read is looked up when it is needed, or just before a write changes
// the order. Records are read ahead, many per statement, and thrown away once another process
// commits.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/coredll/Handles.h"
#include "host/coredll/StoreBlock.h"
#include "host/coredll/StoreDatabase.h"

namespace wkt::host {

class StoreCursor : public HandleObject {
 public:
  static constexpr HandleKind kKind = HandleKind::Database;

  StoreCursor(std::shared_ptr<StoreVolume> volume, std::shared_ptr<StoreDatabase> database,
              size_t order, bool increments);
  ~StoreCursor() override;

  // Of an open handle, nullptr for others. To be called, and the result let go, under StoreLock.
  static std::shared_ptr<StoreCursor> OfHandle(HANDLE handle);

  [[nodiscard]] StoreDatabase& Database() const { return *database_; }
  [[nodiscard]] size_t Order() const { return order_; }
  [[nodiscard]] bool Increments() const { return increments_; }

  // Whether what follows is read record by record, each whole and into a block of its own: such
  // blocks are then made while reading ahead.
  void ExpectWholeReads(bool expects) { makesBlocks_ = expects; }
  // The record at the position as a block that is the caller's from now on. False when none is
  // ready.
  bool TakeBlock(CEOID& oid, RecordBlock& block);

  // The record at the position. `image` is good until the next call of anything here.
  // ERROR_NO_MORE_ITEMS at the end, ERROR_KEY_DELETED when the record is gone.
  DWORD Current(CEOID& oid, std::string_view& image);
  // To the record after the one that Current gave.
  void Advance();

  // Each moves the position to the record found and tells it and, if wanted, its place. ERROR_SEEK:
  // there is none, the position is then at the end.
  DWORD SeekOid(CEOID wanted, uint32_t* place);
  DWORD SeekFromBeginning(uint32_t distance, CEOID& found, uint32_t* place);
  DWORD SeekFromEnd(uint32_t distance, CEOID& found, uint32_t* place);
  DWORD SeekFromCurrent(int32_t distance, CEOID& found, uint32_t* place);
  DWORD SeekValue(DWORD seekType, std::span<const CEPROPVAL> values, CEOID& found, uint32_t* place);
  void MoveTo(CEOID oid, std::string_view key);

  // The image of the record that was read last, if it is this one and nobody committed since; else
  // nothing.
  [[nodiscard]] std::string_view KnownImage(CEOID oid) const;

  // From the database's writes: before the order changes (within the transaction), and after the
  // commit.
  DWORD HoldPosition(bool isDeleting);
  void RecordMoved(CEOID oid, std::string_view key);
  void RecordChanged(CEOID oid, std::string_view image);
  void RecordDeleted(CEOID oid);

 private:
  // Records read ahead by the first statement after a seek.
  static constexpr uint32_t kFirstRunLength = 8;

  enum class At {
    Begin,   // where opening leaves it: on whichever record is first
    Record,  // on record oid_, whose key is key_
    After,   // on the record that follows oid_
    Gap,     // record oid_ was deleted under a handle that does not increment
    End,
  };
  struct Entry {
    CEOID oid;
    uint32_t keyStart;
    uint32_t keyLength;
    uint32_t imageStart;
    uint32_t imageLength;  // 0: there is none here
    RecordBlock block;     // instead of the image
  };

  [[nodiscard]] std::string_view KeyOf(const Entry& entry) const {
    return std::string_view(bytes_).substr(entry.keyStart, entry.keyLength);
  }
  [[nodiscard]] std::string_view ImageOf(const Entry& entry) const {
    return std::string_view(bytes_).substr(entry.imageStart, entry.imageLength);
  }

  // Of oid_, while it is in use.
  [[nodiscard]] std::string_view Key() const {
    return hasSlot_ ? KeyOf(entries_[slot_]) : std::string_view(key_);
  }
  DWORD CheckGeneration();
  DWORD Settle();
  DWORD Resolve();
  DWORD ResolveRecord();
  DWORD ReadOne(CEOID oid);
  int TakeImage(const StoreImages& images, Entry& entry);
  DWORD ReadRun(std::string_view above);
  DWORD ReadImages();
  int ReadImage(StoreImages& images, size_t slot, size_t& kept);
  [[nodiscard]] uint32_t LongestRun() const;
  void Enter(size_t slot);
  void ClearRun();
  void GoToEnd();
  template <typename FindPlace>
  DWORD SeekPlace(const FindPlace& findPlace, CEOID& found, uint32_t* place);
  DWORD FindNextEqual(std::string_view prefix, std::string& found);
  DWORD Arrive(DWORD error, std::string_view key, uint32_t rank, CEOID& found, uint32_t* place);

  std::shared_ptr<StoreVolume> volume_;
  std::shared_ptr<StoreDatabase> database_;
  size_t order_;
  bool increments_;

  At at_ = At::Begin;
  CEOID oid_ = 0;
  std::string key_;  // of oid_, kept up only while there is no slot

  // Records read ahead: neighbours in the order. slot_ is that of oid_, if hasSlot_.
  uint32_t generation_ = 0;
  std::string bytes_;
  std::vector<Entry> entries_;
  std::string runKeys_;  // work space, as are the next two
  std::vector<uint32_t> runEnds_;
  std::vector<size_t> later_;
  bool makesBlocks_ = false;
  uint32_t propertyCount_ = 0;  // of the last block
  size_t slot_ = 0;
  bool hasSlot_ = false;
  uint32_t nextRunLength_;
};

}  // namespace wkt::host

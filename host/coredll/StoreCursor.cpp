#include "host/coredll/StoreCursor.h"

#include <algorithm>
#include <utility>

#include "host/coredll/LocalMemory.h"
#include "host/coredll/StoreCatalogue.h"
#include "host/coredll/StoreMounts.h"
#include "host/coredll/StoreVolume.h"
#include "platform/Errors.h"

namespace wkt::host {

namespace {

// Records read ahead by later statements than the first one after a seek.
constexpr uint32_t kLongRunLength = 64;
// Bytes of a run.
constexpr size_t kMaxRunBytes = size_t{512} * 1024;
// The cursor of the last call, most likely that of the next one: found without the table of handles
// and its lock. Under StoreLock.
struct LastUsed {
  HANDLE handle;
  StoreCursor* cursor;
};
LastUsed lastUsed{};

}  // namespace

StoreCursor::StoreCursor(std::shared_ptr<StoreVolume> volume,
                         std::shared_ptr<StoreDatabase> database, size_t order, bool increments)
    : volume_(std::move(volume)),
      database_(std::move(database)),
      order_(order),
      increments_(increments),
      nextRunLength_(kFirstRunLength) {
  database_->AddCursor(*this);
}

StoreCursor::~StoreCursor() {
  // Handles are closed outside of it.
  const StoreLock lock;
  if (lastUsed.cursor == this)
    lastUsed = {};
  ClearRun();
  database_->RemoveCursor(*this);
  database_.reset();
  volume_.reset();
}

std::shared_ptr<StoreCursor> StoreCursor::OfHandle(HANDLE handle) {
  // Without an owner: it cannot be destroyed while the caller holds the lock.
  if (handle == lastUsed.handle && lastUsed.cursor != nullptr) [[likely]]
    return {std::shared_ptr<StoreCursor>(), lastUsed.cursor};
  auto found = FindHandle<StoreCursor>(handle);
  if (found != nullptr)
    lastUsed = {handle, found.get()};
  return found;
}

void StoreCursor::ClearRun() {
  if (hasSlot_)
    key_.assign(KeyOf(entries_[slot_]));
  for (const Entry& entry : entries_)
    ReturnLocalMemory(entry.block.bytes);
  bytes_.clear();
  entries_.clear();
  hasSlot_ = false;
}

void StoreCursor::Enter(size_t slot) {
  at_ = At::Record;
  slot_ = slot;
  hasSlot_ = true;
  oid_ = entries_[slot].oid;
}

void StoreCursor::GoToEnd() {
  at_ = At::End;
  ClearRun();
}

DWORD StoreCursor::CheckGeneration() {
  if (generation_ != volume_->Generation()) {
    ClearRun();
    if (const DWORD error = volume_->Catalogue().Load(); error != ERROR_SUCCESS)
      return error;
    generation_ = volume_->Generation();
  }
  const bool isGone = database_->IsDeleted() || order_ >= database_->Orders().size();
  return isGone ? DWORD{ERROR_KEY_DELETED} : DWORD{ERROR_SUCCESS};
}

DWORD StoreCursor::ReadOne(CEOID oid) {
  ClearRun();
  Entry entry{oid, 0, 0, 0, 0, {}};
  const DWORD error = database_->UseImage(oid, [&](std::string_view bytes) {
    const auto image = RecordImage::Parse(bytes);
    if (!image)
      return DWORD{ERROR_READ_FAULT};
    bool isComplete = false;
    if (const DWORD problem = MakeSortKey(database_->Orders()[order_], *image, key_, isComplete);
        problem != ERROR_SUCCESS)
      return problem;
    if (makesBlocks_)
      entry.block = MakeBlock(bytes);
    if (entry.block.bytes == nullptr) {
      entry.imageStart = static_cast<uint32_t>(bytes_.size());
      entry.imageLength = static_cast<uint32_t>(bytes.size());
      bytes_.append(bytes);
    }
    return DWORD{ERROR_SUCCESS};
  });
  if (error != ERROR_SUCCESS)
    return error;
  AppendOid(key_, oid);
  entry.keyStart = static_cast<uint32_t>(bytes_.size());
  entry.keyLength = static_cast<uint32_t>(key_.size());
  bytes_.append(key_);
  entries_.push_back(entry);
  at_ = At::Record;
  oid_ = oid;
  slot_ = 0;
  hasSlot_ = true;
  return ERROR_SUCCESS;
}

// As the block that is asked for next, or as it is. SQLite's code.
int StoreCursor::TakeImage(const StoreImages& images, Entry& entry) {
  if (makesBlocks_) {
    const int code = ReadBlock(images, propertyCount_, entry.block);
    if (code != SQLITE_OK || entry.block.bytes != nullptr)
      return code;
  }
  entry.imageStart = static_cast<uint32_t>(bytes_.size());
  entry.imageLength = static_cast<uint32_t>(images.ByteCount());
  bytes_.resize(bytes_.size() + entry.imageLength);
  return images.Read(bytes_.data() + entry.imageStart, entry.imageLength, 0);
}

// Records of the usual size that fit a run.
uint32_t StoreCursor::LongestRun() const {
  const CatalogueRow& row = database_->Row();
  const uint64_t each = row.recordCount == 0 ? 0 : row.byteCount / row.recordCount;
  return static_cast<uint32_t>(std::max<uint64_t>(1, kMaxRunBytes / (each + 1)));
}

DWORD StoreCursor::ReadRun(std::string_view above) {
  // Keys come from the ranks' blocks, which are in memory when the order was gone through before.
  runKeys_.clear();
  runEnds_.clear();
  const uint32_t wanted = std::min(nextRunLength_, LongestRun());
  nextRunLength_ = kLongRunLength;
  if (const DWORD error = database_->Ranks(order_).KeysAbove(above, wanted, runKeys_, runEnds_);
      error != ERROR_SUCCESS)
    return error;
  entries_.clear();
  for (uint32_t slot = 0, start = 0; slot < runEnds_.size(); start = runEnds_[slot++]) {
    const uint32_t length = runEnds_[slot] - start;
    entries_.push_back({OidOfKey({runKeys_.data() + start, length}), start, length, 0, 0, {}});
  }
  bytes_.swap(runKeys_);
  return ReadImages();
}

// `kept` becomes the slot when there is no such record.
int StoreCursor::ReadImage(StoreImages& images, size_t slot, size_t& kept) {
  const int code = images.MoveTo(entries_[slot].oid);
  if (code == SQLITE_OK) [[likely]]
    return TakeImage(images, entries_[slot]);
  if (code != SQLITE_ERROR)
    return code;
  kept = std::min(kept, slot);
  return images.GiveUp();
}

// The images of all entries, up to the first that has none. Records that were made one after the
// other lie side by side, and are found from their neighbour: those that would lead back come last.
DWORD StoreCursor::ReadImages() {
  StoreImages images(volume_->Connection(), database_->RecordTable());
  size_t kept = entries_.size();
  int code = SQLITE_OK;
  CEOID last = 0;
  later_.clear();
  for (size_t slot = 0; slot < kept && code == SQLITE_OK; ++slot) {
    if (entries_[slot].oid < last) {
      later_.push_back(slot);
      continue;
    }
    last = entries_[slot].oid;
    code = ReadImage(images, slot, kept);
  }
  for (size_t index = 0; index < later_.size() && code == SQLITE_OK; ++index) {
    if (later_[index] < kept)
      code = ReadImage(images, later_[index], kept);
  }
  if (code != SQLITE_OK)
    return volume_->LastFailure();
  // A record without image was deleted between the statements: ReadWhole sees that and comes again.
  if (kept == 0 && !entries_.empty())
    return ERROR_READ_FAULT;
  for (size_t slot = kept; slot < entries_.size(); ++slot)
    ReturnLocalMemory(entries_[slot].block.bytes);
  entries_.resize(kept);
  return ERROR_SUCCESS;
}

DWORD StoreCursor::ResolveRecord() {
  if (hasSlot_)
    return ERROR_SUCCESS;
  const DWORD error = ReadOne(oid_);
  if (error != ERROR_FILE_NOT_FOUND)
    return error;
  at_ = increments_ ? At::After : At::Gap;
  return ERROR_KEY_DELETED;
}

DWORD StoreCursor::Resolve() {
  if (const DWORD error = CheckGeneration(); error != ERROR_SUCCESS)
    return error;
  if (at_ == At::Record) {
    const DWORD error = ResolveRecord();
    if (error == ERROR_SUCCESS || at_ != At::After)
      return error;
  }
  if (at_ == At::Gap)
    return ERROR_KEY_DELETED;
  if (at_ == At::End)
    return ERROR_NO_MORE_ITEMS;
  if (at_ == At::After && hasSlot_ && slot_ + 1 < entries_.size()) {
    Enter(slot_ + 1);
    return ERROR_SUCCESS;
  }
  ClearRun();
  if (const DWORD error = ReadRun(at_ == At::After ? std::string_view(key_) : std::string_view());
      error != ERROR_SUCCESS)
    return error;
  if (entries_.empty()) {
    GoToEnd();
    return ERROR_NO_MORE_ITEMS;
  }
  Enter(0);
  return ERROR_SUCCESS;
}

// Onto a record that has a slot.
DWORD StoreCursor::Settle() {
  volume_->Refresh();
  const bool isAhead = at_ == At::After && hasSlot_ && slot_ + 1 < entries_.size();
  if (isAhead && generation_ == volume_->Generation()) [[likely]] {
    Enter(slot_ + 1);
    return ERROR_SUCCESS;
  }
  return volume_->ReadWhole([this] { return Resolve(); });
}

bool StoreCursor::TakeBlock(CEOID& oid, RecordBlock& block) {
  if (Settle() != ERROR_SUCCESS)
    return false;
  // Given away already: the record is read once more.
  if (entries_[slot_].block.bytes == nullptr && entries_[slot_].imageLength == 0) [[unlikely]] {
    ClearRun();
    if (volume_->ReadWhole([this] { return Resolve(); }) != ERROR_SUCCESS)
      return false;
  }
  RecordBlock& ready = entries_[slot_].block;
  if (ready.bytes == nullptr)
    return false;
  oid = oid_;
  block = ready;
  ready.bytes = nullptr;
  return true;
}

DWORD StoreCursor::Current(CEOID& oid, std::string_view& image) {
  DWORD error = Settle();
  // Its block was made instead of the image, perhaps given away already.
  if (error == ERROR_SUCCESS && entries_[slot_].imageLength == 0) {
    ClearRun();
    error = volume_->ReadWhole([this] { return Resolve(); });
  }
  if (error != ERROR_SUCCESS)
    return error;
  oid = oid_;
  image = ImageOf(entries_[slot_]);
  return ERROR_SUCCESS;
}

void StoreCursor::Advance() {
  at_ = At::After;
}

void StoreCursor::MoveTo(CEOID oid, std::string_view key) {
  ClearRun();
  at_ = At::Record;
  oid_ = oid;
  key_.assign(key);
}

DWORD StoreCursor::HoldPosition(bool isDeleting) {
  if (generation_ != volume_->Generation()) {
    ClearRun();
    generation_ = volume_->Generation();
  }
  const bool mustHold = at_ == At::After || (at_ == At::Begin && isDeleting && !increments_);
  if (!mustHold)
    return ERROR_SUCCESS;
  if (at_ == At::After && hasSlot_ && slot_ + 1 < entries_.size()) {
    Enter(slot_ + 1);
    return ERROR_SUCCESS;
  }
  // What comes first behind a key is the same without this record, or comes then instead of it.
  if (at_ == At::After && isDeleting)
    return ERROR_SUCCESS;
  std::string next;
  const DWORD error =
      database_->NextKey(order_, at_ == At::After ? Key() : std::string_view(), next);
  if (error == ERROR_SUCCESS) {
    MoveTo(OidOfKey(next), next);
  } else if (error == ERROR_NO_MORE_ITEMS) {
    GoToEnd();
  }
  return error == ERROR_NO_MORE_ITEMS ? DWORD{ERROR_SUCCESS} : error;
}

std::string_view StoreCursor::KnownImage(CEOID oid) const {
  const bool isHere = hasSlot_ && entries_[slot_].oid == oid;
  return isHere && generation_ == volume_->Generation() ? ImageOf(entries_[slot_])
                                                        : std::string_view();
}

void StoreCursor::RecordMoved(CEOID oid, std::string_view key) {
  ClearRun();
  nextRunLength_ = kFirstRunLength;
  if (at_ == At::Record && oid_ == oid)
    key_.assign(key);
}

void StoreCursor::RecordChanged(CEOID oid, std::string_view image) {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [oid](const Entry& entry) { return entry.oid == oid; });
  if (found == entries_.end())
    return;
  if (bytes_.size() > 2 * kMaxRunBytes) {
    ClearRun();
    return;
  }
  ReturnLocalMemory(std::exchange(found->block, {}).bytes);
  found->imageStart = static_cast<uint32_t>(bytes_.size());
  found->imageLength = static_cast<uint32_t>(image.size());
  bytes_.append(image);
}

void StoreCursor::RecordDeleted(CEOID oid) {
  if (at_ == At::Record && oid_ == oid) {
    at_ = increments_ ? At::After : At::Gap;
    ClearRun();
    return;
  }
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [oid](const Entry& entry) { return entry.oid == oid; });
  if (found == entries_.end())
    return;
  const auto slot = static_cast<size_t>(found - entries_.begin());
  if (hasSlot_ && slot == slot_) {
    // Behind it: its key stays.
    ClearRun();
    return;
  }
  if (hasSlot_ && slot < slot_)
    --slot_;
  ReturnLocalMemory(found->block.bytes);
  entries_.erase(found);
}

}  // namespace wkt::host

#include "host/coredll/Handles.h"

#include <vector>

#include "host/coredll/ThreadGuard.h"

namespace wkt::host {

namespace {

// Handle: use count in the high bits, slot number + 1 in 16 bits, two zero bits.
constexpr uint32_t kSlotBits = 16;
constexpr uint32_t kUseMask = (1u << 12) - 1;
constexpr size_t kMaxSlots = (1u << kSlotBits) - 1;

struct Slot {
  std::shared_ptr<HandleObject> object;
  HandleKind kind = HandleKind::Mutex;
  uint32_t uses = 0;
};

struct HandleTable {
  pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
  std::vector<Slot> slots;
  std::vector<uint32_t> freeSlots;

  Slot* Find(const void* handle) {
    const auto value = reinterpret_cast<uintptr_t>(handle);
    if (value == 0 || value % 4 != 0 || value >> 30 != 0)
      return nullptr;
    const size_t slot = ((value >> 2) & kMaxSlots);
    if (slot == 0 || slot > slots.size())
      return nullptr;
    Slot& found = slots[slot - 1];
    if (found.object == nullptr || found.uses != static_cast<uint32_t>(value >> (kSlotBits + 2)))
      return nullptr;
    return &found;
  }

  // The object, to be destroyed by the caller outside the lock: its destructor may call back.
  std::shared_ptr<HandleObject> Take(Slot& slot) {
    slot.uses = (slot.uses + 1) & kUseMask;
    freeSlots.push_back(static_cast<uint32_t>(&slot - slots.data()));
    return std::move(slot.object);
  }
};

HandleTable& Table() {
  // Never destroyed: libraries may close handles while the process ends.
  static auto* table = new HandleTable;
  return *table;
}

}  // namespace

void* OpenHandle(HandleKind kind, std::shared_ptr<HandleObject> object) {
  HandleTable& table = Table();
  const ThreadGuard guard(table.lock);
  uint32_t index = 0;
  if (!table.freeSlots.empty()) {
    index = table.freeSlots.back();
    table.freeSlots.pop_back();
  } else if (table.slots.size() < kMaxSlots) {
    index = static_cast<uint32_t>(table.slots.size());
    table.slots.emplace_back();
  } else {
    return nullptr;
  }
  Slot& slot = table.slots[index];
  slot.object = std::move(object);
  slot.kind = kind;
  return reinterpret_cast<void*>(uintptr_t{(slot.uses << (kSlotBits + 2)) | ((index + 1) << 2)});
}

std::shared_ptr<HandleObject> FindHandle(const void* handle, HandleKind kind) {
  HandleTable& table = Table();
  const ThreadGuard guard(table.lock);
  const Slot* slot = table.Find(handle);
  return slot != nullptr && slot->kind == kind ? slot->object : nullptr;
}

bool DropHandle(const void* handle, HandleKind kind) {
  std::shared_ptr<HandleObject> dropped;
  HandleTable& table = Table();
  const ThreadGuard guard(table.lock);
  Slot* slot = table.Find(handle);
  if (slot == nullptr || slot->kind != kind)
    return false;
  dropped = table.Take(*slot);
  return true;
}

bool DropClosableHandle(const void* handle) {
  std::shared_ptr<HandleObject> dropped;
  HandleTable& table = Table();
  const ThreadGuard guard(table.lock);
  Slot* slot = table.Find(handle);
  if (slot == nullptr || slot->kind == HandleKind::Find || slot->kind == HandleKind::Key)
    return false;
  dropped = table.Take(*slot);
  return true;
}

size_t CountHandles() {
  HandleTable& table = Table();
  const ThreadGuard guard(table.lock);
  return table.slots.size() - table.freeSlots.size();
}

void DropAllHandles() {
  std::vector<std::shared_ptr<HandleObject>> dropped;
  HandleTable& table = Table();
  const ThreadGuard guard(table.lock);
  for (Slot& slot : table.slots) {
    if (slot.object != nullptr)
      dropped.push_back(table.Take(slot));
  }
}

}  // namespace wkt::host

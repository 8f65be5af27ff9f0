// Carries out one folder's plan: first what the desktop stores, then what the device gets.
#include <algorithm>

#include "desktop/manager/Names.h"
#include "desktop/manager/Trace.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/SyncRun.h"

namespace wkt {

namespace {

// Records between two commits: few enough to be quick after a kill, enough to share a sync of the
// disk.
constexpr size_t kCommitRecords = 500;

std::string StateText(DeviceState state) {
  return state == DeviceState::Missing ? "deleted" : "changed";
}
std::string StateText(DesktopState state) {
  return state == DesktopState::Deleted ? "deleted" : "changed";
}

bool IsDesktopAction(MergeAction action) {
  return action == MergeAction::Link || action == MergeAction::TakeFromDevice ||
         action == MergeAction::TakeAndKeepCopy || action == MergeAction::DeleteOnDesktop ||
         action == MergeAction::Forget || action == MergeAction::Nothing;
}

}  // namespace

void SyncRun::Apply(FolderState& state) {
  state.left = 0;
  for (SyncFailure& failure : state.plan.failures) {
    state.skips.oids.insert(failure.oid);
    state.unread.push_back(std::move(failure));
  }
  if (state.plan.items.empty()) {
    return;
  }
  LeaveToken();
  state.touched = true;
  StoreOnDesktop(state);
  SendToDevice(state);
  DeleteFromDevice(state);
}

void SyncRun::Fail(FolderState& state, const SyncItem& item, const std::string& problem) {
  ++state.failed;
  if (item.oid != 0) {
    state.skips.oids.insert(item.oid);
  }
  state.skips.records.insert(item.record);
  const auto stored = store_.Find(item.record);
  const auto record = stored ? DecodePacket(state.folder->id, stored->packet) : std::nullopt;
  failures_.push_back({{"folder", state.folder->name},
                       {"oid", item.oid},
                       {"title", record ? ToUtf8(record->DisplayName()) : ""},
                       {"problem", problem}});
}

void SyncRun::NoteConflict(FolderState& state, const SyncItem& item) {
  ++state.conflicts;
  auto record = DecodePacket(state.folder->id, item.packet);
  if (!record) {
    const auto stored = store_.Find(item.record);
    record = stored ? DecodePacket(state.folder->id, stored->packet) : std::nullopt;
  }
  const bool hasDay = record && !record->IsType() && record->Ticks(Field::Day) < kEndOfTextTime;
  conflicts_.push_back({{"folder", state.folder->name},
                        {"title", record ? ToUtf8(record->DisplayName()) : ""},
                        {"day", hasDay ? DateText(record->Ticks(Field::Day)) : ""},
                        {"device", StateText(item.input.device)},
                        {"desktop", StateText(item.input.desktop)},
                        {"result", MergeActionText(item.result.action)}});
}

void SyncRun::StoreOnDesktop(FolderState& state) {
  std::vector<SyncItem>& items = state.plan.items;
  for (size_t begin = 0; begin < items.size(); begin += kCommitRecords) {
    const size_t end = std::min(items.size(), begin + kCommitRecords);
    Store::Transaction transaction(store_);
    for (size_t i = begin; i < end; ++i) {
      if (items[i].result.conflict) {
        NoteConflict(state, items[i]);
      }
      StoreItem(state, items[i]);
    }
    transaction.Commit();
    ConfirmItems(state, begin, end);
    Progress(state, end, items.size());
  }
}

void SyncRun::StoreItem(FolderState& state, SyncItem& item) {
  const int folder = static_cast<int>(state.folder->id);
  const MergeAction action = item.result.action;
  if (action == MergeAction::TakeFromDevice || action == MergeAction::TakeAndKeepCopy) {
    const auto taken = DecodePacket(state.folder->id, item.packet);
    if (item.packet.empty() || !taken) {
      // Deleted on the desktop and unchanged on the device: the stored packet is the device's
      // still.
      const auto stored = store_.Find(item.record);
      store_.Update(item.record, stored->recordId, stored->packet);
    } else if (item.record == 0) {
      item.record = store_.Insert(folder, taken->Id(), item.packet);
    } else {
      if (action == MergeAction::TakeAndKeepCopy) {
        auto copy = DecodePacket(state.folder->id, store_.Find(item.record)->packet);
        copy->SetText(Field::Id, store_.NewIdentifier(options_.now));
        SyncItem sent;
        sent.record = store_.Insert(folder, copy->Id(), EncodePacket(*copy));
        sent.result.action = MergeAction::SendNew;
        state.plan.copies.push_back(std::move(sent));
      }
      store_.Update(item.record, taken->Id(), item.packet);
    }
    store_.SetLink(device_.id, folder, item.oid, item.record);
    state.travelled.emplace_back(item.oid, item.record);
    ++state.toDesktop;
  } else if (action == MergeAction::Link) {
    store_.SetLink(device_.id, folder, item.oid, item.record);
  } else if (action == MergeAction::DeleteOnDesktop) {
    store_.DropLink(device_.id, item.record);
    store_.Delete(item.record);
    ++state.deletedOnDesktop;
  } else if (action == MergeAction::Forget) {
    store_.DropLink(device_.id, item.record);
  }
}

void SyncRun::ConfirmItems(FolderState& state, size_t begin, size_t end) {
  for (size_t i = begin; i < end; ++i) {
    const SyncItem& item = state.plan.items[i];
    if (item.confirm && IsDesktopAction(item.result.action)) {
      state.left += session_.Confirm(state.folder->objectType, item.oid);
    }
  }
}

// The application may have edited the object since it was listed. Then it stays as it is, and the
// next look finds both sides changed. What was listed as unchanged is the common state or what a
// killed run wrote after it; an edit takes this partner's mark away.
bool SyncRun::IsAsListed(const FolderState& state, const SyncItem& item) {
  const ReadResult read = session_.Read(state.folder->objectType, item.oid);
  const auto now = read.packets.size() == 1 ? DecodePacket(state.folder->id, read.packets.front())
                                            : std::nullopt;
  if (!now) {
    return false;
  }
  if (!item.packet.empty()) {
    const auto listed = DecodePacket(state.folder->id, item.packet);
    return listed && SameContent(*now, *listed);
  }
  const auto base = DecodePacket(state.folder->id, store_.Base(device_.id, item.record));
  return now->Flag(state.folder->partnerFlags[static_cast<size_t>(options_.partner - 1)]) ||
         (base && SameContent(*now, *base));
}

bool SyncRun::SendItem(FolderState& state, SyncItem& item, CEOID* oid) {
  const auto stored = store_.Find(item.record);
  const auto record = stored ? DecodePacket(state.folder->id, stored->packet) : std::nullopt;
  if (!record) {
    Fail(state, item, "the desktop's packet is not valid");
    return false;
  }
  const bool isNew = item.result.action == MergeAction::SendNew;
  if (!isNew && !IsAsListed(state, item)) {
    ++state.left;
    return false;
  }
  const Bytes packet = EncodePacket(ForDevice(*record, options_.partner));
  const WriteResult written =
      session_.Write(state.folder->objectType, isNew ? 0 : item.oid, packet);
  if (written.result < 0) {
    Fail(state, item, "the device cannot store it: " + ResultName(written.result));
    return false;
  }
  *oid = written.oid;
  return true;
}

std::vector<SyncItem*> SyncRun::ItemsToSend(FolderState& state) {
  std::vector<SyncItem*> sending;
  for (std::vector<SyncItem>* items : {&state.plan.items, &state.plan.copies}) {
    for (SyncItem& item : *items) {
      if (item.result.action == MergeAction::SendNew ||
          item.result.action == MergeAction::SendChange) {
        sending.push_back(&item);
      }
    }
  }
  return sending;
}

void SyncRun::SendToDevice(FolderState& state) {
  const std::vector<SyncItem*> sending = ItemsToSend(state);
  const int folder = static_cast<int>(state.folder->id);
  for (size_t begin = 0; begin < sending.size(); begin += kCommitRecords) {
    const size_t end = std::min(sending.size(), begin + kCommitRecords);
    NoteNewItems(folder, std::span(sending).subspan(begin, end - begin));
    Store::Transaction transaction(store_);
    for (size_t i = begin; i < end; ++i) {
      CEOID oid = 0;
      if (SendItem(state, *sending[i], &oid)) {
        store_.SetLink(device_.id, folder, oid, sending[i]->record);
        state.travelled.emplace_back(oid, sending[i]->record);
        ++state.toDevice;
      }
    }
    transaction.Commit();
    Progress(state, end, sending.size());
  }
}

// Before the device gets them, so that after a kill their objects are known for what they are, even
// if somebody edited or deleted the records meanwhile.
void SyncRun::NoteNewItems(int folder, std::span<SyncItem* const> items) {
  Store::Transaction transaction(store_);
  for (const SyncItem* item : items) {
    if (item->result.action == MergeAction::SendNew) {
      store_.SetSending(device_.id, folder, item->record);
    }
  }
  transaction.Commit();
}

void SyncRun::DeleteFromDevice(FolderState& state) {
  Store::Transaction transaction(store_);
  for (SyncItem& item : state.plan.items) {
    if (item.result.action != MergeAction::DeleteOnDevice) {
      continue;
    }
    if (!IsAsListed(state, item)) {
      ++state.left;
      continue;
    }
    const HRESULT result = session_.Delete(state.folder->objectType, item.oid);
    if (result < 0) {
      Fail(state, item, "the device cannot delete it: " + ResultName(result));
      continue;
    }
    store_.DropLink(device_.id, item.record);
    state.deleted.push_back(item.oid);
    ++state.deletedOnDevice;
  }
  transaction.Commit();
}

void SyncRun::Progress(const FolderState& state, size_t done, size_t total) {
  if (options_.progress) {
    options_.progress(*state.folder, done, total);
  }
}

}  // namespace wkt

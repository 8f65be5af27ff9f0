#include "desktop/partner/SyncPlan.h"

#include <algorithm>
#include <map>

#include "desktop/manager/Names.h"

namespace wkt {

namespace {

struct Listed {
  CEOID oid;
  bool changed;
};

// Builds one folder's plan; lives for one call of MakePlan.
class Planner {
 public:
  Planner(const PlanRequest& request, const FolderDescription& folder, Enumeration list)
      : request_(request), folderNumber_(static_cast<int>(folder.id)) {
    plan_.folder = &folder;
    plan_.list = std::move(list);
    plan_.listing = !plan_.list.problem.empty() ? Listing::Incomplete
                    : request.firstRun          ? Listing::FirstRun
                                                : Listing::Complete;
  }

  SyncPlan Make() {
    links_ = request_.store.Links(request_.device, folderNumber_);
    for (const int64_t record : request_.store.Unlinked(request_.device, folderNumber_)) {
      unlinked_.insert(record);
    }
    for (const Link& link : request_.store.Sending(request_.device, folderNumber_)) {
      sending_.emplace(link.record, link);
    }
    SplitListed();
    for (const auto& [oid, changed] : unknown_) {
      PlanUnknown(oid, changed);
    }
    for (const auto& [link, changed] : known_) {
      PlanKnown(*link, changed);
    }
    for (const auto& [record, link] : missing_) {
      PlanMissing(*link);
    }
    for (const int64_t record : unlinked_) {
      PlanNew(record);
    }
    for (const auto& [record, link] : sending_) {
      PlanUnsent(link);
    }
    plan_.recordsOnDevice =
        static_cast<int64_t>(plan_.list.unchanged.size() + plan_.list.changed.size());
    plan_.recordsOnDesktop = request_.store.Count(folderNumber_);
    return std::move(plan_);
  }

 private:
  // Objects with a link, without one, and links whose object is not listed.
  void SplitListed() {
    std::vector<Listed> listed;
    listed.reserve(plan_.list.unchanged.size() + plan_.list.changed.size());
    for (const CEOID oid : plan_.list.unchanged) {
      listed.push_back({oid, false});
    }
    for (const CEOID oid : plan_.list.changed) {
      listed.push_back({oid, true});
    }
    std::sort(listed.begin(), listed.end(),
              [](const Listed& a, const Listed& b) { return a.oid < b.oid; });
    size_t next = 0;
    CEOID last = 0;
    for (const Listed& object : listed) {
      if (object.oid == last) {
        continue;  // listed twice
      }
      last = object.oid;
      while (next < links_.size() && links_[next].oid < object.oid) {
        AddMissing(links_[next++]);
      }
      if (next < links_.size() && links_[next].oid == object.oid) {
        known_.emplace_back(&links_[next++], object.changed);
      } else {
        unknown_.push_back(object);
      }
    }
    while (next < links_.size()) {
      AddMissing(links_[next++]);
    }
  }

  void AddMissing(const Link& link) { missing_[link.record] = &link; }

  // The object's packet, decoded. Nothing and a failure noted when it cannot be had.
  std::optional<Record> ReadObject(CEOID oid, int64_t record, Bytes* packet) {
    if (request_.skips.oids.contains(oid)) {
      return std::nullopt;
    }
    ReadResult read = request_.session.Read(plan_.folder->objectType, oid);
    std::string problem;
    if (read.packets.empty()) {
      problem = "the device cannot read it: " + ResultName(read.result);
    } else if (read.packets.size() > 1) {
      problem = "the device sent " + std::to_string(read.packets.size()) + " packets, expected one";
    } else {
      *packet = std::move(read.packets.front());
      if (auto decoded = DecodePacket(plan_.folder->id, *packet)) {
        return decoded;
      }
      problem = "the device sent a packet that is not valid";
    }
    plan_.failures.push_back({oid, record, "", problem});
    return std::nullopt;
  }

  void PlanUnknown(CEOID oid, bool changed) {
    SyncItem item;
    item.oid = oid;
    item.listedChanged = changed;
    item.confirm = changed;
    const auto record = ReadObject(oid, 0, &item.packet);
    if (!record) {
      isUnknownUnread_ = true;
      return;
    }
    // An object of the device without a link counts as changed even if the device thinks that this
    // partner has it: a killed run may have written it, another desktop may have been the partner.
    item.input.device = DeviceState::Changed;
    const auto gone = Match(*record, &item);
    if (gone && plan_.listing == Listing::Complete) {
      // Deleted on the device and made again, say by another partner: what was common still tells
      // which side changed.
      DecideLinked(*gone, *record, std::move(item));
      return;
    }
    if (const auto sent = sending_.find(item.record); sent != sending_.end()) {
      const Link link = sent->second;
      sending_.erase(sent);
      DecideLinked(link, *record, std::move(item));
      return;
    }
    Decide(std::move(item));
  }

  // Finds the stored record that has the same identifier and no object of its own on the device;
  // among several the equal one, else the oldest. A deleted one only if this may be its object.
  // Returns the link to the object that it had before.
  std::optional<Link> Match(const Record& record, SyncItem* item) {
    if (unlinked_.empty() && missing_.empty() && sending_.empty()) {
      return std::nullopt;
    }
    for (const StoredRecord& stored : request_.store.FindByRecordId(folderNumber_, record.Id())) {
      const bool isFree =
          !stored.deleted && (unlinked_.contains(stored.id) || missing_.contains(stored.id));
      if (!isFree && !sending_.contains(stored.id)) {
        continue;
      }
      const auto own = DecodePacket(plan_.folder->id, stored.packet);
      if (!own) {
        continue;
      }
      const bool same = SameContent(*own, record);
      if (item->record == 0 || same) {
        item->record = stored.id;
        item->input.bond = Bond::Matched;
        item->input.desktop = DesktopState::Changed;
        item->input.sameContent = same;
        item->input.desktopNewer = own->Ticks(Field::Modified) > record.Ticks(Field::Modified);
      }
      if (same) {
        break;
      }
    }
    unlinked_.erase(item->record);
    const auto gone = missing_.extract(item->record);
    return gone ? std::optional(*gone.mapped()) : std::nullopt;
  }

  static DesktopState StateOf(const Link& link) {
    return link.deleted                       ? DesktopState::Deleted
           : link.recordChange != link.change ? DesktopState::Changed
                                              : DesktopState::Unchanged;
  }

  void PlanKnown(const Link& link, bool changed) {
    const DesktopState desktop = StateOf(link);
    if (!changed && desktop == DesktopState::Unchanged) {
      return;
    }
    SyncItem item;
    item.oid = link.oid;
    item.record = link.record;
    item.listedChanged = changed;
    std::optional<Record> record;
    if (changed) {
      record = ReadObject(link.oid, link.record, &item.packet);
      if (!record) {
        return;
      }
      item.confirm = true;
    }
    DecideLinked(link, record, std::move(item));
  }

  // `record` as the device has it; nothing: as it was.
  void DecideLinked(const Link& link, const std::optional<Record>& record, SyncItem item) {
    item.input.bond = Bond::Linked;
    item.input.desktop = StateOf(link);
    item.input.device = DeviceState::Unchanged;
    if (record) {
      const auto base = BaseOf(link);
      // Equal: transferred before and not confirmed or not linked, or changed back.
      item.input.device =
          base && SameContent(*base, *record) ? DeviceState::Unchanged : DeviceState::Changed;
      CompareWithStored(*record, &item);
    }
    if (item.input.desktop == DesktopState::Changed && IsChangedBack(link)) {
      item.input.desktop = DesktopState::Unchanged;
      if (item.input.device == DeviceState::Unchanged) {
        PlanLink(std::move(item));
        return;
      }
    }
    if (link.oid != item.oid && item.input.device == DeviceState::Unchanged &&
        item.input.desktop == DesktopState::Unchanged) {
      PlanLink(std::move(item));
      return;
    }
    Decide(std::move(item));
  }

  // Equal on both sides after all: remember that.
  void PlanLink(SyncItem item) {
    item.result.action = MergeAction::Link;
    plan_.items.push_back(std::move(item));
  }

  std::optional<Record> BaseOf(const Link& link) {
    return DecodePacket(plan_.folder->id, request_.store.Base(request_.device, link.record));
  }

  // Edited on the desktop, and then edited to what it was.
  bool IsChangedBack(const Link& link) {
    const auto base = BaseOf(link);
    const auto stored = request_.store.Find(link.record);
    const auto own = stored ? DecodePacket(plan_.folder->id, stored->packet) : std::nullopt;
    return base && own && SameContent(*base, *own);
  }

  void CompareWithStored(const Record& record, SyncItem* item) {
    if (item->input.desktop != DesktopState::Changed) {
      return;
    }
    const auto stored = request_.store.Find(item->record);
    const auto own = stored ? DecodePacket(plan_.folder->id, stored->packet) : std::nullopt;
    if (own) {
      item->input.sameContent = SameContent(*own, record);
      item->input.desktopNewer = own->Ticks(Field::Modified) > record.Ticks(Field::Modified);
    }
  }

  void PlanNew(int64_t record) {
    SyncItem item;
    item.record = record;
    item.input.desktop = DesktopState::Changed;
    Decide(std::move(item));
  }

  // About to be sent by a run that was killed, and no object was found. One that could not be read
  // may be it: then a second one is not made.
  void PlanUnsent(const Link& link) {
    if (link.deleted) {
      SyncItem item;
      item.record = link.record;
      item.result.action = MergeAction::Forget;
      plan_.items.push_back(std::move(item));
    } else if (!isUnknownUnread_) {
      PlanNew(link.record);
    }
  }

  void PlanMissing(const Link& link) {
    SyncItem item;
    item.oid = link.oid;
    item.record = link.record;
    item.input.bond = Bond::Linked;
    item.input.desktop = StateOf(link);
    Decide(std::move(item));
  }

  void Decide(SyncItem item) {
    if (request_.skips.records.contains(item.record)) {
      return;
    }
    item.input.listing = plan_.listing;
    item.input.policy = request_.policy;
    item.result = Merge(item.input);
    plan_.deletionsOnDevice += item.result.action == MergeAction::DeleteOnDevice;
    plan_.deletionsOnDesktop += item.result.action == MergeAction::DeleteOnDesktop;
    if (item.result.action != MergeAction::Nothing || item.confirm) {
      plan_.items.push_back(std::move(item));
    }
  }

  const PlanRequest& request_;
  const int folderNumber_;
  SyncPlan plan_;
  std::vector<Link> links_;
  std::set<int64_t> unlinked_;
  std::vector<std::pair<const Link*, bool>> known_;
  std::vector<Listed> unknown_;
  std::map<int64_t, const Link*> missing_;  // by record
  std::map<int64_t, Link> sending_;         // by record
  bool isUnknownUnread_ = false;
};

}  // namespace

SyncPlan MakePlan(const PlanRequest& request, const FolderDescription& folder, Enumeration list) {
  return Planner(request, folder, std::move(list)).Make();
}

}  // namespace wkt

#include <gtest/gtest.h>

#include <functional>

#include "WktCommon/Allocation.h"
#include "WktCommon/Log.h"
#include "WktCommon/WktTypeKinds.h"
#include "WktDevCommon/RecordCopy.h"
#include "WktDevCommon/SyncJobDatabase.h"
#include "WktDevCommon/SyncWktTypeDatabase.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/Samples.h"
#include "tests/support/Text.h"

// The order in which fields are copied. A record's observer sees it change by change; of a packet
// it shows in the text that is missing when the first, second, third ... request for memory fails.
namespace {

using wkt::test::AllocationFailure;
using wkt::test::Narrow;
using wkt::test::Ticks;
using Names = std::vector<std::string>;

constexpr FILETIME kStored = {0x12345678, 0x01DCA012};

template <class Object>
struct Shown {
  const char* name;
  std::function<std::string(const Object&)> value;
};

template <class Object, auto get>
Shown<Object> Field(const char* name) {
  return {name, [](const Object& object) -> std::string {
            using Value = decltype((object.*get)());
            if constexpr (std::is_same_v<Value, WideString>) {
              return Narrow((object.*get)().c_str());
            } else if constexpr (std::is_same_v<Value, FILETIME>) {
              return std::to_string(Ticks((object.*get)()));
            } else if constexpr (std::is_same_v<Value, const WCHAR*>) {
              return Narrow((object.*get)());
            } else {
              return std::to_string((object.*get)());
            }
          }};
}

// A change stamps the record with the present time; the packet's own counts here.
template <class Object>
Shown<Object> StoredTime() {
  return {"modification time", [](const Object& object) -> std::string {
            return Ticks(object.GetModificationTime()) == Ticks(kStored) ? "stored" : "";
          }};
}

const std::vector<Shown<CJobLean>> kJobFields = {
    StoredTime<CJobLean>(),
    Field<CJobLean, &CJobLean::GetLocalDayAsFileTime>("local day"),
    Field<CJobLean, &CJobLean::GetUnused3>("Unused3"),
    Field<CJobLean, &CJobLean::GetUnused2>("Unused2"),
    Field<CJobLean, &CJobLean::GetFlags>("flags"),
    Field<CJobLean, &CJobLean::GetPersonIds>("persons"),
    Field<CJobLean, &CJobLean::GetEndTime>("end"),
    Field<CJobLean, &CJobLean::GetStartTime>("start"),
    Field<CJobLean, &CJobLean::GetTeamworkId>("teamwork"),
    Field<CJobLean, &CJobLean::GetProjectId>("project"),
    Field<CJobLean, &CJobLean::GetWorkTypeId>("work type"),
    Field<CJobLean, &CJobLean::GetComment>("comment"),
    Field<CJobLean, &CJobLean::GetTitle>("title"),
    Field<CJobLean, &CJobLean::GetVersionNumber>("version"),
    Field<CJobLean, &CJobLean::GetJobId>("id"),
};

const std::vector<Shown<CWktTypeLean>> kTypeFields = {
    StoredTime<CWktTypeLean>(),
    Field<CWktTypeLean, &CWktTypeLean::GetUnused5>("Unused5"),
    Field<CWktTypeLean, &CWktTypeLean::GetUnused4>("Unused4"),
    Field<CWktTypeLean, &CWktTypeLean::GetUnused3>("Unused3"),
    Field<CWktTypeLean, &CWktTypeLean::GetUnused2>("Unused2"),
    Field<CWktTypeLean, &CWktTypeLean::GetUnused1>("Unused1"),
    Field<CWktTypeLean, &CWktTypeLean::GetFlags>("flags"),
    {"comment",
     [](const CWktTypeLean& type) { return Narrow(type.GetComment(FALSE, FALSE).c_str()); }},
    Field<CWktTypeLean, &CWktTypeLean::GetName2>("name2"),
    Field<CWktTypeLean, &CWktTypeLean::GetName1>("name1"),
    Field<CWktTypeLean, &CWktTypeLean::GetUseCount>("use count"),
    Field<CWktTypeLean, &CWktTypeLean::GetCreationTime>("creation"),
    Field<CWktTypeLean, &CWktTypeLean::GetVersionNumber>("version"),
    Field<CWktTypeLean, &CWktTypeLean::GetId>("id"),
    Field<CWktTypeLean, &CWktTypeLean::GetTypeOfType>("kind"),
};

// Writes down what differs from the time before, each time it is told.
template <class Record>
class Watcher {
 public:
  Watcher(const std::vector<Shown<Record>>& shown, const Record& record) : fields(shown) {
    for (const Shown<Record>& field : fields)
      values.push_back(field.value(record));
  }
  void Look(const Record& record) {
    for (size_t i = 0; i < fields.size(); ++i) {
      const std::string value = fields[i].value(record);
      if (value != values[i])
        order.emplace_back(fields[i].name);
      values[i] = value;
    }
  }
  [[nodiscard]] const Names& Order() const { return order; }

 private:
  const std::vector<Shown<Record>>& fields;
  Names values;
  Names order;
};

class JobWatcher final : public wkt::JobObserver, public Watcher<CJobLean> {
 public:
  explicit JobWatcher(const CJobLean& job) : Watcher(kJobFields, job) {}
  void OnJobChanged(CJobLean& job) override { Look(job); }
};

class TypeWatcher final : public wkt::TypeObserver, public Watcher<CWktTypeLean> {
 public:
  explicit TypeWatcher(const CWktTypeLean& type) : Watcher(kTypeFields, type) {}
  void OnTypeChanged(CWktTypeLean& type) override { Look(type); }
};

class CopyOrder : public wkt::test::DeskDeviceTest {
 protected:
  CopyOrder() { wkt::logState.write = nullptr; }  // texts made for listeners take memory, too
  ~CopyOrder() override { wkt::ClearAllocationFailure(); }

  // Which text is empty after the nth request failed, one after the other.
  template <class Packet>
  static Names Missing(const std::vector<Shown<Packet>>& texts,
                       const std::function<void(Packet&)>& fill) {
    Names order;
    for (size_t nth = 1;; ++nth) {
      Packet packet = MakePacket<Packet>();
      bool happened = false;
      {
        const AllocationFailure failure(nth);
        fill(packet);
        happened = failure.Happened();
      }
      if (!happened)
        return order;
      for (const Shown<Packet>& text : texts) {
        if (text.value(packet).empty() && (order.empty() || order.back() != text.name))
          order.emplace_back(text.name);
      }
    }
  }

 private:
  template <class Packet>
  static Packet MakePacket() {
    if constexpr (std::is_same_v<Packet, CJobPacket>) {
      return CJobPacket(1);
    } else {
      return CWktTypePacket();
    }
  }
};

TEST_F(CopyOrder, FillsAJobFieldByFieldAndSetsItsTimeLast) {
  CJobPacket packet(1);
  CSyncJobDatabase::FillJobPacket(&packet, wkt::test::MakeSampleJob().get());
  packet.SetVersionNumber(77);
  packet.SetModificationTime(kStored);
  CJobLean job(FALSE);
  JobWatcher watcher(job);
  job.SetObserver(&watcher);
  CSyncJobDatabase::FillJobLean(&job, &packet);
  EXPECT_EQ(watcher.Order(), (Names{"id", "version", "title", "comment", "work type", "project",
                                    "teamwork", "start", "end", "persons", "flags", "Unused2",
                                    "Unused3", "local day", "modification time"}));
  job.SetObserver(nullptr);
}

TEST_F(CopyOrder, FillsATypeFieldByFieldAndSetsItsTimeLast) {
  CWktTypePacket packet;
  CSyncWktTypeDatabase::FillWktTypePacket(&packet, wkt::test::MakeSampleType(4).get());
  packet.SetVersionNumber(77);
  packet.SetModificationTime(kStored);
  const wkt::TypePtr type(wkt::MakeType(3, FALSE));
  TypeWatcher watcher(*type);
  const std::vector<wkt::TypeObserver*> watchers = {&watcher};
  type->SetObservers(&watchers);
  CSyncWktTypeDatabase::FillWktTypeLean(type.get(), &packet);
  // Setting the kind is no edit: it is seen with the identifier, and was there before it.
  EXPECT_EQ(watcher.Order(), (Names{"id", "kind", "version", "creation", "use count", "name1",
                                    "name2", "comment", "flags", "Unused1", "Unused2", "Unused3",
                                    "Unused4", "Unused5", "modification time"}));
}

TEST_F(CopyOrder, FillsAJobPacketTextByText) {
  const std::unique_ptr<CJobLean> job = wkt::test::MakeSampleJob();
  const std::vector<Shown<CJobPacket>> texts = {
      Field<CJobPacket, &CJobPacket::GetUnused3>("Unused3"),
      Field<CJobPacket, &CJobPacket::GetPersonIds>("persons"),
      Field<CJobPacket, &CJobPacket::GetComment>("comment"),
      Field<CJobPacket, &CJobPacket::GetTitle>("title"),
      Field<CJobPacket, &CJobPacket::GetJobId>("id"),
  };
  EXPECT_EQ(
      Missing<CJobPacket>(
          texts, [&](CJobPacket& packet) { CSyncJobDatabase::FillJobPacket(&packet, job.get()); }),
      (Names{"id", "title", "comment", "persons", "Unused3"}));
}

TEST_F(CopyOrder, FillsATypePacketTextByText) {
  const wkt::TypePtr type = wkt::test::MakeSampleType(4);
  const std::vector<Shown<CWktTypePacket>> texts = {
      Field<CWktTypePacket, &CWktTypePacket::GetUnused2>("Unused2"),
      Field<CWktTypePacket, &CWktTypePacket::GetUnused1>("Unused1"),
      Field<CWktTypePacket, &CWktTypePacket::GetComment>("comment"),
      Field<CWktTypePacket, &CWktTypePacket::GetName2>("name2"),
      Field<CWktTypePacket, &CWktTypePacket::GetName1>("name1"),
      Field<CWktTypePacket, &CWktTypePacket::GetId>("id"),
  };
  EXPECT_EQ(Missing<CWktTypePacket>(texts,
                                    [&](CWktTypePacket& packet) {
                                      CSyncWktTypeDatabase::FillWktTypePacket(&packet, type.get());
                                    }),
            (Names{"id", "name1", "name2", "comment", "Unused1", "Unused2"}));
}

}  // namespace

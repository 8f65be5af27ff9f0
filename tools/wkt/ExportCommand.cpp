#include <algorithm>
#include <cstdio>
#include <memory>

#include "desktop/partner/Export.h"
#include "desktop/partner/Instant.h"
#include "tools/wkt/Commands.h"
#include "tools/wkt/RecordText.h"

namespace wkt::tool {

namespace {

struct ExportArguments {
  std::string home;
  std::string folder = "jobs";
  std::string from;
  std::string to;
  bool csv = false;
  bool calendar = false;
};

// Which partner has seen a record is the device's affair, not the record's.
void DropSyncState(Record* record) {
  const FolderDescription& folder = DescribeFolder(record->Folder());
  for (const int position :
       {folder.partnerFlags[0], folder.partnerFlags[1], folder.changedDuringSyncFlag}) {
    if (record->Flag(position)) {
      record->SetFlag(position, false);
    }
  }
}

uint64_t ReadDay(const std::string& text, uint64_t otherwise) {
  if (text.empty()) {
    return otherwise;
  }
  const auto time = ParseTime(text);
  if (!time || time->hasTime) {
    throw Failure("'" + text + "' is no day; expected a date such as 2026-03-02", ExitCode::Usage);
  }
  return time->ticks;
}

// In an order that does not depend on the home.
std::vector<HomeRecord> Sorted(Home& home, FolderId folder, const ExportArguments& arguments) {
  std::vector<HomeRecord> records = home.List(folder);
  const uint64_t from = ReadDay(arguments.from, 0);
  const uint64_t to = ReadDay(arguments.to, UINT64_MAX);
  if (from > to) {
    throw Failure("--from " + arguments.from + " lies behind --to " + arguments.to,
                  ExitCode::Usage);
  }
  if (folder == FolderId::Jobs) {
    std::erase_if(records, [&](const HomeRecord& found) {
      return found.record.Ticks(Field::Day) < from || found.record.Ticks(Field::Day) > to;
    });
  }
  const auto key = [](const Record& record) {
    return std::tuple(record.Ticks(Field::Day), record.Ticks(Field::Start),
                      record.Ticks(Field::Created), record.Id());
  };
  std::sort(records.begin(), records.end(), [&](const HomeRecord& a, const HomeRecord& b) {
    return key(a.record) < key(b.record);
  });
  return records;
}

Json Describe(Home& home, const TypeNames& names, std::vector<HomeRecord>* records) {
  Json list = Json::array();
  for (HomeRecord& found : *records) {
    DropSyncState(&found.record);
    Json json = DescribeRecord(found, names, home.LocalZone());
    json["resolved"].erase("number");  // differs from home to home
    list.push_back(std::move(json));
  }
  return list;
}

void Export(const ExportArguments& arguments) {
  const auto home = OpenHome(arguments.home, Access::Read);
  const TypeNames names(*home);
  std::string text;
  if (arguments.csv || arguments.calendar) {
    const FolderId folder = arguments.calendar ? FolderId::Jobs : *FolderFromName(arguments.folder);
    std::vector<HomeRecord> found = Sorted(*home, folder, arguments);
    const Json records = Describe(*home, names, &found);
    std::vector<Record> plain;
    plain.reserve(found.size());
    for (HomeRecord& record : found) {
      plain.push_back(std::move(record.record));
    }
    text = arguments.csv ? ExportCsv(folder, records) : ExportCalendar(plain, records, home->Now());
  } else {
    Json file;
    file["format"] = "worktally";
    for (const FolderDescription& folder : kFolders) {
      std::vector<HomeRecord> found = Sorted(*home, folder.id, arguments);
      file[folder.name] = Describe(*home, names, &found);
    }
    text = file.dump(1) + "\n";
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace

void AddExportCommand(Shell& shell) {
  const auto arguments = std::make_shared<ExportArguments>();
  const Command command = AddCommand(shell, shell.root, "export");
  command.AddOperand("HOME", &arguments->home, "A device or a partner's folder");
  const Option json = command.GetOption("--json").SetDescription(
      "Everything as JSON; so it is without --csv and --ics");
  const Option csv = command.AddFlag("--csv", &arguments->csv, "One folder as CSV").Excludes(json);
  command.AddFlag("--ics", &arguments->calendar, "Jobs as iCalendar").Excludes(csv).Excludes(json);
  command.AddOption("--folder", &arguments->folder, "The folder for --csv")
      .Needs(csv)
      .OneOf({"jobs", "favorites", "types"});
  command.AddOption("--from", &arguments->from, "First day of jobs");
  command.AddOption("--to", &arguments->to, "Last day of jobs");
  command.SetAction([arguments] { Export(*arguments); });
}

}  // namespace wkt::tool

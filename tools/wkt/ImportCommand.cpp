#include <algorithm>
#include <map>
#include <memory>
#include <set>

#include "desktop/manager/Trace.h"
#include "desktop/partner/Import.h"
#include "desktop/partner/Instant.h"
#include "tools/wkt/Commands.h"
#include "tools/wkt/Home.h"

namespace wkt::tool {

namespace {

struct ImportArguments {
  std::string home;
  std::string file;
  std::string zone;
  ClockColumns columns;
  bool dryRun = false;
};

constexpr size_t kTitleWidth = 44;

// Jobs that overlap in time: worth a look, no mistake by themselves.
Json FindOverlaps(const std::vector<const Record*>& jobs) {
  std::vector<const Record*> sorted = jobs;
  std::stable_sort(sorted.begin(), sorted.end(), [](const Record* a, const Record* b) {
    return a->Ticks(Field::Start) < b->Ticks(Field::Start);
  });
  Json overlaps = Json::array();
  const Record* longest = nullptr;
  for (const Record* job : sorted) {
    if (longest && job->Ticks(Field::Start) < longest->Ticks(Field::End)) {
      overlaps.push_back(
          {{"day", job->Ticks(Field::Day) < kEndOfTextTime ? DateText(job->Ticks(Field::Day)) : ""},
           {"first", ToUtf8(longest->DisplayName())},
           {"second", ToUtf8(job->DisplayName())}});
    }
    if (!longest || job->Ticks(Field::End) > longest->Ticks(Field::End)) {
      longest = job;
    }
  }
  return overlaps;
}

// Takes back what was added to a home that cannot do so by itself.
class Undo {
 public:
  explicit Undo(Home& home) : home_(home) { home_.Begin(); }
  ~Undo() {
    for (const auto& [folder, number] : added_) {
      try {
        home_.Delete(folder, number);
      } catch (const Failure& failure) {
        Say(std::string("wkt: a record that was added stays: ") + failure.what());
      }
    }
  }
  Undo(const Undo&) = delete;
  Undo& operator=(const Undo&) = delete;

  void Add(const Record& record) { added_.emplace_back(record.Folder(), home_.Add(record)); }
  void Keep() {
    home_.Commit();
    added_.clear();
  }

 private:
  Home& home_;
  std::vector<std::pair<FolderId, int64_t>> added_;
};

std::string ImportText(const Json& report) {
  std::string text = report["dryRun"].get<bool>() ? "Dry run; nothing is added.\n\n" : "";
  Table table({{""}, {"added", Table::Align::Right}, {"already there", Table::Align::Right}});
  for (const Json& folder : report["folders"]) {
    table.AddRow({folder["folder"].get<std::string>(), folder["added"].dump(),
                  folder["alreadyThere"].dump()});
  }
  text += table.Text();
  const Json& overlaps = report["overlaps"];
  if (!overlaps.empty()) {
    text += "\n" +
            CountText(static_cast<int64_t>(overlaps.size()), "job overlaps", "jobs overlap") +
            " another:\n";
    constexpr size_t kShown = 5;
    for (size_t i = 0; i < std::min(kShown, overlaps.size()); ++i) {
      text += "  " + overlaps[i]["day"].get<std::string>() + "  " +
              Shorten(overlaps[i]["first"].get<std::string>(), kTitleWidth) + " / " +
              Shorten(overlaps[i]["second"].get<std::string>(), kTitleWidth) + "\n";
    }
    if (overlaps.size() > kShown) {
      text += "  ...\n";
    }
  }
  return text;
}

// By what the file begins with; named columns say that it is a time clock's.
ImportedRecords ReadRecords(const ImportArguments& arguments, const ImportOptions& options) {
  const std::string content = ReadImportFile(arguments.file);
  std::string_view start = content;
  if (start.starts_with("\xEF\xBB\xBF")) {
    start.remove_prefix(3);
  }
  start.remove_prefix(std::min(start.find_first_not_of(" \t\r\n"), start.size()));
  if (!arguments.columns.in.empty() || !arguments.columns.out.empty()) {
    return ReadClockRecords(options, arguments.columns, content);
  }
  if (start.starts_with("BEGIN:VCALENDAR")) {
    return ReadCalendarRecords(options, content);
  }
  const std::string_view heading = start.substr(0, start.find('\n'));
  if (heading.find("Start date") != std::string_view::npos &&
      heading.find("Description") != std::string_view::npos) {
    return ReadTogglRecords(options, content);
  }
  if (start.starts_with("{") || start.starts_with("[")) {
    return ReadJsonRecords(options, content);
  }
  (void)CheckUtf8(options, content);
  ImportProblem(options, 1,
                "neither our JSON, iCalendar nor Toggl's CSV; name a time clock's columns with "
                "--in and --out");
}

void Import(Shell& shell, const ImportArguments& arguments) {
  const auto home = OpenHome(arguments.home, arguments.dryRun ? Access::Read : Access::Write);
  const std::optional<Zone> zone =
      arguments.zone.empty() ? std::nullopt : std::optional<Zone>(arguments.zone);
  ImportOptions options;
  options.fileName = arguments.file;
  options.zone = zone ? &*zone : &home->LocalZone();
  options.now = home->Now();
  const ImportedRecords records = ReadRecords(arguments, options);

  std::map<FolderId, std::set<std::u16string>> known;
  for (const FolderDescription& folder : kFolders) {
    for (const HomeRecord& record : home->List(folder.id)) {
      known[folder.id].insert(record.record.Id());
    }
  }
  std::map<FolderId, std::pair<int64_t, int64_t>> counts;  // added, already there
  std::vector<const Record*> jobs;
  Undo undo(*home);
  for (const ImportedRecord& imported : records) {
    const Record& record = imported.record;
    if (record.Folder() == FolderId::Jobs) {
      jobs.push_back(&record);
    }
    if (!known[record.Folder()].insert(record.Id()).second) {
      ++counts[record.Folder()].second;
      continue;
    }
    ++counts[record.Folder()].first;
    if (!arguments.dryRun) {
      undo.Add(record);
    }
  }
  undo.Keep();
  Json report;
  report["file"] = arguments.file;
  report["dryRun"] = arguments.dryRun;
  report["folders"] = Json::array();
  for (const FolderDescription& folder : kFolders) {
    report["folders"].push_back({{"folder", folder.name},
                                 {"added", counts[folder.id].first},
                                 {"alreadyThere", counts[folder.id].second}});
  }
  report["overlaps"] = FindOverlaps(jobs);
  Print(shell.output, report, ImportText);
}

}  // namespace

void AddImportCommand(Shell& shell) {
  const auto arguments = std::make_shared<ImportArguments>();
  CLI::App* command = AddCommand(shell, shell.app, "import");
  command->add_option("HOME", arguments->home, "A device or a partner's folder")->required();
  command->add_option("FILE", arguments->file, "The file to read")->required();
  command->add_option("--zone", arguments->zone,
                      "Time zone of times without one; the home's own when missing");
  command->add_option("--in", arguments->columns.in,
                      "CSV of a time clock: heading of the column with the start");
  command->add_option("--out", arguments->columns.out, "... with the end");
  command->add_option("--title-column", arguments->columns.title, "... with the title");
  command->add_option("--comment-column", arguments->columns.comment, "... with the comment");
  command->add_option("--project-column", arguments->columns.project, "... with the project");
  command->add_option("--work-type-column", arguments->columns.workType, "... with the work type");
  command->add_option("--person-column", arguments->columns.person, "... with the person");
  command->add_flag("--dry-run", arguments->dryRun, "Read and check the file; add nothing");
  command->callback([&shell, arguments] { Import(shell, *arguments); });
}

}  // namespace wkt::tool

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
  std::string separator = ",";
  bool dryRun = false;
  bool skipBad = false;
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
  if (report["added"] == 0 && report["alreadyThere"] != 0) {
    text += "\nNothing is new: all of it is there already.\n";
  }
  if (const Json& skipped = report["skipped"]; !skipped.empty()) {
    text += "\nLeft out:\n";
    for (const Json& problem : skipped) {
      text += "  " + problem.get<std::string>() + "\n";
    }
  }
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
  if (!arguments.columns.in.empty()) {
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

Json ReportFolders(const std::map<FolderId, std::pair<int64_t, int64_t>>& counts, Json report) {
  int64_t added = 0;
  int64_t alreadyThere = 0;
  report["folders"] = Json::array();
  for (const FolderDescription& folder : kFolders) {
    const auto found = counts.find(folder.id);
    const auto [own, known] = found == counts.end() ? std::pair<int64_t, int64_t>() : found->second;
    report["folders"].push_back({{"folder", folder.name}, {"added", own}, {"alreadyThere", known}});
    added += own;
    alreadyThere += known;
  }
  report["added"] = added;
  report["alreadyThere"] = alreadyThere;
  return report;
}

void Import(Shell& shell, const ImportArguments& arguments) {
  const auto home = OpenHome(arguments.home, arguments.dryRun ? Access::Read : Access::Write);
  const std::optional<Zone> zone =
      arguments.zone.empty() ? std::nullopt : std::optional<Zone>(arguments.zone);
  std::vector<std::string> skipped;
  ImportOptions options;
  options.fileName = arguments.file;
  options.zone = zone ? &*zone : &home->LocalZone();
  options.now = home->Now();
  options.skipped = arguments.skipBad ? &skipped : nullptr;
  const ImportedRecords records = ReadRecords(arguments, options);

  std::map<FolderId, std::set<std::u16string>> known;
  for (const FolderDescription& folder : kFolders) {
    for (const HomeRecord& record : home->List(folder.id)) {
      known[folder.id].insert(record.record.Id());
    }
  }
  std::map<FolderId, std::pair<int64_t, int64_t>> counts;  // added, already there
  std::vector<const Record*> jobs;
  std::optional<Undo> undo;
  if (!arguments.dryRun) {
    undo.emplace(*home);
  }
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
    if (undo) {
      undo->Add(record);
    }
  }
  if (undo) {
    undo->Keep();
  }
  Json report;
  report["file"] = arguments.file;
  report["dryRun"] = arguments.dryRun;
  report = ReportFolders(counts, std::move(report));
  report["skipped"] = skipped;
  report["overlaps"] = FindOverlaps(jobs);
  shell.exitCode = skipped.empty() ? ExitCode::Done : ExitCode::Left;
  Print(shell.output, report, ImportText);
}

}  // namespace

void AddImportCommand(Shell& shell) {
  const auto arguments = std::make_shared<ImportArguments>();
  const Command command = AddCommand(shell, shell.root, "import");
  command.AddOperand("HOME", &arguments->home, "A device or a partner's folder");
  command.AddOperand("FILE", &arguments->file, "The file to read");
  command.AddOption("--zone", &arguments->zone,
                    "Time zone of times without one; the home's own when missing");
  const Option in = command.AddOption("--in", &arguments->columns.in,
                                      "CSV of a time clock: heading of the column with the "
                                      "start");
  in.Needs(command.AddOption("--out", &arguments->columns.out, "... with the end").Needs(in));
  const auto column = [&](const char* name, std::string* heading, const char* description) {
    command.AddOption(name, heading, description).Needs(in);
  };
  column("--date-column", &arguments->columns.date,
         "... with the day, when start and end are times of day");
  column("--title-column", &arguments->columns.title, "... with the title");
  column("--comment-column", &arguments->columns.comment, "... with the comment");
  column("--project-column", &arguments->columns.project,
         "... with the project; 'House / Roof' is Roof below House");
  column("--work-type-column", &arguments->columns.workType, "... with the work type");
  column("--teamwork-column", &arguments->columns.teamwork, "... with the teamwork");
  column("--person-column", &arguments->columns.person, "... with the persons, ';' between them");
  command
      .AddOption("--separator", &arguments->separator,
                 "What stands between the columns: , ; or tab")
      .Needs(in)
      .OneOf({",", ";", "tab"});
  command.AddFlag("--dry-run", &arguments->dryRun, "Read and check the file; add nothing");
  command.AddFlag("--skip-bad", &arguments->skipBad,
                  "Leave out entries that cannot be read, and say which");
  command.SetAction([&shell, arguments] {
    arguments->columns.separator = arguments->separator == "tab" ? '\t' : arguments->separator[0];
    Import(shell, *arguments);
  });
}

}  // namespace wkt::tool

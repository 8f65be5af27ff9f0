#include <algorithm>
#include <memory>

#include "desktop/manager/Trace.h"
#include "desktop/partner/Instant.h"
#include "tools/wkt/Commands.h"
#include "tools/wkt/RecordText.h"

namespace wkt::tool {

namespace {

// Options as they were given; "given" is asked of the option itself, so that a text can be emptied.
struct RecordArguments {
  explicit RecordArguments(Command added) : command(added) {}
  bool Given(const char* option) const { return command.Has(option); }

  const Command command;
  std::string home;
  std::string selector;
  std::string from;
  std::string to;
  std::string title, comment, start, end, day, project, workType, teamwork;
  std::vector<std::string> persons;
  int kind = kWorkTypeKind;
  std::string name, name2, parent;
  std::vector<std::string> fields;
};

constexpr size_t kTitleWidth = 44;
constexpr size_t kNameWidth = 30;

std::string ListText(FolderId folder, const Json& report) {
  const bool isType = folder == FolderId::Types;
  Table table(isType ? std::vector<Table::Column>{{"number", Table::Align::Right},
                                                  {"kind"},
                                                  {"name"},
                                                  {"comment"}}
                     : std::vector<Table::Column>{{"number", Table::Align::Right},
                                                  {"day"},
                                                  {"from"},
                                                  {"to"},
                                                  {"title"},
                                                  {"project"}});
  for (const Json& record : report) {
    const Json& resolved = record["resolved"];
    const auto text = [](const Json& value) {
      return value.is_string() ? value.get<std::string>() : value.dump();
    };
    const std::string number = "#" + resolved["number"].dump();
    if (isType) {
      table.AddRow({number, text(resolved["kind"]), Shorten(text(resolved["name"]), kTitleWidth),
                    Shorten(text(record["comment"]), kNameWidth)});
      continue;
    }
    const auto time = [&](const char* name) {
      const std::string value = text(resolved[name]);
      return value.size() >= 16 ? value.substr(11, 5) : value;
    };
    table.AddRow({number, text(record["day"]), time("start"), time("end"),
                  Shorten(text(record["title"]), kTitleWidth),
                  Shorten(text(resolved["project"]), kNameWidth)});
  }
  return table.Text();
}

std::string ShowText(const Json& record) {
  Table table({{"field"}, {"value"}, {"meaning"}});
  const Json& resolved = record["resolved"];
  for (const auto& [name, value] : record.items()) {
    if (name == "resolved") {
      continue;
    }
    const auto meaning = resolved.find(name);
    table.AddRow({name, value.is_string() ? Shorten(value.get<std::string>(), 60) : value.dump(),
                  meaning == resolved.end() ? ""
                  : meaning->is_string()    ? meaning->get<std::string>()
                                            : meaning->dump()});
  }
  return table.Text();
}

void ListRecords(Shell& shell, FolderId folder, const RecordArguments& arguments) {
  const auto home = OpenHome(arguments.home, Access::Read);
  const TypeNames names(*home);
  const auto day = [](const std::string& text) -> std::optional<uint64_t> {
    if (text.empty()) {
      return std::nullopt;
    }
    const auto time = ParseTime(text);
    if (!time || time->hasTime) {
      throw Failure("'" + text + "' is no day; expected a date such as 2026-03-02",
                    ExitCode::Usage);
    }
    return time->ticks;
  };
  const auto from = day(arguments.from);
  const auto to = day(arguments.to);
  std::vector<HomeRecord> records = home->List(folder);
  std::erase_if(records, [&](const HomeRecord& found) {
    const uint64_t own = found.record.Ticks(Field::Day);
    return folder != FolderId::Types && ((from && own < *from) || (to && own > *to));
  });
  if (folder != FolderId::Types) {
    // A device's own order; a partner's store knows none.
    std::stable_sort(records.begin(), records.end(), [](const HomeRecord& a, const HomeRecord& b) {
      return std::pair(a.record.Ticks(Field::Day), a.record.Ticks(Field::Start)) <
             std::pair(b.record.Ticks(Field::Day), b.record.Ticks(Field::Start));
    });
  }
  Json report = Json::array();
  for (const HomeRecord& record : records) {
    report.push_back(DescribeRecord(record, names, home->LocalZone()));
  }
  Print(shell.output, report, [folder](const Json& json) { return ListText(folder, json); });
}

uint64_t ReadInstant(const std::string& text, const Zone& zone, const char* option) {
  const auto time = ParseTime(text);
  if (!time || !time->hasTime) {
    throw Failure(
        std::string(option) + " is '" + text + "', expected a time such as '2026-03-02 09:00'",
        ExitCode::Usage);
  }
  return time->hasOffset ? time->ticks : zone.ToUtc(time->ticks);
}

// FIELD=VALUE of any field of the record; numbers and texts as JSON has them, or plain.
void ApplyFields(const RecordArguments& arguments, const Zone& zone, Record* record) {
  for (const std::string& pair : arguments.fields) {
    const size_t equals = pair.find('=');
    if (equals == std::string::npos) {
      throw Failure("'" + pair + "' is no FIELD=VALUE", ExitCode::Usage);
    }
    const std::string value = pair.substr(equals + 1);
    bool isNumber = false;
    for (const FieldDescription& field : FieldsOf(record->Folder())) {
      isNumber =
          isNumber || (pair.substr(0, equals) == field.name &&
                       (field.kind == FieldKind::Number || field.kind == FieldKind::Version));
    }
    const Json number = isNumber ? Json::parse(value, nullptr, false) : Json();
    Json json;
    json[pair.substr(0, equals)] = number.is_number() ? number : Json(value);
    ReadRecordJson(json, zone, record);
  }
}

void ApplyJob(const RecordArguments& arguments, Home& home, bool isNew, Record* record) {
  const Zone& zone = home.LocalZone();
  const TypeNames names(home);
  const auto text = [&](const char* option, Field field, const std::string& value) {
    if (arguments.Given(option)) {
      record->SetText(field, FromUtf8(value));
    }
  };
  text("--title", Field::Title, arguments.title);
  if (arguments.Given("--project")) {
    record->SetText(Field::Project, names.Find(arguments.project, {kProjectKind}));
  }
  if (arguments.Given("--work-type")) {
    record->SetText(Field::WorkType, names.Find(arguments.workType, {kWorkTypeKind}));
  }
  if (arguments.Given("--teamwork")) {
    record->SetText(Field::Teamwork, names.Find(arguments.teamwork, {kTeamworkKind}));
  }
  if (arguments.Given("--person")) {
    std::u16string ids;
    for (const std::string& person : arguments.persons) {
      ids += (ids.empty() ? u"" : u"; ") + names.Find(person, {kPersonKind});
    }
    record->SetText(Field::Persons, ids);
  }
  if (arguments.Given("--start")) {
    record->SetTicks(Field::Start, ReadInstant(arguments.start, zone, "--start"));
    if (isNew && !arguments.Given("--end")) {
      record->SetTicks(Field::End, record->Ticks(Field::Start));
    }
    const uint64_t local = zone.ToLocal(record->Ticks(Field::Start));
    record->SetTicks(Field::Day, local - local % kTicksPerDay);
  }
  if (arguments.Given("--end")) {
    record->SetTicks(Field::End, ReadInstant(arguments.end, zone, "--end"));
  }
  if (record->Ticks(Field::End) < record->Ticks(Field::Start)) {
    throw Failure("the job ends before it starts", ExitCode::Usage);
  }
  if (arguments.Given("--day")) {
    const auto day = ParseTime(arguments.day);
    if (!day || day->hasTime) {
      throw Failure("--day is '" + arguments.day + "', expected a date such as 2026-03-02",
                    ExitCode::Usage);
    }
    record->SetTicks(Field::Day, day->ticks);
  }
}

void ApplyType(const RecordArguments& arguments, Home& home, bool isNew, Record* record) {
  if (isNew || arguments.Given("--kind")) {
    record->SetNumber(Field::Kind, arguments.kind);
    record->SetFlag(4, arguments.kind == kWorkTypeKind);
  }
  if (arguments.Given("--name")) {
    record->SetText(Field::Name1, FromUtf8(arguments.name));
  }
  if (arguments.Given("--name2")) {
    record->SetText(Field::Name2, FromUtf8(arguments.name2));
  }
  if (arguments.Given("--parent")) {
    if (record->Number(Field::Kind) != kProjectKind) {
      throw Failure("only a project (--kind 2) has a parent", ExitCode::Usage);
    }
    record->SetText(Field::Unused1, TypeNames(home).Find(arguments.parent, {kProjectKind}));
  }
}

// A record nobody could find again by name is a mistake on the command line.
void RequireName(FolderId folder, const Record& record) {
  if (record.DisplayName().empty()) {
    throw Failure(folder == FolderId::Types ? "a type needs a --name" : "a job needs a --title",
                  ExitCode::Usage);
  }
}

void Apply(const RecordArguments& arguments, Home& home, bool isNew, Record* record) {
  if (record->IsType()) {
    ApplyType(arguments, home, isNew, record);
  } else {
    ApplyJob(arguments, home, isNew, record);
  }
  if (arguments.Given("--comment")) {
    record->SetText(Field::Comment, FromUtf8(arguments.comment));
  }
  ApplyFields(arguments, home.LocalZone(), record);
  if (const std::string problem = CheckRecord(*record); !problem.empty()) {
    throw Failure(problem, ExitCode::Usage);
  }
}

void ShowRecord(Shell& shell, Home& home, const HomeRecord& record) {
  Print(shell.output, DescribeRecord(record, TypeNames(home), home.LocalZone()), ShowText);
}

void AddRecord(Shell& shell, FolderId folder, const RecordArguments& arguments) {
  const auto home = OpenHome(arguments.home, Access::Write);
  const uint64_t now = home->Now();
  const uint64_t local = home->LocalZone().ToLocal(now);
  HomeRecord added{0, MakeRecord(folder, now, local - local % kTicksPerDay)};
  added.record.SetText(Field::Id, home->NewIdentifier());
  Apply(arguments, *home, true, &added.record);
  RequireName(folder, added.record);
  added.number = home->Add(added.record);
  Say(std::string("Added ") + DescribeFolder(folder).noun + " '" +
      ToUtf8(added.record.DisplayName()) + "'.");
  if (shell.output.json) {
    ShowRecord(shell, *home, added);
  }
}

void ChangeRecord(Shell& shell, FolderId folder, const RecordArguments& arguments) {
  const auto home = OpenHome(arguments.home, Access::Write);
  HomeRecord changed = SelectRecord(*home, folder, arguments.selector);
  const Record before = changed.record;
  Apply(arguments, *home, false, &changed.record);
  if (SameContent(before, changed.record)) {
    Say("Nothing to change.");
  } else {
    if (changed.record.Ticks(Field::Modified) == before.Ticks(Field::Modified)) {
      changed.record.SetTicks(Field::Modified, home->Now());
    }
    home->Change(changed);
    Say(std::string("Changed ") + DescribeFolder(folder).noun + " '" +
        ToUtf8(changed.record.DisplayName()) + "'.");
  }
  if (shell.output.json) {
    ShowRecord(shell, *home, changed);
  }
}

void DeleteRecord(Shell& shell, FolderId folder, const RecordArguments& arguments) {
  const auto home = OpenHome(arguments.home, Access::Write);
  const HomeRecord found = SelectRecord(*home, folder, arguments.selector);
  home->Delete(folder, found.number);
  Say(std::string("Deleted ") + DescribeFolder(folder).noun + " '" +
      ToUtf8(found.record.DisplayName()) + "'.");
  if (shell.output.json) {
    ShowRecord(shell, *home, found);
  }
}

void AddFieldOptions(Command command, FolderId folder, RecordArguments* arguments) {
  if (folder == FolderId::Types) {
    command
        .AddOption("--kind", &arguments->kind,
                   "1 work type, 2 project, 3 person, 4 teamwork, 5 list")
        .InRange(1, 5);
    command.AddOption("--name", &arguments->name, "Name");
    command.AddOption("--name2", &arguments->name2, "Second name, such as a person's family name");
    command.AddOption("--parent", &arguments->parent, "Parent of a project");
  } else {
    command.AddOption("--title", &arguments->title, "Title");
    command.AddOption("--start", &arguments->start, "Start, such as '2026-03-02 09:00'");
    command.AddOption("--end", &arguments->end, "End");
    command.AddOption("--day", &arguments->day,
                      "Day that the job is booked to, if not that of its start");
    command.AddOption("--project", &arguments->project, "Project, by name or identifier");
    command.AddOption("--work-type", &arguments->workType, "Work type, by name or identifier");
    command.AddOption("--teamwork", &arguments->teamwork, "Teamwork, by name or identifier");
    command
        .AddOption("--person", &arguments->persons,
                   "Person, by name or identifier; may be repeated")
        .TakeAll();
  }
  command.AddOption("--comment", &arguments->comment, "Comment");
  command.AddOption("--set", &arguments->fields, "Any field: FIELD=VALUE; may be repeated")
      .TakeAll();
}

void AddFolderCommands(Shell& shell, FolderId folder) {
  const std::string noun = DescribeFolder(folder).noun;
  const Command parent = AddCommand(shell, shell.root, noun);
  parent.RequireCommand();
  const auto make = [&](const char* verb) {
    auto arguments =
        std::make_shared<RecordArguments>(AddCommand(shell, parent, noun + " " + verb));
    arguments->command.AddOperand("HOME", &arguments->home, "A device or a partner's folder");
    return arguments;
  };
  const auto addSelector = [](RecordArguments* arguments) {
    arguments->command.AddOperand("RECORD", &arguments->selector, "Title, identifier or #number");
  };

  const auto list = make("list");
  if (folder != FolderId::Types) {
    list->command.AddOption("--from", &list->from, "First day");
    list->command.AddOption("--to", &list->to, "Last day");
  }
  list->command.SetAction([&shell, folder, list] { ListRecords(shell, folder, *list); });

  const auto show = make("show");
  addSelector(show.get());
  show->command.SetAction([&shell, folder, show] {
    const auto home = OpenHome(show->home, Access::Read);
    ShowRecord(shell, *home, SelectRecord(*home, folder, show->selector));
  });

  const auto add = make("add");
  AddFieldOptions(add->command, folder, add.get());
  add->command.SetAction([&shell, folder, add] { AddRecord(shell, folder, *add); });

  const auto change = make("change");
  addSelector(change.get());
  AddFieldOptions(change->command, folder, change.get());
  change->command.SetAction([&shell, folder, change] { ChangeRecord(shell, folder, *change); });

  const auto remove = make("delete");
  addSelector(remove.get());
  remove->command.SetAction([&shell, folder, remove] { DeleteRecord(shell, folder, *remove); });
}

}  // namespace

void AddRecordCommands(Shell& shell) {
  AddFolderCommands(shell, FolderId::Jobs);
  AddFolderCommands(shell, FolderId::Favorites);
  AddFolderCommands(shell, FolderId::Types);
}

}  // namespace wkt::tool

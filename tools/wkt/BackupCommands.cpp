#include <fmt/format.h>

#include <filesystem>
#include <memory>

#include "desktop/manager/ManagerMutex.h"
#include "desktop/partner/Backup.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/Store.h"
#include "host/control/Check.h"
#include "host/control/Desk.h"
#include "tools/wkt/Commands.h"
#include "tools/wkt/Home.h"

namespace wkt::tool {

namespace {

std::string KindOf(const std::string& folder) {
  return IsDevice(folder) ? "device" : Store::IsPartner(folder) ? "partner" : "";
}

Json Report(const BackupInfo& info, const std::string& file, const std::string& folder) {
  return {{"file", file},      {"folder", folder},    {"kind", info.kind},  {"source", info.source},
          {"made", info.made}, {"files", info.files}, {"bytes", info.bytes}};
}

std::string Text(const Json& report) {
  return fmt::format(
      "{} of {}, made {}: {}, {} bytes, checked.\n", report["kind"].get<std::string>(),
      report["source"].get<std::string>(), report["made"].get<std::string>(),
      CountText(report["files"].get<int64_t>(), "file", "files"), report["bytes"].get<int64_t>());
}

// What is wrong with what is saved; a backup of it is better than none.
std::vector<std::string> FindingsOf(const std::string& folder, const std::string& kind) {
  if (kind == "device") {
    return control::CheckFolder(folder);
  }
  try {
    const std::string problem = Store(folder, Store::Mode::Read).IntegrityProblem();
    return problem.empty() ? std::vector<std::string>() : std::vector<std::string>{problem};
  } catch (const Failure& failure) {
    return {failure.what()};
  }
}

void Backup(Shell& shell, const std::string& folder, const std::string& file) {
  const std::string kind = KindOf(folder);
  if (kind.empty()) {
    FailForNoHome(folder);
  }
  ManagerMutex mutex;
  if (kind == "device") {
    // A backup made in the middle of a synchronisation would look like its end.
    UseDevice(folder);
    if (mutex.Take(kManagerWaitMilliseconds) == ManagerMutex::Outcome::Busy) {
      throw Failure("a synchronisation of this device is running; wait for its end");
    }
  }
  const std::vector<std::string> findings = FindingsOf(folder, kind);
  Json report = Report(WriteBackup(folder, kind, file, DesktopNow()), file, folder);
  report["findings"] = findings;
  Print(shell.output, report, [](const Json& json) {
    std::string text = Text(json);
    for (const Json& finding : json["findings"]) {
      text += "Saved as it is, but damaged: " + finding.get<std::string>() + "\n";
    }
    return text;
  });
  shell.exitCode = findings.empty() ? ExitCode::Done : ExitCode::Left;
}

// How many records of each folder a restore would replace.
Json Replaced(const std::string& folder) {
  Json counts;
  try {
    const auto home = OpenHome(folder, Access::Read);
    for (const FolderDescription& description : kFolders) {
      counts[description.name] = home->List(description.id).size();
    }
  } catch (const Failure& failure) {
    return {{"problem", failure.what()}};  // damaged: all the more reason to restore
  }
  return counts;
}

std::string ReplacedText(const Json& replaced) {
  if (replaced.contains("problem")) {
    return "its records, which cannot be read (" + replaced["problem"].get<std::string>() + ")";
  }
  std::string counts;
  for (const auto& [name, count] : replaced.items()) {
    counts += fmt::format("{}{} {}", counts.empty() ? "its " : ", ", count.get<int64_t>(), name);
  }
  return counts;
}

void Restore(Shell& shell, const std::string& folder, const std::string& file, bool force) {
  const BackupInfo info = CheckBackup(file);
  Json replaced;  // null: nothing was there
  std::error_code error;
  const bool exists =
      std::filesystem::exists(folder, error) && !std::filesystem::is_empty(folder, error);
  if (exists) {
    const std::string kind = KindOf(folder);
    if (kind != info.kind) {
      throw Failure(folder + " is " +
                        (kind.empty() ? "neither a device nor a partner's folder" : "a " + kind) +
                        ", the backup is one of a " + info.kind + "; nothing was changed",
                    ExitCode::Refused);
    }
    replaced = Replaced(folder);
    Say(fmt::format("This replaces the {} {} with {} by the backup of {}.", kind, folder,
                    ReplacedText(replaced), info.made));
    if (!force) {
      throw Failure("nothing was changed; run again with --replace if that is right",
                    ExitCode::Refused);
    }
  }
  control::LeaveDevice();
  RestoreBackup(file, folder);
  Json report = Report(info, file, folder);
  report["replaced"] = std::move(replaced);
  Print(shell.output, report, Text);
}

}  // namespace

void AddBackupCommands(Shell& shell) {
  struct Arguments {
    std::string folder;
    std::string file;
    bool replace = false;
  };
  const auto arguments = std::make_shared<Arguments>();
  const Command backup = AddCommand(shell, shell.root, "backup");
  backup.AddOperand("HOME", &arguments->folder, "A device or a partner's folder");
  backup.AddOperand("FILE", &arguments->file, "The file to write");
  backup.SetAction([&shell, arguments] { Backup(shell, arguments->folder, arguments->file); });

  const Command restore = AddCommand(shell, shell.root, "restore");
  restore.AddOperand("HOME", &arguments->folder, "The folder to make or to replace");
  restore.AddOperand("FILE", &arguments->file, "A backup");
  restore.AddFlag("--replace", &arguments->replace, "Replace what is there");
  restore.SetAction([&shell, arguments] {
    Restore(shell, arguments->folder, arguments->file, arguments->replace);
  });
}

}  // namespace wkt::tool

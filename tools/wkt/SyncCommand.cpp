#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

#include "desktop/manager/RegistryText.h"
#include "desktop/manager/Trace.h"
#include "desktop/partner/FolderCopy.h"
#include "desktop/partner/SyncRun.h"
#include "host/control/Desk.h"
#include "tools/wkt/Commands.h"
#include "tools/wkt/Home.h"

namespace wkt::tool {

namespace {

struct SyncArguments {
  std::string device;
  std::string partner;
  int partnerNumber = 1;
  std::string conflict = "newer";
  std::string trace;
  bool dryRun = false;
  bool allowDelete = false;
  bool verifyAll = false;
};

// A scratch folder that goes with the object.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "wkt-XXXXXX").string();
    if (!mkdtemp(name.data())) {
      throw Failure("cannot make a scratch folder");
    }
    path_ = name;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

std::string FolderTable(const Json& report) {
  const auto right = Table::Align::Right;
  Table table({{""},
               {"to desktop", right},
               {"to device", right},
               {"deleted on desktop", right},
               {"deleted on device", right},
               {"conflicts", right},
               {"failed", right},
               {"now on device", right},
               {"now on desktop", right}});
  for (const Json& folder : report["folders"]) {
    std::vector<std::string> row{folder["folder"].get<std::string>()};
    for (const char* column : {"toDesktop", "toDevice", "deletedOnDesktop", "deletedOnDevice",
                               "conflicts", "failed", "onDevice", "onDesktop"}) {
      row.push_back(folder[column].dump());
    }
    table.AddRow(std::move(row));
  }
  return table.Text();
}

std::string ConflictTable(const Json& conflicts) {
  Table table({{"conflict"}, {"day"}, {"title"}, {"on device"}, {"on desktop"}, {"result"}});
  for (const Json& conflict : conflicts) {
    const auto text = [&conflict](const char* name) { return conflict[name].get<std::string>(); };
    table.AddRow({text("folder"), text("day"), Shorten(text("title"), 44), text("device"),
                  text("desktop"), text("result")});
  }
  return table.Text();
}

std::string VerifyLine(const Json& verify) {
  const auto compared = verify["compared"].get<int64_t>();
  const auto different = static_cast<int64_t>(verify["different"].size());
  if (different == 0) {
    return "Verified: " + CountText(compared, "record", "records") +
           " read back, equal on both sides.\n";
  }
  std::string text =
      fmt::format("Verified: {} of {} records read back DIFFER:\n", different, compared);
  for (const Json& record : verify["different"]) {
    text += "  " + record["folder"].get<std::string>() + ": " +
            Shorten(record["title"].get<std::string>(), 60) + "\n";
  }
  return text;
}

std::string SyncText(const Json& report) {
  std::string text;
  if (report["dryRun"].get<bool>()) {
    text += "Dry run on a copy; nothing is changed.\n";
  }
  if (report["firstRun"].get<bool>()) {
    text += "First synchronisation of this device and this partner: nothing is deleted.\n";
  }
  for (const Json& notice : report["notices"]) {
    text += notice.get<std::string>() + "\n";
  }
  text += (text.empty() ? "" : "\n") + FolderTable(report);
  for (const Json& folder : report["folders"]) {
    if (const auto problem = folder["problem"].get<std::string>(); !problem.empty()) {
      text += "\n" + folder["folder"].get<std::string>() + ": " + problem +
              ". Nothing is deleted in this folder.\n";
    }
  }
  if (!report["conflicts"].empty()) {
    text += "\n" + ConflictTable(report["conflicts"]);
  }
  for (const Json& failure : report["failures"]) {
    text +=
        fmt::format("\nFailed: {} #{} {}: {}\n", failure["folder"].get<std::string>(),
                    failure["oid"].get<int64_t>(), Shorten(failure["title"].get<std::string>(), 44),
                    failure["problem"].get<std::string>());
  }
  return text + "\n" + VerifyLine(report["verify"]);
}

Json Synchronise(const SyncArguments& arguments, const std::string& device,
                 const std::string& partner) {
  UseDevice(device);
  Store store(partner, Store::Mode::OpenOrCreate);
  if (store.Setting("zone").empty()) {
    // What people write on the desktop is of the zone that the device lives in.
    store.SetSetting("zone", ToUtf8(ReadRegistryText(u"Time", u"Zone").value_or(u"UTC")));
  }
  Trace trace;
  if (!arguments.trace.empty() && !trace.Open(arguments.trace)) {
    throw Failure("cannot write " + arguments.trace);
  }
  SyncOptions options;
  options.partner = arguments.partnerNumber;
  options.conflict = ConflictPolicyFromName(arguments.conflict).value_or(ConflictPolicy::Newer);
  options.allowDelete = arguments.allowDelete;
  options.verifyAll = arguments.verifyAll;
  options.place = std::filesystem::absolute(arguments.device).lexically_normal().string();
  options.now = control::DeviceTime();
  options.progress = [](const FolderDescription& folder, size_t done, size_t total) {
    SayProgress(fmt::format("{}: {} of {}", folder.name, done, total));
  };
  SyncSession session(&trace);
  Json report = SyncRun(session, store, options).Run();
  SayProgress("");
  return report;
}

void Sync(Shell& shell, const SyncArguments& arguments) {
  if (!IsDevice(arguments.device)) {
    throw Failure(
        arguments.device + " is not a device; make one with: wkt device new " + arguments.device,
        ExitCode::Usage);
  }
  if (IsDevice(arguments.partner)) {
    throw Failure(arguments.partner + " is a device; the second folder is the partner's",
                  ExitCode::Usage);
  }
  Json report;
  report["device"] = arguments.device;
  report["desktop"] = arguments.partner;
  report["dryRun"] = arguments.dryRun;
  if (arguments.dryRun) {
    const ScratchFolder scratch;
    CopyFolder(arguments.device, scratch.Path() + "/device");
    if (Store::IsPartner(arguments.partner)) {
      CopyFolder(arguments.partner, scratch.Path() + "/partner");
    }
    report.update(Synchronise(arguments, scratch.Path() + "/device", scratch.Path() + "/partner"));
    control::LeaveDevice();
  } else {
    report.update(Synchronise(arguments, arguments.device, arguments.partner));
  }
  shell.exitCode = static_cast<ExitCode>(report["exitCode"].get<int>());
  Print(shell.output, report, SyncText);
}

}  // namespace

void AddSyncCommand(Shell& shell) {
  const auto arguments = std::make_shared<SyncArguments>();
  CLI::App* command = AddCommand(shell, shell.app, "sync");
  command->add_option("DEVICE", arguments->device, "A device's folder")->required();
  command->add_option("PARTNER", arguments->partner, "The partner's folder")->required();
  command
      ->add_option("--partner", arguments->partnerNumber,
                   "Which of the device's two partners this is")
      ->check(CLI::Range(1, 2));
  command->add_flag("--dry-run", arguments->dryRun, "Show what would happen; change nothing");
  command
      ->add_option("--conflict", arguments->conflict, "Who wins when both sides changed a record")
      ->check(CLI::IsMember({"newer", "device", "desktop", "both"}));
  command->add_flag("--allow-delete", arguments->allowDelete, "Delete even many records at once");
  command->add_flag("--verify", arguments->verifyAll,
                    "Read back and compare all records, not only those that travelled");
  command->add_option("--trace", arguments->trace, "Write every call of the provider to this file");
  command->callback([&shell, arguments] { Sync(shell, *arguments); });
}

}  // namespace wkt::tool

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

#include "desktop/manager/ManagerMutex.h"
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
  if (const auto volume = report["volume"].get<std::string>(); !volume.empty()) {
    text += "Database volume of the device: " + volume + "\n";
  }
  for (const Json& notice : report["notices"]) {
    text += notice.get<std::string>() + "\n";
  }
  text += (text.empty() ? "" : "\n") + FolderTable(report);
  for (const Json& folder : report["folders"]) {
    if (const auto left = folder["left"].get<int64_t>(); left > 0) {
      text += fmt::format("\n{}: {} edited while the run lasted; the next run carries {}.\n",
                          folder["folder"].get<std::string>(),
                          CountText(left, "record was", "records were"), left == 1 ? "it" : "them");
    }
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

// A folder for the partner: one of a partner, or one to be made. Anything else is a slip of the
// hand.
void RequirePartnerFolder(const std::string& folder) {
  std::error_code error;
  if (!std::filesystem::exists(folder, error) || Store::IsPartner(folder)) {
    return;
  }
  if (IsDevice(folder)) {
    throw Failure(folder + " is a device; the second folder is the partner's", ExitCode::Usage);
  }
  if (!std::filesystem::is_directory(folder, error)) {
    throw Failure(folder + " is a file; name the partner's folder, or a new one", ExitCode::Usage);
  }
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    // A run that was killed while it made the folder leaves its lock.
    if (!IsSideFile(entry.path().filename().string())) {
      throw Failure(folder + " is no partner's folder, and not empty; name another or a new one",
                    ExitCode::Usage);
    }
  }
}

// The partner's folder, if it was not there before, goes again unless the run was a success.
class PartnerFolder {
 public:
  explicit PartnerFolder(const std::string& path)
      : path_(path), isNew_(!std::filesystem::exists(path)) {}
  ~PartnerFolder() {
    std::error_code ignored;
    if (isNew_) {
      std::filesystem::remove_all(path_, ignored);
    }
  }
  PartnerFolder(const PartnerFolder&) = delete;
  PartnerFolder& operator=(const PartnerFolder&) = delete;
  void Keep() { isNew_ = false; }

 private:
  const std::string path_;
  bool isNew_;
};

Json RunSynchronisation(const SyncArguments& arguments, const std::string& partner, Trace& trace) {
  Store store(partner, Store::Mode::OpenOrCreate);
  if (store.Setting("zone").empty()) {
    // What people write on the desktop is of the zone that the device lives in.
    store.SetSetting("zone", ToUtf8(ReadRegistryText(u"Time", u"Zone").value_or(u"UTC")));
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
  return SyncRun(session, store, options).Run();
}

Json Synchronise(const SyncArguments& arguments, const std::string& device,
                 const std::string& partner) {
  UseDevice(device);
  Trace trace;
  if (!arguments.trace.empty() && !trace.Open(arguments.trace)) {
    throw Failure("cannot write " + arguments.trace + ": " + std::strerror(errno));
  }
  PartnerFolder folder(partner);
  try {
    Json report = RunSynchronisation(arguments, partner, trace);
    SayProgress("");
    folder.Keep();
    return report;
  } catch (const Failure& failure) {
    if (failure.code == ExitCode::RecordsFailed) {
      folder.Keep();  // a part is done
    }
    throw;
  } catch (...) {
    folder.Keep();
    throw;
  }
}

// While nothing synchronises the device, so that its parts belong together.
void CopyDevice(const std::string& device, const std::string& to) {
  UseDevice(device);
  ManagerMutex mutex;
  if (mutex.Take(kManagerWaitMilliseconds) == ManagerMutex::Outcome::Busy) {
    throw Failure("a synchronisation of this device is running; wait for its end");
  }
  CopyFolder(device, to);
}

void Sync(Shell& shell, const SyncArguments& arguments) {
  if (!IsDevice(arguments.device)) {
    throw Failure(
        arguments.device + " is not a device; make one with: wkt device new " + arguments.device,
        ExitCode::Usage);
  }
  RequirePartnerFolder(arguments.partner);
  Json report;
  report["device"] = arguments.device;
  report["desktop"] = arguments.partner;
  report["dryRun"] = arguments.dryRun;
  if (arguments.dryRun) {
    const ScratchFolder scratch;
    CopyDevice(arguments.device, scratch.Path() + "/device");
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
  const Command command = AddCommand(shell, shell.root, "sync");
  command.AddOperand("DEVICE", &arguments->device, "A device's folder");
  command.AddOperand("PARTNER", &arguments->partner, "The partner's folder");
  command
      .AddOption("--partner", &arguments->partnerNumber,
                 "Which of the device's two partners this is")
      .InRange(1, 2);
  command.AddFlag("--dry-run", &arguments->dryRun, "Show what would happen; change nothing");
  command.AddOption("--conflict", &arguments->conflict, "Who wins when both sides changed a record")
      .OneOf({"newer", "device", "desktop", "both"});
  command.AddFlag("--allow-delete", &arguments->allowDelete, "Delete even many records at once");
  command.AddFlag("--verify", &arguments->verifyAll,
                  "Read back and compare all records, not only those that travelled");
  command.AddOption("--trace", &arguments->trace, "Write every call of the provider to this file");
  command.SetAction([&shell, arguments] { Sync(shell, *arguments); });
}

}  // namespace wkt::tool

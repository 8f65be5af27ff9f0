#include <fmt/format.h>

#include <chrono>
#include <csignal>
#include <memory>

#include "desktop/manager/Partnership.h"
#include "desktop/manager/Trace.h"
#include "desktop/partner/Instant.h"
#include "desktop/partner/Store.h"
#include "host/control/Desk.h"
#include "host/control/DeskWindow.h"
#include "platform/Window.h"
#include "tools/wkt/Commands.h"
#include "tools/wkt/Home.h"

namespace wkt::tool {

namespace {

constexpr int kPartners[] = {1, 2};
constexpr size_t kTitleWidth = 44;

// For people: to the second.
std::string InstantText(uint64_t ticks, const Zone& zone) {
  constexpr uint64_t kTicksPerSecond = 10'000'000;
  return zone.Text(ticks - ticks % kTicksPerSecond);
}

// When the run was that left this token ("PC-<high>-<low>-..."); empty when it is none of ours.
std::string TokenTime(const std::string& token, const Zone& zone) {
  unsigned high = 0;
  unsigned low = 0;
  if (std::sscanf(token.c_str(), "PC-%x-%x-", &high, &low) != 2) {
    return "";
  }
  const uint64_t ticks = static_cast<uint64_t>(high) << 32 | low;
  return ticks < kEndOfTextTime - kTicksPerDay ? InstantText(ticks, zone) : "";
}

Json DeviceStatus(const std::string& folder) {
  const auto home = OpenHome(folder, Access::Read);
  Json report;
  report["device"] = folder;
  report["time"] = InstantText(home->Now(), home->LocalZone());
  report["folders"] = Json::array();
  for (const FolderDescription& description : kFolders) {
    const auto records = home->List(description.id);
    Json row{{"folder", description.name}, {"records", records.size()}};
    for (const int partner : kPartners) {
      int64_t changed = 0;
      for (const HomeRecord& record : records) {
        changed += !record.record.Flag(description.partnerFlags[static_cast<size_t>(partner - 1)]);
      }
      row["changedForPartner" + std::to_string(partner)] = changed;
    }
    report["folders"].push_back(std::move(row));
  }
  report["partners"] = Json::array();
  for (const int partner : kPartners) {
    const Partnership partnership = ReadPartnership(static_cast<UINT>(partner));
    report["partners"].push_back(
        {{"partner", partner},
         {"desktop", ToUtf8(partnership.partnerId)},
         {"lastTransfer", TokenTime(ToUtf8(partnership.token), home->LocalZone())}});
  }
  return report;
}

std::string DeviceStatusText(const Json& report) {
  const auto right = Table::Align::Right;
  Table table(
      {{""}, {"records", right}, {"to send to partner 1", right}, {"to send to partner 2", right}});
  for (const Json& row : report["folders"]) {
    table.AddRow({row["folder"].get<std::string>(), row["records"].dump(),
                  row["changedForPartner1"].dump(), row["changedForPartner2"].dump()});
  }
  std::string text = "Device " + report["device"].get<std::string>() + ", " +
                     report["time"].get<std::string>() + "\n\n" + table.Text() + "\n";
  for (const Json& partner : report["partners"]) {
    const auto last = partner["lastTransfer"].get<std::string>();
    text += fmt::format("Partner {}: {}\n", partner["partner"].get<int>(),
                        partner["desktop"].get<std::string>().empty() ? "none yet"
                        : last.empty() ? "known, nothing was transferred yet"
                                       : "last transfer " + last);
  }
  return text;
}

Json PartnerStatus(const std::string& folder) {
  Store store(folder, Store::Mode::Read);
  const Zone zone(store.Setting("zone", "UTC"));
  Json report;
  report["desktop"] = folder;
  report["folders"] = Json::array();
  for (const FolderDescription& description : kFolders) {
    report["folders"].push_back(
        {{"folder", description.name}, {"records", store.Count(static_cast<int>(description.id))}});
  }
  report["devices"] = Json::array();
  for (const StoredDevice& device : store.Devices()) {
    int64_t waiting = 0;
    for (const FolderDescription& description : kFolders) {
      const int number = static_cast<int>(description.id);
      waiting += static_cast<int64_t>(store.Unlinked(device.id, number).size() +
                                      store.Sending(device.id, number).size());
      for (const Link& link : store.Links(device.id, number)) {
        waiting += link.deleted || link.change != link.recordChange;
      }
    }
    report["devices"].push_back(
        {{"device", device.place},
         {"partner", device.partner},
         {"lastRun", device.lastRun ? InstantText(device.lastRun, zone) : ""},
         {"waiting", waiting},
         {"report", Json::parse(device.report, nullptr, false)}});
  }
  return report;
}

std::string PartnerStatusText(const Json& report) {
  const auto right = Table::Align::Right;
  Table folders({{""}, {"records", right}});
  for (const Json& row : report["folders"]) {
    folders.AddRow({row["folder"].get<std::string>(), row["records"].dump()});
  }
  std::string text = "Partner " + report["desktop"].get<std::string>() + "\n\n" + folders.Text();
  if (!report["devices"].empty()) {
    Table devices({{"device"}, {"partner", right}, {"last run"}, {"changes waiting", right}});
    for (const Json& row : report["devices"]) {
      const auto place = row["device"].get<std::string>();
      const auto last = row["lastRun"].get<std::string>();
      devices.AddRow({place.substr(place.rfind('/') + 1), row["partner"].dump(),
                      last.empty() ? "not finished yet" : last, row["waiting"].dump()});
    }
    text += "\n" + devices.Text();
  }
  return text;
}

Json ExplainRecord(const HomeRecord& found) {
  const Record& record = found.record;
  const FolderDescription& folder = DescribeFolder(record.Folder());
  const bool during = record.Flag(folder.changedDuringSyncFlag);
  Json report;
  report["folder"] = folder.name;
  report["number"] = found.number;
  report["title"] = ToUtf8(record.DisplayName());
  report["flags"] = ToUtf8(record.Text(Field::Flags));
  report["characters"] = Json::array();
  for (int position = 0; position < static_cast<int>(kFlagCount); ++position) {
    const char* meaning = position == folder.partnerFlags[0]   ? "synchronised with partner 1"
                          : position == folder.partnerFlags[1] ? "synchronised with partner 2"
                          : position == folder.changedDuringSyncFlag
                              ? "changed while a synchronisation ran"
                              : "the application's own";
    report["characters"].push_back(
        {{"position", position}, {"set", record.Flag(position)}, {"meaning", meaning}});
  }
  report["nextRun"] = Json::array();
  for (const int partner : kPartners) {
    const bool synced = record.Flag(folder.partnerFlags[static_cast<size_t>(partner - 1)]);
    std::string text = synced ? "counts as unchanged: nothing is sent"
                              : "counts as changed: it is sent to the desktop";
    if (during) {
      text += synced ? "; the mark of the change during a synchronisation is taken away when the "
                       "folder is listed"
                     : "; the first confirmation only takes the mark of the change during a "
                       "synchronisation away, and it is sent again";
    }
    report["nextRun"].push_back({{"partner", partner}, {"text", text}});
  }
  return report;
}

std::string ExplainText(const Json& report) {
  std::string text =
      fmt::format("{} #{} '{}', flags {}\n\n", report["folder"].get<std::string>(),
                  report["number"].get<int64_t>(), report["title"].get<std::string>(),
                  report["flags"].get<std::string>());
  Table table({{"position", Table::Align::Right}, {"set"}, {"meaning"}});
  for (const Json& character : report["characters"]) {
    const auto meaning = character["meaning"].get<std::string>();
    if (character["set"].get<bool>() || meaning != "the application's own") {
      table.AddRow(
          {character["position"].dump(), character["set"].get<bool>() ? "yes" : "no", meaning});
    }
  }
  text += table.Text() + "\n";
  for (const Json& next : report["nextRun"]) {
    text += fmt::format("Next run with partner {}: {}.\n", next["partner"].get<int>(),
                        next["text"].get<std::string>());
  }
  return text;
}

void Why(Shell& shell, const std::string& device, const std::string& selector) {
  const auto home = OpenHome(device, Access::Read);
  if (std::string(home->Kind()) != "device") {
    throw Failure(device + " is no device; a partner's records carry no flags of their own",
                  ExitCode::Usage);
  }
  Print(shell.output, ExplainRecord(SelectAnyRecord(*home, selector)), ExplainText);
}

volatile sig_atomic_t interrupted = 0;

const char* MessageMeaning(uint32_t message) {
  switch (message) {
    case WM_USER + 101:
      return "favourite jobs changed";
    case WM_USER + 102:
      return "daily jobs changed";
    case WM_USER + 103:
      return "types changed";
    default:
      return "unknown";
  }
}

void Listen(Shell& shell, const std::string& device, double seconds) {
  UseDevice(device);
  control::DeskWindow window;
  if (!window.IsOpen()) {
    throw Failure("the window cannot be made (error " + std::to_string(window.Problem()) + ")");
  }
  struct sigaction action {};
  action.sa_handler = [](int) { interrupted = 1; };
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  Say("Listening as the application's window.");
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  constexpr uint32_t kSliceMilliseconds = 200;
  while (!interrupted && (seconds <= 0 || std::chrono::steady_clock::now() < end)) {
    if (const auto message = window.Wait(kSliceMilliseconds)) {
      const Json line{{"message", message->message}, {"meaning", MessageMeaning(message->message)}};
      const std::string text = shell.output.json
                                   ? line.dump()
                                   : fmt::format("WM_USER + {}: {}", message->message - WM_USER,
                                                 MessageMeaning(message->message));
      std::printf("%s\n", text.c_str());
      std::fflush(stdout);
    }
  }
}

}  // namespace

void AddStatusCommands(Shell& shell) {
  struct Arguments {
    std::string home;
    std::string record;
    double seconds = 0;
  };
  const auto arguments = std::make_shared<Arguments>();

  const Command status = AddCommand(shell, shell.root, "status");
  status.AddOperand("HOME", &arguments->home, "A device or a partner's folder");
  status.SetAction([&shell, arguments] {
    if (IsDevice(arguments->home)) {
      Print(shell.output, DeviceStatus(arguments->home), DeviceStatusText);
    } else if (Store::IsPartner(arguments->home)) {
      Print(shell.output, PartnerStatus(arguments->home), PartnerStatusText);
    } else {
      FailForNoHome(arguments->home);
    }
  });

  const Command why = AddCommand(shell, shell.root, "why");
  why.AddOperand("DEVICE", &arguments->home, "A device's folder");
  why.AddOperand("RECORD", &arguments->record, "Title, identifier or #number");
  why.SetAction([&shell, arguments] { Why(shell, arguments->home, arguments->record); });

  const Command listen = AddCommand(shell, shell.root, "listen");
  listen.AddOperand("DEVICE", &arguments->home, "A device's folder");
  listen.AddOption("--seconds", &arguments->seconds, "End after this many seconds").NotNegative();
  listen.SetAction([&shell, arguments] { Listen(shell, arguments->home, arguments->seconds); });
}

}  // namespace wkt::tool

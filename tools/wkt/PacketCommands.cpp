#include <fmt/format.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>

#include "desktop/manager/SyncSession.h"
#include "desktop/manager/Trace.h"
#include "desktop/partner/Import.h"
#include "desktop/partner/PacketView.h"
#include "tools/wkt/Commands.h"
#include "tools/wkt/Home.h"

namespace wkt::tool {

namespace {

constexpr size_t kShownBytes = 12;
constexpr size_t kShownValue = 60;

Bytes ReadPacket(const std::string& file) {
  const std::string content = ReadImportFile(file);
  return Bytes(content.begin(), content.end());
}

std::string DecodeText(const Json& report, const PacketView& view) {
  Table table({{"offset", Table::Align::Right},
               {"bytes", Table::Align::Right},
               {"field"},
               {"kind"},
               {"value"},
               {"hex"}});
  for (const PacketPart& part : view.parts) {
    const bool longer = part.bytes.size() > kShownBytes;
    table.AddRow({std::to_string(part.offset), std::to_string(part.bytes.size()), part.name,
                  part.kind, Shorten(ToUtf8(part.value), kShownValue),
                  ToHex(std::span(part.bytes).first(longer ? kShownBytes : part.bytes.size())) +
                      (longer ? "…" : "")});
  }
  std::string text = table.Text();
  if (const auto problem = report["problem"].get<std::string>(); !problem.empty()) {
    text += "\nWrong: " + problem + "\n";
  }
  return text;
}

std::string ExplainText(const Json& report) {
  const auto problem = report["problem"].get<std::string>();
  return (problem.empty() ? "A sound " + report["packet"].get<std::string>() + " packet."
                          : "Wrong: " + problem + ".") +
         "\nThe provider: " + report["provider"].get<std::string>() + ".\n";
}

// The packet that the provider makes of a record of the device, through the provider itself.
Bytes DevicePacket(const std::string& device, const std::string& selector) {
  const auto home = OpenHome(device, Access::Read);
  for (const FolderDescription& folder : kFolders) {
    for (const HomeRecord& found : home->List(folder.id)) {
      if ("#" + std::to_string(found.number) != selector && ToUtf8(found.record.Id()) != selector &&
          ToUtf8(found.record.DisplayName()) != selector) {
        continue;
      }
      SyncSession session(nullptr);
      if (const std::string problem = session.Open(1); !problem.empty()) {
        throw Failure(problem);
      }
      ReadResult read = session.Read(folder.objectType, static_cast<CEOID>(found.number));
      if (read.packets.empty()) {
        throw Failure("the provider cannot read the record");
      }
      return std::move(read.packets.front());
    }
  }
  throw Failure("there is no record '" + selector + "'; name it by title, identifier or #number",
                ExitCode::Usage);
}

void WriteBytes(const Bytes& bytes) {
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

std::vector<Json> ReadTrace(const std::string& file) {
  std::vector<Json> calls;
  std::istringstream lines(ReadImportFile(file));
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    Json call = Json::parse(line, nullptr, false);
    if (!call.is_object() || !call.contains("call") || !call["call"].is_string()) {
      throw Failure(fmt::format("{}:{}: no call of a trace", file, number), ExitCode::Usage);
    }
    calls.push_back(std::move(call));
  }
  return calls;
}

// "FindObjects WktTypes: uFlags 0, cUnChg 2 = S_OK"
std::string CallText(const Json& call) {
  std::string text = call["call"].get<std::string>();
  std::string details;
  std::string result;
  for (const auto& [name, value] : call.items()) {
    const std::string shown = value.is_string() ? value.get<std::string>() : value.dump();
    if (name == "call") {
      continue;
    }
    if (name == "folder") {
      text += " " + shown;
    } else if (name == "result") {
      result = " = " + shown;
    } else if (name == "packet") {
      details += fmt::format("{}packet of {} bytes", details.empty() ? "" : ", ", shown.size() / 2);
    } else {
      details += (details.empty() ? "" : ", ") + name + " " + Shorten(shown, kShownValue);
    }
  }
  return text + (details.empty() ? "" : ": " + details) + result;
}

void ShowTrace(Shell& shell, const std::string& file) {
  Json report = Json::array();
  for (Json& call : ReadTrace(file)) {
    report.push_back(std::move(call));
  }
  Print(shell.output, report, [](const Json& calls) {
    std::string text;
    int number = 0;
    for (const Json& call : calls) {
      text += fmt::format("{:>5}  {}\n", ++number, CallText(call));
    }
    return text;
  });
}

void DiffTraces(Shell& shell, const std::string& first, const std::string& second) {
  const auto a = ReadTrace(first);
  const auto b = ReadTrace(second);
  size_t at = 0;
  while (at < a.size() && at < b.size() && a[at] == b[at]) {
    ++at;
  }
  const bool equal = at == a.size() && at == b.size();
  Json report{{"equal", equal}, {"calls", at}};
  if (!equal) {
    report["first"] = at < a.size() ? a[at] : Json();
    report["second"] = at < b.size() ? b[at] : Json();
  }
  shell.exitCode = equal ? ExitCode::Done : ExitCode::Left;
  Print(shell.output, report, [&](const Json& json) {
    if (json["equal"].get<bool>()) {
      return "Equal: " + CountText(json["calls"].get<int64_t>(), "call", "calls") + ".\n";
    }
    const auto side = [&json](const char* name) {
      return json[name].is_null() ? std::string("(ends)") : CallText(json[name]);
    };
    return fmt::format("First difference at call {}:\n  {}: {}\n  {}: {}\n",
                       json["calls"].get<int64_t>() + 1, first, side("first"), second,
                       side("second"));
  });
}

}  // namespace

void AddPacketCommands(Shell& shell) {
  struct Arguments {
    std::string file;
    std::string second;
  };
  const auto arguments = std::make_shared<Arguments>();
  CLI::App* packet = AddCommand(shell, shell.app, "packet");
  packet->require_subcommand(1);
  CLI::App* decode = AddCommand(shell, *packet, "packet decode");
  decode->add_option("FILE", arguments->file, "A packet's bytes")->required();
  decode->callback([&shell, arguments] {
    const PacketView view = ViewPacket(ReadPacket(arguments->file));
    Print(shell.output, PacketToJson(view),
          [&view](const Json& json) { return DecodeText(json, view); });
  });
  CLI::App* encode = AddCommand(shell, *packet, "packet encode");
  encode->add_option("FILE", arguments->file, "What decode --json wrote")->required();
  encode->callback([arguments] {
    WriteBytes(PacketFromJson(Json::parse(ReadImportFile(arguments->file), nullptr, false)));
  });
  CLI::App* explain = AddCommand(shell, *packet, "packet explain");
  explain->add_option("FILE", arguments->file, "A packet's bytes")->required();
  explain->callback([&shell, arguments] {
    Print(shell.output, PacketToJson(ViewPacket(ReadPacket(arguments->file))), ExplainText);
  });
  CLI::App* get = AddCommand(shell, *packet, "packet get");
  get->add_option("DEVICE", arguments->file, "A device's folder")->required();
  get->add_option("RECORD", arguments->second, "Title, identifier or #number")->required();
  get->callback([arguments] { WriteBytes(DevicePacket(arguments->file, arguments->second)); });

  CLI::App* trace = AddCommand(shell, shell.app, "trace");
  trace->require_subcommand(1);
  CLI::App* show = AddCommand(shell, *trace, "trace show");
  show->add_option("FILE", arguments->file, "A recorded run")->required();
  show->callback([&shell, arguments] { ShowTrace(shell, arguments->file); });
  CLI::App* diff = AddCommand(shell, *trace, "trace diff");
  diff->add_option("A", arguments->file, "A recorded run")->required();
  diff->add_option("B", arguments->second, "Another one")->required();
  diff->callback([&shell, arguments] { DiffTraces(shell, arguments->file, arguments->second); });
}

}  // namespace wkt::tool

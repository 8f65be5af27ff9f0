#include <fmt/format.h>

#include <cstdio>
#include <memory>

#include "desktop/manager/SyncSession.h"
#include "desktop/manager/Trace.h"
#include "desktop/partner/Import.h"
#include "desktop/partner/JsonText.h"
#include "desktop/partner/PacketView.h"
#include "tools/wkt/Commands.h"
#include "tools/wkt/Home.h"

namespace wkt::tool {

namespace {

constexpr size_t kShownBytes = 12;
constexpr size_t kShownValue = 60;

PacketKind KindOf(const std::string& folder) {
  return folder.empty()      ? PacketKind::Guess
         : folder == "types" ? PacketKind::Type
                             : PacketKind::Job;
}

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
               {"meaning"},
               {"hex"}});
  for (const PacketPart& part : view.parts) {
    const bool longer = part.bytes.size() > kShownBytes;
    table.AddRow({std::to_string(part.offset), std::to_string(part.bytes.size()), part.name,
                  part.kind, Shorten(ToUtf8(part.value), kShownValue), part.meaning,
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
  UseDevice(device);
  const auto home = OpenHome(device, Access::Read);
  const HomeRecord found = SelectAnyRecord(*home, selector);
  SyncSession session(nullptr);
  if (const std::string problem = session.Open(1); !problem.empty()) {
    throw Failure(problem);
  }
  ReadResult read = session.Read(DescribeFolder(found.record.Folder()).objectType,
                                 static_cast<CEOID>(found.number));
  if (read.packets.empty()) {
    throw Failure("the provider cannot read the record");
  }
  return std::move(read.packets.front());
}

void WriteBytes(const Bytes& bytes) {
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

Json ReadJsonFile(const std::string& file) {
  int line = 1;
  try {
    return ParseJson(ReadImportFile(file), &line);
  } catch (const Failure& failure) {
    throw Failure(fmt::format("{}:{}: {}", file, line, failure.what()), failure.code);
  }
}

}  // namespace

void AddPacketCommands(Shell& shell) {
  struct Arguments {
    std::string file;
    std::string second;
    std::string folder;
  };
  const auto arguments = std::make_shared<Arguments>();
  const Command packet = AddCommand(shell, shell.root, "packet");
  packet.RequireCommand();
  const auto addFolder = [&arguments](Command command) {
    command
        .AddOption("--folder", &arguments->folder,
                   "Where the packet is sent to; told by its beginning when missing")
        .OneOf({"jobs", "favorites", "types"});
  };
  const Command decode = AddCommand(shell, packet, "packet decode");
  decode.AddOperand("FILE", &arguments->file, "A packet's bytes");
  addFolder(decode);
  decode.SetAction([&shell, arguments] {
    const PacketView view = ViewPacket(ReadPacket(arguments->file), KindOf(arguments->folder));
    Print(shell.output, PacketToJson(view),
          [&view](const Json& json) { return DecodeText(json, view); });
  });
  const Command encode = AddCommand(shell, packet, "packet encode");
  encode.AddOperand("FILE", &arguments->file, "What decode --json wrote");
  encode.SetAction([arguments] { WriteBytes(PacketFromJson(ReadJsonFile(arguments->file))); });
  const Command explain = AddCommand(shell, packet, "packet explain");
  explain.AddOperand("FILE", &arguments->file, "A packet's bytes");
  addFolder(explain);
  explain.SetAction([&shell, arguments] {
    const PacketView view = ViewPacket(ReadPacket(arguments->file), KindOf(arguments->folder));
    shell.exitCode = view.problem.empty() ? ExitCode::Done : ExitCode::Left;
    Print(shell.output, PacketToJson(view), ExplainText);
  });
  const Command get = AddCommand(shell, packet, "packet get");
  get.AddOperand("DEVICE", &arguments->file, "A device's folder");
  get.AddOperand("RECORD", &arguments->second, "Title, identifier or #number");
  get.SetAction([arguments] { WriteBytes(DevicePacket(arguments->file, arguments->second)); });
}

}  // namespace wkt::tool

// Recorded runs: shown call by call, and compared.
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "desktop/manager/Trace.h"
#include "desktop/partner/Import.h"
#include "desktop/partner/JsonText.h"
#include "desktop/partner/PacketView.h"
#include "tools/wkt/Commands.h"

namespace wkt::tool {

namespace {

constexpr size_t kShownValue = 60;

std::vector<Json> ReadTrace(const std::string& file) {
  std::vector<Json> calls;
  std::istringstream lines(ReadImportFile(file));
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    Json call;
    std::string problem;
    try {
      int ignored = 1;
      call = ParseJson(line, &ignored);
    } catch (const Failure& failure) {
      problem = std::string(": ") + failure.what();
    }
    if (!call.is_object() || !call.contains("call") || !call["call"].is_string()) {
      throw Failure(fmt::format("{}:{}: no call of a run{}; expected what wkt sync --trace writes",
                                file, number, problem),
                    ExitCode::Usage);
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

// The first field in which two packets differ.
Json PacketDifference(const std::string& a, const std::string& b) {
  const PacketView first = ViewPacket(FromHex(a).value_or(Bytes()));
  const PacketView second = ViewPacket(FromHex(b).value_or(Bytes()));
  size_t at = 0;
  while (at < first.parts.size() && at < second.parts.size() &&
         first.parts[at].bytes == second.parts[at].bytes) {
    ++at;
  }
  const auto side = [at](const PacketView& view) {
    return at < view.parts.size() ? TextToJson(view.parts[at].value) : Json();
  };
  const PacketView& longer = at < first.parts.size() ? first : second;
  const std::string name = at < longer.parts.size() ? longer.parts[at].name : "packet";
  return {{"what", "packet field " + name}, {"first", side(first)}, {"second", side(second)}};
}

// What differs between two calls: each argument or result that is not the same.
Json CallDifferences(const Json& a, const Json& b) {
  Json differences = Json::array();
  std::vector<std::string> names;
  for (const Json* call : {&a, &b}) {
    for (const auto& [name, value] : call->items()) {
      if (std::find(names.begin(), names.end(), name) == names.end()) {
        names.push_back(name);
      }
    }
  }
  for (const std::string& name : names) {
    const Json first = a.value(name, Json());
    const Json second = b.value(name, Json());
    if (first == second) {
      continue;
    }
    if (name == "packet" && first.is_string() && second.is_string()) {
      differences.push_back(PacketDifference(first.get<std::string>(), second.get<std::string>()));
    } else {
      differences.push_back({{"what", name}, {"first", first}, {"second", second}});
    }
  }
  return differences;
}

std::string DifferencesText(const Json& differences) {
  std::string text;
  for (const Json& difference : differences) {
    const auto side = [&difference](const char* name) {
      const Json& value = difference[name];
      return value.is_null() ? "(nothing)" : Shorten(value.dump(), kShownValue);
    };
    text += "  " + difference["what"].get<std::string>() + ": " + side("first") + " / " +
            side("second") + "\n";
  }
  return text;
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
    report["differences"] =
        at < a.size() && at < b.size() ? CallDifferences(a[at], b[at]) : Json::array();
  }
  shell.exitCode = equal ? ExitCode::Done : ExitCode::Left;
  Print(shell.output, report, [&](const Json& json) {
    if (json["equal"].get<bool>()) {
      return "Equal: " + CountText(json["calls"].get<int64_t>(), "call", "calls") + ".\n";
    }
    const auto side = [&json](const char* name) {
      return json[name].is_null() ? std::string("(ends)") : CallText(json[name]);
    };
    return fmt::format("First difference at call {}:\n  {}: {}\n  {}: {}\n{}",
                       json["calls"].get<int64_t>() + 1, first, side("first"), second,
                       side("second"), DifferencesText(json["differences"]));
  });
}

}  // namespace

void AddTraceCommands(Shell& shell) {
  struct Arguments {
    std::string file;
    std::string second;
  };
  const auto arguments = std::make_shared<Arguments>();
  const Command trace = AddCommand(shell, shell.root, "trace");
  trace.RequireCommand();
  const Command show = AddCommand(shell, trace, "trace show");
  show.AddOperand("FILE", &arguments->file, "A recorded run");
  show.SetAction([&shell, arguments] { ShowTrace(shell, arguments->file); });
  const Command diff = AddCommand(shell, trace, "trace diff");
  diff.AddOperand("A", &arguments->file, "A recorded run");
  diff.AddOperand("B", &arguments->second, "Another one");
  diff.SetAction([&shell, arguments] { DiffTraces(shell, arguments->file, arguments->second); });
}

}  // namespace wkt::tool

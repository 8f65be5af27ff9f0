// Looking a device over, and its registry as text.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

#include "host/control/Check.h"
#include "tools/wkt/Commands.h"
#include "tools/wkt/Home.h"

namespace wkt::tool {

namespace {

struct UpkeepArguments {
  std::string folder;
  std::string key;
  std::string file;
};

std::string FindingsText(const Json& report) {
  std::string text;
  for (const Json& finding : report["findings"]) {
    text += finding.get<std::string>() + "\n";
  }
  return text.empty() ? "Nothing is wrong.\n" : text;
}

void CheckDevice(Shell& shell, const UpkeepArguments& arguments) {
  std::error_code ignored;
  if (!std::filesystem::is_directory(arguments.folder, ignored)) {
    throw Failure(arguments.folder + ": no such folder");
  }
  const std::string folder = std::filesystem::canonical(arguments.folder).string();
  const std::vector<std::string> findings = control::CheckFolder(folder);
  Print(shell.output, Json{{"folder", folder}, {"findings", findings}}, FindingsText);
  shell.exitCode = findings.empty() ? ExitCode::Done : ExitCode::Left;
}

void ExportRegistry(Shell& shell, const UpkeepArguments& arguments) {
  UseDevice(arguments.folder);
  std::string text;
  std::string error;
  if (!control::ExportRegistry(arguments.key, text, error)) {
    throw Failure(error);
  }
  Print(shell.output, Json{{"registry", text}},
        [](const Json& report) { return report["registry"].get<std::string>(); });
}

std::string ReadInput(const std::string& name) {
  std::ostringstream content;
  if (name == "-") {
    content << std::cin.rdbuf();
    return content.str();
  }
  const std::ifstream file(name, std::ios::binary);
  if (!file) {
    throw Failure(name + ": cannot be read", ExitCode::Usage);
  }
  content << file.rdbuf();
  return content.str();
}

void ImportRegistry(Shell& shell, const UpkeepArguments& arguments) {
  const std::string text = ReadInput(arguments.file);
  UseDevice(arguments.folder);
  std::string error;
  if (!control::ImportRegistry(text, error)) {
    throw Failure(arguments.file + ": " + error, ExitCode::Usage);
  }
  Say("Imported " + arguments.file + ".");
  if (shell.output.json) {
    Print(shell.output, Json{{"folder", arguments.folder}, {"imported", arguments.file}}, {});
  }
}

}  // namespace

void AddUpkeepCommands(Shell& shell, Command device) {
  const auto arguments = std::make_shared<UpkeepArguments>();

  const Command check = AddCommand(shell, device, "device fsck");
  check.AddOperand("DIR", &arguments->folder, "A device");
  check.SetAction([&shell, arguments] { CheckDevice(shell, *arguments); });

  const Command registry = AddCommand(shell, device, "device registry");
  registry.RequireCommand();
  const Command write = AddCommand(shell, registry, "device registry export");
  write.AddOperand("DIR", &arguments->folder, "A device");
  write.AddOptionalOperand("KEY", &arguments->key,
                           "A key, such as HKEY_LOCAL_MACHINE\\SOFTWARE; else all");
  write.SetAction([&shell, arguments] { ExportRegistry(shell, *arguments); });
  const Command read = AddCommand(shell, registry, "device registry import");
  read.AddOperand("DIR", &arguments->folder, "A device");
  read.AddOperand("FILE", &arguments->file, "What export wrote; - reads the standard input");
  read.SetAction([&shell, arguments] { ImportRegistry(shell, *arguments); });
}

}  // namespace wkt::tool

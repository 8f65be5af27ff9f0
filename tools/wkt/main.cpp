// wkt: devices on the desk, their records, and their synchronisation with desktop partners.
#include <cstdio>

#include "tools/wkt/Commands.h"
#include "tools/wkt/Help.h"
#include "tools/wkt/Manual.h"

namespace wkt::tool {

Command AddCommand(Shell& shell, Command parent, const std::string& name) {
  const CommandHelp& help = HelpOf(name);
  const Command command = parent.AddCommand(name.substr(name.rfind(' ') + 1), help.summary);
  std::string footer;
  if (help.details[0]) {
    footer += std::string("\n") + help.details + "\n";
  }
  if (help.examples[0]) {
    footer += "\nExamples:\n  ";
    for (const char* c = help.examples; *c; ++c) {
      footer += *c == '\n' ? std::string("\n  ") : std::string(1, *c);
    }
  }
  command.SetFooter(footer);
  command.AddFlag("--json", &shell.output.json, "Print the report as JSON");
  return command;
}

namespace {

int Run(int argc, char** argv) {
  const CommandLine line(
      "wkt",
      "Devices on the desk, their records, and their synchronisation with desktop partners.");
  const Command root = line.Root();
  root.RequireCommand();
  root.SetFooter("\nwkt COMMAND --help shows what a command does, with examples.");
  Shell shell{root, {}, ExitCode::Done, argv[0]};
  AddDeviceCommands(shell);
  AddRecordCommands(shell);
  AddSyncCommand(shell);
  AddImportCommand(shell);
  AddStatusCommands(shell);
  AddExportCommand(shell);
  AddBackupCommands(shell);
  AddPacketCommands(shell);
  AddTraceCommands(shell);
  AddCommand(shell, root, "man").SetAction([root] {
    std::fputs(ManualPage(root).c_str(), stdout);
  });
  try {
    const ExitCode read = line.Run(argc, argv);
    return static_cast<int>(read == ExitCode::Done ? shell.exitCode : read);
  } catch (const Failure& failure) {
    SayProgress("");
    Say(std::string("wkt: ") + failure.what());
    return static_cast<int>(failure.code);
  } catch (const std::exception& error) {
    SayProgress("");
    Say(std::string("wkt: ") + error.what());
    return static_cast<int>(ExitCode::Failed);
  }
}

}  // namespace

}  // namespace wkt::tool

int main(int argc, char** argv) {
  return wkt::tool::Run(argc, argv);
}

// wkt: devices on the desk, their records, and their synchronisation with desktop partners.
#include <cstdio>

#include "tools/wkt/Commands.h"
#include "tools/wkt/Help.h"
#include "tools/wkt/Manual.h"

namespace wkt::tool {

CLI::App* AddCommand(Shell& shell, CLI::App& parent, const std::string& name) {
  const CommandHelp& help = HelpOf(name);
  CLI::App* command = parent.add_subcommand(name.substr(name.rfind(' ') + 1), help.summary);
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
  command->footer(footer);
  command->add_flag("--json", shell.output.json, "Print the report as JSON");
  return command;
}

namespace {

int Run(int argc, char** argv) {
  CLI::App app(
      "Devices on the desk, their records, and their synchronisation with desktop partners.",
      "wkt");
  app.require_subcommand(1);
  app.footer("\nwkt COMMAND --help shows what a command does, with examples.");
  Shell shell{app, {}, ExitCode::Done, argv[0]};
  AddDeviceCommands(shell);
  AddRecordCommands(shell);
  AddSyncCommand(shell);
  AddImportCommand(shell);
  AddStatusCommands(shell);
  AddExportCommand(shell);
  AddBackupCommands(shell);
  AddPacketCommands(shell);
  AddTraceCommands(shell);
  AddCommand(shell, app, "man")->callback([&app] { std::fputs(ManualPage(app).c_str(), stdout); });
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::fputs(app.help().c_str(), stdout);
    return 0;
  } catch (const CLI::ParseError& error) {
    if (const std::vector<std::string> unknown = app.remaining(true);
        dynamic_cast<const CLI::RequiredError*>(&error) && !unknown.empty()) {
      Say("wkt: '" + unknown.front() + "' is no command here; --help lists them");
      return static_cast<int>(ExitCode::Usage);
    }
    const int code = app.exit(error, std::cout, std::cerr);
    return code == 0 ? 0 : static_cast<int>(ExitCode::Usage);
  } catch (const Failure& failure) {
    SayProgress("");
    Say(std::string("wkt: ") + failure.what());
    return static_cast<int>(failure.code);
  } catch (const std::exception& error) {
    SayProgress("");
    Say(std::string("wkt: ") + error.what());
    return static_cast<int>(ExitCode::Failed);
  }
  return static_cast<int>(shell.exitCode);
}

}  // namespace

}  // namespace wkt::tool

int main(int argc, char** argv) {
  return wkt::tool::Run(argc, argv);
}

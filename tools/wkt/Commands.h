// The command's sub-commands. Each adds itself to the command line; its callback does the work and
// returns through `exitCode`.
#pragma once

#include <string>

#include "desktop/partner/Failure.h"
#include "tools/wkt/CommandLine.h"
#include "tools/wkt/Output.h"

namespace wkt::tool {

struct Shell {
  Command root;
  OutputOptions output;
  ExitCode exitCode = ExitCode::Done;
  std::string program;  // path of the command itself
};

void AddDeviceCommands(Shell& shell);
// Below "device".
void AddUpkeepCommands(Shell& shell, Command device);
void AddRecordCommands(Shell& shell);
void AddSyncCommand(Shell& shell);
void AddImportCommand(Shell& shell);
void AddStatusCommands(Shell& shell);
void AddExportCommand(Shell& shell);
void AddBackupCommands(Shell& shell);
void AddPacketCommands(Shell& shell);
void AddTraceCommands(Shell& shell);

// A sub-command with its texts from the table of help (name with blanks: "device new").
Command AddCommand(Shell& shell, Command parent, const std::string& name);

}  // namespace wkt::tool

#include "tools/wkt/Manual.h"

#include <string_view>

#include "desktop/partner/Failure.h"
#include "tools/wkt/Help.h"

namespace wkt::tool {

namespace {

struct ExitText {
  ExitCode code;
  const char* text;
};
constexpr ExitText kExitTexts[] = {
    {ExitCode::Done, "done"},
    {ExitCode::Left, "done, with conflicts, findings or skipped records to look at"},
    {ExitCode::Usage, "wrong arguments, or an input file that cannot be understood"},
    {ExitCode::RecordsFailed, "some records failed, the others are done"},
    {ExitCode::Failed, "failed; nothing was changed"},
    {ExitCode::Refused, "refused by a guard; nothing was changed"},
};

constexpr char kSurroundings[] =
    ".SH ENVIRONMENT\n"
    ".TP\n.B WKT_CLOCK\nAn instant such as 2026\\-03\\-02T08:00:00Z at which the desktop's clock "
    "stands.\n"
    ".TP\n.B WKT_LIBRARIES\nThe folder of the device libraries that a new device gets.\n"
    ".TP\n.B NO_COLOR\nKeeps progress plain.\n";

// A line of plain text: no request, no escape, and hyphens that can be copied.
std::string Plain(std::string_view text) {
  std::string line;
  for (const char c : text) {
    if (c == '\\') {
      line += "\\e";
    } else if (c == '-') {
      line += "\\-";
    } else {
      line += c;
    }
  }
  return !line.empty() && (line[0] == '.' || line[0] == '\'') ? "\\&" + line : line;
}

std::string Examples(std::string_view examples) {
  std::string text = ".PP\n.nf\n.RS\n";
  for (size_t begin = 0; begin < examples.size();) {
    const size_t end = std::min(examples.find('\n', begin), examples.size());
    text += Plain(examples.substr(begin, end - begin)) + "\n";
    begin = end + 1;
  }
  return text + ".RE\n.fi\n";
}

bool IsSaidOnce(const OptionText& option) {
  return option.name.find("--help") != std::string::npos || option.name == "--json";
}

// "HOME FILE"
std::string Operands(Command command) {
  std::string text;
  for (const OptionText& option : command.Options()) {
    if (option.isOperand) {
      text += option.isRequired ? " " + option.name : " [" + option.name + "]";
    }
  }
  return text;
}

std::string Options(Command command) {
  std::string text;
  for (const OptionText& option : command.Options()) {
    if (IsSaidOnce(option)) {
      continue;
    }
    text += ".TP\n.B " + Plain(option.name) +
            (option.value.empty() ? "" : " " + Plain(option.value)) + "\n" + Plain(option.meaning) +
            "\n";
  }
  return text;
}

void AddCommandText(Command command, const std::string& name, std::string* page) {
  const std::vector<Command> subcommands = command.Commands();
  if (subcommands.empty()) {
    const CommandHelp& help = HelpOf(name);
    *page += ".SS wkt " + Plain(name + Operands(command)) + "\n" + Plain(help.summary) + ".\n";
    if (help.details[0]) {
      *page += Plain(help.details) + "\n";
    }
    *page += Options(command);
    if (help.examples[0]) {
      *page += Examples(help.examples);
    }
  }
  for (const Command& subcommand : subcommands) {
    AddCommandText(subcommand, name + " " + subcommand.Name(), page);
  }
}

}  // namespace

std::string ManualPage(Command root) {
  std::string page = ".TH WKT 1\n.SH NAME\nwkt \\- " + Plain(root.Summary()) +
                     "\n.SH SYNOPSIS\n.B wkt\n.I COMMAND\n[\\fIarguments\\fR] "
                     "[\\fB\\-\\-json\\fR]\n.br\n.B wkt\n.I COMMAND\n.B \\-\\-help\n"
                     ".SH DESCRIPTION\nData goes to standard output, talk to standard error. Every "
                     "report is also there as JSON: with\n.BR \\-\\-json .\n.SH COMMANDS\n";
  for (const Command& command : root.Commands()) {
    AddCommandText(command, command.Name(), &page);
  }
  page += ".SH EXIT STATUS\n";
  for (const ExitText& exit : kExitTexts) {
    page +=
        ".TP\n.B " + std::to_string(static_cast<int>(exit.code)) + "\n" + Plain(exit.text) + "\n";
  }
  return page + kSurroundings;
}

}  // namespace wkt::tool

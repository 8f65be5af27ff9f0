#include "tools/wkt/CommandLine.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>

#include "tools/wkt/Output.h"

namespace wkt::tool {

Option Option::OneOf(const std::vector<std::string>& words) const {
  return Option(option_->check(CLI::IsMember(words)));
}

Option Option::InRange(int first, int last) const {
  return Option(option_->check(CLI::Range(first, last)));
}

Option Option::InRange(uint32_t first, uint32_t last) const {
  return Option(option_->check(CLI::Range(first, last)));
}

Option Option::NotNegative() const {
  return Option(option_->check(CLI::NonNegativeNumber));
}

Option Option::Needs(Option other) const {
  return Option(option_->needs(other.option_));
}

Option Option::Excludes(Option other) const {
  return Option(option_->excludes(other.option_));
}

Option Option::TakeAll() const {
  return Option(option_->take_all());
}

Option Option::SetDescription(const std::string& text) const {
  return Option(option_->description(text));
}

Command Command::AddCommand(const std::string& name, const std::string& summary) const {
  return Command(app_->add_subcommand(name, summary));
}

void Command::RequireCommand() const {
  app_->require_subcommand(1);
}

void Command::SetFooter(const std::string& text) const {
  app_->footer(text);
}

void Command::SetAction(std::function<void()> action) const {
  app_->callback(std::move(action));
}

Option Command::AddOperand(const std::string& name, std::string* value,
                           const std::string& text) const {
  return Option(app_->add_option(name, *value, text)->required());
}

Option Command::AddOptionalOperand(const std::string& name, std::string* value,
                                   const std::string& text) const {
  return Option(app_->add_option(name, *value, text));
}

Option Command::AddOption(const std::string& name, std::string* value,
                          const std::string& text) const {
  return Option(app_->add_option(name, *value, text));
}

Option Command::AddOption(const std::string& name, std::vector<std::string>* values,
                          const std::string& text) const {
  return Option(app_->add_option(name, *values, text));
}

Option Command::AddOption(const std::string& name, int* value, const std::string& text) const {
  return Option(app_->add_option(name, *value, text));
}

Option Command::AddOption(const std::string& name, double* value, const std::string& text) const {
  return Option(app_->add_option(name, *value, text));
}

Option Command::AddFlag(const std::string& name, bool* value, const std::string& text) const {
  return Option(app_->add_flag(name, *value, text));
}

Option Command::GetOption(const std::string& name) const {
  return Option(app_->get_option(name));
}

bool Command::Has(const std::string& option) const {
  return app_->count(option) > 0;
}

const std::string& Command::Name() const {
  return app_->get_name();
}

std::string Command::Summary() const {
  return app_->get_description();
}

std::vector<Command> Command::Commands() const {
  std::vector<Command> commands;
  for (CLI::App* app : app_->get_subcommands([](const CLI::App*) { return true; })) {
    commands.emplace_back(app);
  }
  return commands;
}

std::vector<OptionText> Command::Options() const {
  std::vector<OptionText> texts;
  for (const CLI::Option* option : app_->get_options()) {
    const bool isOperand = option->get_positional();
    const bool hasValue = !isOperand && option->get_items_expected_max() > 0;
    const std::string type = option->get_type_name();
    texts.push_back({option->get_name(isOperand, !isOperand), option->get_description(),
                     !hasValue      ? ""
                     : type.empty() ? "VALUE"
                                    : type,
                     isOperand, option->get_required()});
  }
  return texts;
}

CommandLine::CommandLine(const std::string& program, const std::string& summary)
    : app_(std::make_unique<CLI::App>(summary, program)) {}

CommandLine::~CommandLine() = default;

Command CommandLine::Root() const {
  return Command(app_.get());
}

ExitCode CommandLine::Run(int argc, char** argv) const {
  try {
    app_->parse(argc, argv);
    return ExitCode::Done;
  } catch (const CLI::CallForHelp&) {
    std::fputs(app_->help().c_str(), stdout);
    return ExitCode::Done;
  } catch (const CLI::ParseError& error) {
    if (const std::vector<std::string> unknown = app_->remaining(true);
        dynamic_cast<const CLI::RequiredError*>(&error) && !unknown.empty()) {
      Say("wkt: '" + unknown.front() + "' is no command here; --help lists them");
      return ExitCode::Usage;
    }
    return app_->exit(error, std::cout, std::cerr) == 0 ? ExitCode::Done : ExitCode::Usage;
  }
}

}  // namespace wkt::tool

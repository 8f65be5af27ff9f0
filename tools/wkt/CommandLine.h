// The command line: its commands, their options and operands, and how all of it is read. The
// library behind it is large and made of headers: only CommandLine.cpp includes them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "desktop/partner/Failure.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace wkt::tool {

// An option or operand of a command, by value; the command line owns it.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  // What is accepted; other values are refused with a message that names it.
  Option OneOf(const std::vector<std::string>& words) const;
  Option InRange(int first, int last) const;
  Option InRange(uint32_t first, uint32_t last) const;
  Option NotNegative() const;
  Option Needs(Option other) const;     // refused without the other one
  Option Excludes(Option other) const;  // refused together with it
  Option TakeAll() const;               // every value counts when the option is repeated
  Option SetDescription(const std::string& text) const;

 private:
  CLI::Option* option_;
};

// What the manual says of an option or operand.
struct OptionText {
  std::string name;     // "--zone", "HOME"
  std::string meaning;  // its description
  std::string value;    // what follows it: "TEXT"; empty when nothing does, and for operands
  bool isOperand;
  bool isRequired;
};

// A command or the whole of them, by value; the command line owns it. What options and operands are
// read into must live until the command line has run.
class Command {
 public:
  explicit Command(CLI::App* app) : app_(app) {}

  Command AddCommand(const std::string& name, const std::string& summary) const;
  // One of the commands below this one must be named.
  void RequireCommand() const;
  // What --help says below the options.
  void SetFooter(const std::string& text) const;
  // What the command does once all arguments are read; what it throws leaves CommandLine::Run.
  void SetAction(std::function<void()> action) const;

  // Arguments that are told by their place, in the order of these calls.
  Option AddOperand(const std::string& name, std::string* value, const std::string& text) const;
  Option AddOptionalOperand(const std::string& name, std::string* value,
                            const std::string& text) const;
  Option AddOption(const std::string& name, std::string* value, const std::string& text) const;
  Option AddOption(const std::string& name, std::vector<std::string>* values,
                   const std::string& text) const;
  Option AddOption(const std::string& name, int* value, const std::string& text) const;
  Option AddOption(const std::string& name, double* value, const std::string& text) const;
  Option AddFlag(const std::string& name, bool* value, const std::string& text) const;
  Option GetOption(const std::string& name) const;  // one that was added

  // Whether the arguments held the option.
  bool Has(const std::string& option) const;

  const std::string& Name() const;
  std::string Summary() const;
  std::vector<Command> Commands() const;
  std::vector<OptionText> Options() const;

 private:
  CLI::App* app_;
};

class CommandLine {
 public:
  CommandLine(const std::string& program, const std::string& summary);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  Command Root() const;
  // Reads the arguments and does what they name. Help goes to stdout, what is wrong with the
  // arguments to stderr: then the result is Usage, else Done.
  ExitCode Run(int argc, char** argv) const;

 private:
  std::unique_ptr<CLI::App> app_;
};

}  // namespace wkt::tool

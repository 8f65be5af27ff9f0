#include "tests/sync/faults/FaultyRun.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <sstream>

#include "desktop/device/Installation.h"
#include "host/control/Calls.h"
#include "host/control/Check.h"
#include "host/control/Desk.h"
#include "platform/Errors.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/LeakCheck.h"
#include "tests/support/LogCapture.h"
#include "tests/support/RawDatabase.h"
#include "tests/support/Text.h"
#include "tests/sync/Player.h"
#include "tests/sync/faults/Meeting.h"

namespace wkt::test {
namespace {

// Loading the library is the manager's call, those within it are the provider's.
constexpr char kLoads[] = "LoadLibraryW";
// A resource stays behind when giving it back is what fails.
const std::set<std::string> kGivesBack = {"CloseHandle", "RegCloseKey", "FindClose", "LocalFree"};
constexpr char kFreesMemory[] = "LocalFree";

// How the answers of each command may begin, whatever fails.
const std::map<std::string, std::vector<std::string>> kAnswers = {
    {"load", {"= loaded"}},
    {"init", {"= TRUE handler", "= TRUE no handler"}},
    {"end", {"= TRUE"}},
    {"find", {"= S_OK unchanged:", "= E_UNEXPECTED unchanged: changed: no list"}},
    {"done", {"= S_OK list gone", "= E_UNEXPECTED list kept", "= E_UNEXPECTED list gone"}},
    {"info", {"= TRUE '", "= FALSE '"}},
    {"setup", {"= S_OK", "= no handler"}},
    {"reset", {"= S_OK", "= no handler"}},
    {"get",
     {"= RWRN_LAST_PACKET ", "= RERR_BAD_OBJECT no packet", "= E_UNEXPECTED no packet",
      "= no handler"}},
    {"put", {"= S_OK", "= E_UNEXPECTED", "= no handler"}},
    {"delete", {"= S_OK", "= E_UNEXPECTED", "= RERR_BAD_OBJECT", "= 0x80070002", "= no handler"}},
    {"notify", {"= TRUE changed ", "= FALSE changed "}},
    {"query", {"= 0x00000001 "}},
    {"release", {"= 0 references", "= 1 references", "= no handler"}},
    {"status", {"= TRUE"}}};

struct DatabaseTexts {
  const char* name;
  const char16_t* database;
  CEPROPID flags;
};
constexpr DatabaseTexts kDatabases[] = {{"jobs", u"WktDevJobs", 0x400B001F},
                                        {"favourites", u"WktDevFavJobs", 0x400B001F},
                                        {"types", u"WktDevTypes", 0x4029001F}};

// The partners' characters change with every step and are left out.
void AddTexts(std::map<std::string, std::set<std::string>>& texts) {
  const control::CallsUnwatched unwatched;
  for (const DatabaseTexts& each : kDatabases) {
    if (!HasDatabase(each.database))
      continue;
    RawDatabase database(each.database);
    for (const CEOID oid : database.List()) {
      const std::optional<RawRecord> record = database.Read(oid);
      if (!record)
        continue;
      for (const auto& [property, value] : record->Values()) {
        const auto* const text = std::get_if<std::u16string>(&value.held);
        if (text && property != each.flags)
          texts[std::string(each.name) + "/" + std::to_string(property)].insert(Narrow(*text));
      }
    }
  }
}

// The device with everything installed, and what plays on it.
class Desk {
 public:
  Desk() {
    Installation installation;
    installation.providerPath = DeskDevice::BuiltLibrary("WktDevSync");
    EXPECT_EQ(Install(installation), "");
    capture = std::make_unique<LogCapture>(*device);
  }
  // The device's destructor would look for leaks once more, when the library and with it the names
  // of what may leak are gone. So it stays, and its folder goes.
  ~Desk() {
    control::LeaveDevice();
    std::error_code ignored;
    std::filesystem::remove_all(Root(), ignored);
  }
  Desk(const Desk&) = delete;
  Desk& operator=(const Desk&) = delete;

  [[nodiscard]] std::filesystem::path Root() const {
    return std::filesystem::path(device->Folder()).parent_path();
  }

  DeskDevice* const device = new DeskDevice;
  std::unique_ptr<LogCapture> capture;
};

std::string WrongAnswer(const Step& step, const Command& command,
                        const std::vector<std::string>& answers) {
  const auto allowed = kAnswers.find(command.Word(0));
  if (allowed == kAnswers.end())
    return {};
  const bool isKnown =
      !answers.empty() && std::ranges::any_of(allowed->second, [&](const std::string& start) {
        return answers[0].starts_with(start);
      });
  // A packet that is handed out is whole.
  const bool isWhole = answers.size() < 2 || answers[1].ends_with(" left=0");
  if (isKnown && isWhole)
    return {};
  return "line " + std::to_string(step.line) + ": $ " + step.command + " answers " +
         (answers.empty() ? "nothing" : answers[0]);
}

std::string PlayAll(Player& player, const Script& script,
                    const std::function<void()>& afterEachStep) {
  for (const Step& step : script.steps) {
    const Command command = ParseCommand(step.command);
    std::optional<RefusalPause> pause;
    if (Player::IsOfTheApplication(command))
      pause.emplace();
    if (std::string wrong = WrongAnswer(step, command, player.Play(command)); !wrong.empty())
      return wrong;
    pause.reset();
    afterEachStep();
  }
  return {};
}

// Whatever the script left: whole files, and a desktop that synchronises as if nothing had been.
std::string LookOver(const Desk& desk) {
  control::LeaveDevice();
  for (const std::string& finding : control::CheckFolder(desk.device->Folder()))
    return finding;
  std::string error;
  if (!control::UseDevice(desk.device->Folder(), error))
    return error;
  return Meet((desk.Root() / "partner").string());
}

std::string UnknownTexts(const CleanRun& clean) {
  std::map<std::string, std::set<std::string>> found;
  AddTexts(found);
  for (const auto& [property, texts] : found) {
    const auto known = clean.texts.find(property);
    for (const std::string& text : texts) {
      if (known == clean.texts.end() || !known->second.contains(text))
        return "a record has the text '" + text + "' as " + property;
    }
  }
  return {};
}

std::string PlayFaulty(const Script& script, const CleanRun& clean, const Fault& fault) {
  const Desk desk;
  const size_t handles = control::OpenHandles();
  std::string wrong;
  {
    std::optional<AllocationFailure> failure;
    Player player;
    if (fault.function.empty()) {
      failure.emplace(fault.nth);
    } else {
      control::FailCall(fault.function, fault.nth + (fault.function == kLoads ? 1 : 0),
                        ERROR_NOT_ENOUGH_MEMORY);
    }
    wrong = PlayAll(player, script, [] {});
    const bool happened = failure ? failure->Happened() : !control::ClearFailures();
    failure.reset();
    if (wrong.empty() && !happened)
      wrong = "the failure was not reached";
    player.ReleaseAll();
    desk.capture->Take();
    if (fault.function != kFreesMemory)
      CheckForLeaks();
    player.Unload();
  }
  const size_t left = control::OpenHandles() - handles;
  if (wrong.empty() && left > (kGivesBack.contains(fault.function) ? 1u : 0u))
    wrong = std::to_string(left) + " handles are left open";
  if (wrong.empty())
    wrong = UnknownTexts(clean);
  return wrong.empty() ? LookOver(desk) : wrong;
}

CleanRun PlayClean(const Script& script, std::string& wrong) {
  const Desk desk;
  CleanRun clean;
  const size_t handles = control::OpenHandles();
  {
    Player player;
    const RefusableCounter counter;
    control::CallRecording recording;
    wrong = PlayAll(player, script, [&] { AddTexts(clean.texts); });
    clean.calls[""] = static_cast<uint32_t>(counter.Count());
    for (const std::string& name : control::CallNames(recording.Take()))
      ++clean.calls[name];
    player.Unload();
  }
  --clean.calls[kLoads];
  if (wrong.empty() && control::OpenHandles() != handles)
    wrong = "handles are left open";
  if (wrong.empty())
    wrong = LookOver(desk);
  return clean;
}

void WriteAll(int file, const std::string& text) {
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = write(file, text.data() + done, text.size() - done);
    if (count <= 0)
      return;
    done += static_cast<size_t>(count);
  }
}

int FailureCount() {
  return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

// What a child says through a pipe; what it prints and how it ends when it does not end well.
std::string InAChild(const std::function<std::string()>& work, std::string& trouble) {
  int ends[2];
  if (pipe(ends) != 0) {
    trouble = "no pipe";
    return {};
  }
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    // What failed in the parent before is this test's too.
    const int before = FailureCount();
    const std::string said = work();
    WriteAll(ends[1], said);
    std::fflush(stdout);
    _exit(FailureCount() == before ? 0 : 1);
  }
  close(ends[1]);
  std::string said;
  char buffer[4096];
  for (ssize_t count = 0; (count = read(ends[0], buffer, sizeof(buffer))) > 0;)
    said.append(buffer, static_cast<size_t>(count));
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) {
    trouble = std::string("ended by ") + strsignal(WTERMSIG(status));
  } else if (WEXITSTATUS(status) != 0) {
    trouble = "ended with code " + std::to_string(WEXITSTATUS(status));
  }
  return said;
}

}  // namespace

// The child sends lines: "call COUNT NAME" and "text PROPERTY TEXT", line breaks as "\x01".
CleanRun RunClean(const Script& script) {
  std::string trouble;
  const std::string said = InAChild(
      [&] {
        std::string wrong;
        const CleanRun clean = PlayClean(script, wrong);
        if (!wrong.empty())
          return "wrong " + wrong + "\n";
        std::string lines;
        for (const auto& [name, count] : clean.calls)
          lines += "call " + std::to_string(count) + " " + name + "\n";
        for (const auto& [property, texts] : clean.texts) {
          for (std::string text : texts) {
            std::ranges::replace(text, '\n', '\x01');
            lines += "text " + property + " " + text + "\n";
          }
        }
        return lines;
      },
      trouble);
  EXPECT_EQ(trouble, "");
  CleanRun clean;
  std::istringstream lines(said);
  for (std::string line; std::getline(lines, line);) {
    const size_t second = line.find(' ', 5);
    const std::string word = line.substr(5, second - 5);
    std::string rest = second == std::string::npos ? "" : line.substr(second + 1);
    if (line.starts_with("call ")) {
      clean.calls[rest] = static_cast<uint32_t>(std::stoul(word));
    } else if (line.starts_with("text ")) {
      std::ranges::replace(rest, '\x01', '\n');
      clean.texts[word].insert(rest);
    } else {
      ADD_FAILURE() << line;
    }
  }
  return clean;
}

std::string RunFaulty(const Script& script, const CleanRun& clean, const Fault& fault) {
  std::string trouble;
  const std::string said = InAChild([&] { return PlayFaulty(script, clean, fault); }, trouble);
  return trouble.empty() ? said : trouble + (said.empty() ? "" : ": " + said);
}

}  // namespace wkt::test

// Random scripts of edits on a device and two desktops, with synchronisations between, against a
// model of three maps. 30 scripts or WKT_SCRIPTS. With WKT_SCRIPT_KILLS set, runs are killed and
// started again.
#include <gtest/gtest.h>

#include <optional>
#include <set>

#include "tests/desktop/SyncDesk.h"
#include "tests/support/RandomScripts.h"

namespace wkt::test {
namespace {

using Values = std::map<std::string, std::string>;  // title, comment
enum class Side { Device, One, Two };

std::optional<std::string> Get(const Values& values, const std::string& title) {
  const auto found = values.find(title);
  return found == values.end() ? std::nullopt : std::optional(found->second);
}

void Put(Values& values, const std::string& title, const std::optional<std::string>& value) {
  if (value) {
    values[title] = *value;
  } else {
    values.erase(title);
  }
}

// Texts are "edit" and the step that wrote them.
int StepOf(const std::string& text) {
  return std::stoi(text.substr(text.rfind(' ')));
}

struct Model {
  Values device;
  Values desktop[3];
  Values common[3];  // of the device and each desktop after their last synchronisation
  std::set<std::string> titles;

  using Value = std::optional<std::string>;
  static Value Winner(const Value& own, const Value& other, ConflictPolicy policy) {
    if (policy != ConflictPolicy::Newer) {
      return policy == ConflictPolicy::Desktop ? other : own;
    }
    if (!own || !other) {
      return own ? own : other;  // an edit beats a delete
    }
    return StepOf(*own) > StepOf(*other) ? own : other;
  }

  void Sync(int partner, ConflictPolicy policy) {
    for (const std::string& title : titles) {
      const auto own = Get(device, title);
      const auto other = Get(desktop[partner], title);
      const auto base = Get(common[partner], title);
      std::optional<std::string> agreed = own;
      if (own == base) {
        agreed = other;
      } else if (other != base && own != other) {
        agreed = Winner(own, other, policy);
      }
      Put(device, title, agreed);
      Put(desktop[partner], title, agreed);
      Put(common[partner], title, agreed);
    }
  }
};

Values ToValues(const SyncDesk::Jobs& jobs) {
  Values values(jobs.begin(), jobs.end());
  RC_ASSERT(values.size() == jobs.size());  // nothing doubled
  return values;
}

void EditSomewhere(SyncDesk& desk, Model& model, int step) {
  const Side side = *rc::gen::element(Side::Device, Side::One, Side::Two);
  Values& values = side == Side::Device ? model.device : model.desktop[static_cast<int>(side)];
  const int partner = static_cast<int>(side);
  const std::string text = "edit " + std::to_string(step);
  const int action = *rc::gen::weightedElement<int>({{3, 0}, {4, 1}, {2, 2}});
  if (action == 0 || values.empty()) {
    const std::string title = "job " + std::to_string(step);
    model.titles.insert(title);
    values[title] = text;
    side == Side::Device ? desk.AddOnDevice(title, text) : desk.AddOnDesktop(partner, title, text);
    return;
  }
  const auto chosen =
      std::next(values.begin(), *rc::gen::inRange<int>(0, static_cast<int>(values.size())));
  const std::string title = chosen->first;
  if (action == 1) {
    values[title] = text;
    side == Side::Device ? desk.ChangeOnDevice(title, text)
                         : desk.ChangeOnDesktop(partner, title, text);
  } else {
    values.erase(title);
    side == Side::Device ? desk.DeleteOnDevice(title) : desk.DeleteOnDesktop(partner, title);
  }
}

void RunScript() {
  SyncDesk desk;
  Model model;
  static const bool kills = std::getenv("WKT_SCRIPT_KILLS") != nullptr;
  constexpr unsigned kLongestRunMicroseconds = 30'000;
  const auto synchronise = [&](int partner, ConflictPolicy policy) {
    for (int i = kills ? *rc::gen::inRange(0, 3) : 0; i > 0; --i) {
      desk.SyncKilled(partner, policy, *rc::gen::inRange(0u, kLongestRunMicroseconds));
    }
    desk.Sync(partner, policy, true);
    model.Sync(partner, policy);
    RC_ASSERT(ToValues(desk.OnDevice()) == model.device);
    RC_ASSERT(ToValues(desk.OnDesktop(partner)) == model.desktop[partner]);
  };
  const int steps = *rc::gen::inRange(1, 30);
  for (int step = 0; step < steps; ++step) {
    if (*rc::gen::inRange(0, 4) == 0) {
      synchronise(*rc::gen::inRange(1, 3),
                  *rc::gen::element(ConflictPolicy::Device, ConflictPolicy::Desktop,
                                    ConflictPolicy::Newer));
    } else {
      EditSomewhere(desk, model, step);
    }
  }
  for (const int partner : {1, 2, 1}) {
    synchronise(partner, ConflictPolicy::Device);
  }
  RC_ASSERT(model.desktop[1] == model.device);
  RC_ASSERT(model.desktop[2] == model.device);
}

TEST(SyncModel, TwoSidedScriptsEndEqual) {
  RunScripts(RunScript, 30, rc::detail::configuration().testParams);
}

}  // namespace
}  // namespace wkt::test

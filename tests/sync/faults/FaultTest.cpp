// Every script with the provider's 1st, 2nd, 3rd .. call of each platform function failing, and its
// 1st, 2nd, 3rd .. allocation: every answer is one that the interface defines, nothing leaks but
// what does so by definition, no record has a text that nobody gave it, the device's files are
// whole, and a synchronisation without faults then brings both sides together.
//
// A normal run takes a sample; WKT_FAULTS=all takes them all, WKT_FAULTS=CeDeleteRecord/2 one, and
// WKT_FAULTS=/5 the fifth allocation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tests/sync/faults/FaultyRun.h"

namespace wkt::test {
namespace {

// Of each script, in a normal run.
constexpr uint32_t kSampleSize = 24;

std::vector<std::string> ScriptNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(WKT_SCRIPT_DIR)) {
    if (entry.path().extension() == ".txt" && entry.path().stem() != "CMakeLists")
      names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<Fault> AllFaults(const CallCounts& calls) {
  std::vector<Fault> faults;
  for (const auto& [name, count] : calls) {
    for (uint32_t nth = 1; nth <= count; ++nth)
      faults.push_back({name, nth});
  }
  return faults;
}

// Evenly spread, so that functions that are called often are met often.
std::vector<Fault> Sample(const std::vector<Fault>& all) {
  const char* const wanted = std::getenv("WKT_FAULTS");
  if (wanted && std::string(wanted) == "all")
    return all;
  if (wanted) {
    const std::string text = wanted;
    const size_t slash = text.find('/');
    return {{text.substr(0, slash), static_cast<uint32_t>(std::stoul(text.substr(slash + 1)))}};
  }
  std::vector<Fault> faults;
  for (uint32_t i = 0; i < kSampleSize; ++i)
    faults.push_back(all[i * all.size() / kSampleSize]);
  return faults;
}

class EachFault : public testing::TestWithParam<std::string> {};

TEST_P(EachFault, IsSurvived) {
  const Script script = ReadScript(std::string(WKT_SCRIPT_DIR) + "/" + GetParam() + ".txt");
  ASSERT_FALSE(script.steps.empty());
  const CleanRun clean = RunClean(script);
  ASSERT_GT(clean.calls.size(), 20u);
  const std::vector<Fault> all = AllFaults(clean.calls);
  const std::vector<Fault> faults = Sample(all);
  for (const Fault& fault : faults) {
    const std::string wrong = RunFaulty(script, clean, fault);
    EXPECT_EQ(wrong, "") << (fault.function.empty() ? "allocation" : fault.function) << " "
                         << fault.nth;
  }
  std::printf("%s: %zu of %zu faults\n", GetParam().c_str(), faults.size(), all.size());
}

INSTANTIATE_TEST_SUITE_P(Scripts, EachFault, testing::ValuesIn(ScriptNames()),
                         [](const auto& script) {
                           std::string name = script.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

}  // namespace
}  // namespace wkt::test

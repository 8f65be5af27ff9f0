#pragma once

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cstdlib>
#include <sstream>
#include <string>

// Random scripts, of which a long run makes more than the tests of every day.
namespace wkt::test {

// Runs `script`, which draws what it does, `few` times or as often as WKT_SCRIPTS says. It starts
// where WKT_SEED says, or else where `params` do.
template <typename Script>
void RunScripts(Script script, int few, rc::detail::TestParams params) {
  const char* count = std::getenv("WKT_SCRIPTS");
  const char* seed = std::getenv("WKT_SEED");
  params.maxSuccess = count ? std::stoi(count) : few;
  ASSERT_GT(params.maxSuccess, 0);
  params.seed = seed ? std::stoull(seed) : params.seed;
  const auto result =
      rc::detail::checkTestable(script, rc::detail::TestMetadata{"scripts", "scripts"}, params);
  if (!result.template is<rc::detail::SuccessResult>()) {
    std::ostringstream text;
    rc::detail::printResultMessage(result, text);
    FAIL() << text.str();
  }
}

}  // namespace wkt::test

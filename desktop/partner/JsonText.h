// JSON text from outside, read so that whatever it holds can be printed, compared and dropped.
#pragma once

#include <functional>
#include <string_view>

#include "desktop/partner/RecordJson.h"

namespace wkt {

// Ours nests five deep. Printing and comparing call themselves a level, so a file of brackets alone
// would use up the stack.
constexpr int kMaxJsonDepth = 64;

// `onObject` is told the depth of each object that begins, and its line. Throws Failure (Usage)
// that says what is wrong, without the place; `*line` is then where.
Json ParseJson(std::string_view content, int* line,
               const std::function<void(int depth, int line)>& onObject = nullptr);

}  // namespace wkt

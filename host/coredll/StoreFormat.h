// What marks a volume's file, and the formats it may have.
#pragma once

#include <cstdint>

namespace wkt::host {

// "WKTS", at a fixed place of the file's first page.
inline constexpr int64_t kApplicationId = 0x574B5453;
inline constexpr int64_t kFirstFormatVersion = 1;
inline constexpr int64_t kFormatVersion = 2;

}  // namespace wkt::host

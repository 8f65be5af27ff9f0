#pragma once

#include <cstddef>

#include "platform/Types.h"

// The row of flag characters that every record carries: '0' is off, any other character on.
namespace wkt {

constexpr int kFlagCount = 19;
using FlagText = WCHAR[kFlagCount + 1];

// Off for a position outside the row, and for the place where a shorter text ends.
[[nodiscard]] bool IsFlagOn(const FlagText& flags, int index);
// Writes '1' or '0'. A text that ends before the position is first made to reach it with zeros.
// Positions outside the row are left alone.
void WriteFlag(FlagText& flags, int index, bool on);
// Copies a text with its terminator, at most 19 characters of it; what lies behind a shorter one
// stays. False when the flags read the same already.
[[nodiscard]] bool CopyFlags(FlagText& flags, const WCHAR* text);

}  // namespace wkt

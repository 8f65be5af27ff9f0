#pragma once

#include <string>
#include <string_view>

// Wide texts as UTF-8 for readable expectations, and back. An unpaired surrogate becomes U+FFFD.
namespace wkt::test {

std::string Narrow(std::u16string_view text);
std::string Narrow(const char16_t* text);  // null: "(null)"
std::u16string Wide(std::string_view utf8);

}  // namespace wkt::test

// Texts between the device's UTF-16 and the machine's UTF-8, and letter case as the device sees it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace wkt::host {

// One half of a surrogate pair alone is written as three bytes, so that every UTF-16 text comes
// back whole.
std::string ToUtf8(std::u16string_view text);
// nullopt when the bytes are no such text.
std::optional<std::u16string> FromUtf8(std::string_view bytes);

// Upper case of letters that have one upper and one lower form; all others stay ('ß', 'ı', and
// every letter beyond U+FFFF).
char16_t UpperCase(char16_t unit);
std::u16string UpperCase(std::u16string_view text);
bool EqualIgnoringCase(std::u16string_view left, std::u16string_view right);

// At most `limit` units of a terminated text, so that an unterminated one is not followed for ever;
// nullopt when there is no terminator within them.
std::optional<std::u16string_view> BoundedText(const char16_t* text, size_t limit);

}  // namespace wkt::host

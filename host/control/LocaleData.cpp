// Pictures, separators, markers and names of a locale, from ICU into the device's registry.
#include <unicode/datefmt.h>
#include <unicode/dtfmtsym.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>

#include <array>
#include <memory>
#include <string_view>
#include <vector>

#include "host/control/Desk.h"
#include "host/coredll/RegistryStore.h"
#include "platform/Registry.h"

namespace wkt::control {

namespace {

// Where a device's own picture differs from ICU's.
struct Override {
  std::string_view tag;
  std::u16string_view valueName;
  std::u16string_view text;
};
constexpr std::array kOverrides = {
    Override{"en-US", u"SLDT", u"dddd, MMMM dd, yyyy"},
};

// Separators have room for three characters and the terminator.
constexpr size_t kSeparatorUnits = 3;

std::u16string TextOf(const icu::UnicodeString& text) {
  return {text.getBuffer(), static_cast<size_t>(text.length())};
}

// A run of one letter of ICU's patterns as the device's element; empty when the device has none.
std::u16string Element(char16_t letter, size_t count) {
  switch (letter) {
    case u'y':
    case u'u':
    case u'r':
      return count == 2 ? u"yy" : u"yyyy";
    case u'M':
    case u'L':
      return std::u16string(std::min<size_t>(count, 4), u'M');
    case u'd':
      return std::u16string(std::min<size_t>(count, 2), u'd');
    case u'E':
    case u'c':
    case u'e':
      return count >= 4 ? u"dddd" : u"ddd";
    case u'G':
      return u"gg";
    case u'h':
    case u'K':
      return std::u16string(std::min<size_t>(count, 2), u'h');
    case u'H':
    case u'k':
      return std::u16string(std::min<size_t>(count, 2), u'H');
    case u'm':
    case u's':
      return std::u16string(std::min<size_t>(count, 2), letter);
    case u'a':
    case u'b':
    case u'B':
      return u"tt";
    default:
      return {};
  }
}

bool IsLetter(char16_t unit) {
  return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
}

// Quoted text and all that is no letter stand for themselves on both sides.
std::u16string PictureOf(const std::u16string& pattern) {
  std::u16string picture;
  bool quoted = false;
  for (size_t i = 0; i < pattern.size();) {
    const char16_t unit = pattern[i];
    if (unit == u'\'')
      quoted = !quoted;
    if (quoted || !IsLetter(unit)) {
      // Devices know the ordinary blank only.
      const bool blank = unit == u'\u00A0' || unit == u'\u202F';
      const bool direction = unit == u'\u200E' || unit == u'\u200F';
      if (!direction)
        picture += blank ? u' ' : unit;
      ++i;
      continue;
    }
    const size_t end = std::min(pattern.find_first_not_of(unit, i), pattern.size());
    picture += Element(unit, end - i);
    i = end;
  }
  return picture;
}

// What stands between the first two elements of a picture.
std::u16string SeparatorOf(const std::u16string& picture) {
  size_t start = 0;
  while (start < picture.size() && !IsLetter(picture[start]))
    ++start;
  while (start < picture.size() && IsLetter(picture[start]))
    ++start;
  size_t end = start;
  while (end < picture.size() && !IsLetter(picture[end]))
    ++end;
  std::u16string separator;
  for (const char16_t unit : picture.substr(start, end - start)) {
    if (unit != u'\'')
      separator += unit;
  }
  return separator.substr(0, kSeparatorUnits);
}

std::u16string PatternOf(icu::DateFormat* format) {
  const std::unique_ptr<icu::DateFormat> owner(format);
  icu::UnicodeString pattern;
  if (const auto* simple = dynamic_cast<const icu::SimpleDateFormat*>(owner.get()))
    simple->toPattern(pattern);
  return TextOf(pattern);
}

class Values {
 public:
  explicit Values(std::string tag) : tag_(std::move(tag)) {}

  void Add(const std::u16string& name, std::u16string text) {
    for (const Override& each : kOverrides) {
      if (each.tag == tag_ && each.valueName == name)
        text = each.text;
    }
    host::RegistryValue value = {name, REG_SZ, {}};
    for (const char16_t unit : text + u'\0') {
      value.data.push_back(static_cast<uint8_t>(unit));
      value.data.push_back(static_cast<uint8_t>(unit >> 8));
    }
    values_.push_back(std::move(value));
  }

  // `names` from `first` on, `count` of them in a ring of `ring`, as prefix1, prefix2 ...
  void AddNames(const std::u16string& prefix, const icu::UnicodeString* names, int32_t base,
                int32_t first, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
      const std::string number = std::to_string(i + 1);
      Add(prefix + std::u16string(number.begin(), number.end()),
          TextOf(names[base + (first - base + i) % count]));
    }
  }

  [[nodiscard]] const std::vector<host::RegistryValue>& All() const { return values_; }

 private:
  std::string tag_;
  std::vector<host::RegistryValue> values_;
};

bool IsAvailable(const icu::Locale& locale) {
  int32_t count = 0;
  const icu::Locale* all = icu::Locale::getAvailableLocales(count);
  for (int32_t i = 0; i < count; ++i) {
    if (std::string_view(all[i].getLanguage()) == locale.getLanguage())
      return *locale.getLanguage() != '\0';
  }
  return false;
}

void AddPictures(Values& values, const icu::Locale& locale) {
  using Format = icu::DateFormat;
  const std::u16string shortDate =
      PictureOf(PatternOf(Format::createDateInstance(Format::kShort, locale)));
  const std::u16string longDate =
      PictureOf(PatternOf(Format::createDateInstance(Format::kFull, locale)));
  const std::u16string time =
      PictureOf(PatternOf(Format::createTimeInstance(Format::kMedium, locale)));
  values.Add(u"SDATE", SeparatorOf(shortDate));
  values.Add(u"STIME", SeparatorOf(time));
  values.Add(u"SSHDT", shortDate);
  values.Add(u"SLDT", longDate);
  values.Add(u"STFMT", time);
}

void AddSymbols(Values& values, const icu::DateFormatSymbols& symbols) {
  using Symbols = icu::DateFormatSymbols;
  int32_t count = 0;
  const icu::UnicodeString* markers = symbols.getAmPmStrings(count);
  values.Add(u"S1159", TextOf(markers[0]));
  values.Add(u"S2359", TextOf(markers[1]));
  // ICU's weekdays stand at 1 to 7 from Sunday on; the device counts from Monday on.
  values.AddNames(u"DAY", symbols.getWeekdays(count, Symbols::FORMAT, Symbols::WIDE), 1, 2, 7);
  values.AddNames(u"ADAY", symbols.getWeekdays(count, Symbols::FORMAT, Symbols::ABBREVIATED), 1, 2,
                  7);
  values.AddNames(u"MON", symbols.getMonths(count, Symbols::FORMAT, Symbols::WIDE), 0, 0, 12);
  values.AddNames(u"AMON", symbols.getMonths(count, Symbols::FORMAT, Symbols::ABBREVIATED), 0, 0,
                  12);
}

}  // namespace

bool SetLocale(const std::string& tag, std::string& error) {
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale locale = icu::Locale::forLanguageTag(tag, status);
  if (U_FAILURE(status) || !IsAvailable(locale)) {
    error = "no locale known: " + tag;
    return false;
  }
  // Devices count by the calendar of their file times.
  locale.setKeywordValue("calendar", "gregorian", status);
  const icu::DateFormatSymbols symbols(locale, status);
  if (U_FAILURE(status)) {
    error = "no names of days and months for " + tag;
    return false;
  }
  Values values(tag);
  AddPictures(values, locale);
  AddSymbols(values, symbols);
  values.Add(u"Locale", std::u16string(tag.begin(), tag.end()));
  const LONG written = host::SetRegistryValues(u"HKEY_LOCAL_MACHINE\\nls\\overrides", values.All());
  if (written != ERROR_SUCCESS)
    error = "the registry cannot be written: error " + std::to_string(written);
  return written == ERROR_SUCCESS;
}

}  // namespace wkt::control

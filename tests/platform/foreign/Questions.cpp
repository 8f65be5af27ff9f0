#include "tests/platform/foreign/Questions.h"

#include <cstdio>
#include <vector>

namespace wkt::foreign {

namespace {

// SplitMix64: each question has its own, begun with its number.
class Chance {
 public:
  explicit Chance(uint64_t seed) : state_(seed) {}
  uint64_t Bits() {
    state_ += 0x9E3779B97F4A7C15;
    uint64_t bits = (state_ ^ state_ >> 30) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ bits >> 27) * 0x94D049BB133111EB;
    return bits ^ bits >> 31;
  }
  uint32_t Below(uint32_t limit) { return static_cast<uint32_t>((Bits() >> 32) % limit); }
  int64_t Between(int64_t first, int64_t last) {
    return first + static_cast<int64_t>((Bits() >> 11) % static_cast<uint64_t>(last - first + 1));
  }
  bool OneIn(uint32_t number) { return Below(number) == 0; }
  template <size_t N>
  const char* Of(const char* const (&choices)[N]) {
    return choices[Below(N)];
  }

 private:
  uint64_t state_;
};

std::string Number(int64_t value) {
  return std::to_string(value);
}

// Pieces put together from left to right: which operand of a + asks for chance first is up to the
// compiler.
class Line {
 public:
  Line& operator<<(const std::string& piece) {
    text_ += piece;
    return *this;
  }
  operator std::string() const { return text_; }

 private:
  std::string text_;
};

std::string Date(Chance& chance) {
  int64_t year = chance.Between(1601, 2400);
  if (chance.OneIn(3))
    year = chance.Between(1601, 30827);
  if (chance.OneIn(20))
    year = chance.OneIn(2) ? chance.Between(1599, 1602) : chance.Between(30826, 30829);
  const int64_t month = chance.OneIn(12) ? chance.Between(0, 13) : chance.Between(1, 12);
  const int64_t day = chance.OneIn(4) ? chance.Between(28, 32) : chance.Between(0, 28);
  return Line() << Number(year) << " " << Number(month) << " " << Number(day);
}

std::string TimeOfDay(Chance& chance) {
  return Line() << Number(chance.Between(0, chance.OneIn(30) ? 25 : 23)) << " "
                << Number(chance.Between(0, chance.OneIn(30) ? 61 : 59)) << " "
                << Number(chance.Between(0, chance.OneIn(30) ? 61 : 59));
}

std::string Ticks(Chance& chance) {
  const std::string date = Date(chance);
  const std::string time = TimeOfDay(chance);
  return Line() << "ticks " << date << " " << time << " "
                << Number(chance.Between(0, chance.OneIn(30) ? 1001 : 999));
}

std::string Calendar(Chance& chance) {
  // Of all sizes; the sign bit seldom.
  const uint32_t shift = chance.OneIn(10) ? 0 : 1 + chance.Below(10);
  return Line() << "calendar " << std::to_string(chance.Bits() >> shift);
}

// Elements, separators and quoted texts in any order.
template <size_t N>
std::string Picture(Chance& chance, const char* const (&elements)[N]) {
  static constexpr const char* kSeparators[] = {" ", "/",  ":",   ".",   "-",    ", ",
                                                "'", "''", "'h'", "' '", "'of'", "'d''M'"};
  std::string picture;
  const uint32_t parts = 1 + chance.Below(5);
  for (uint32_t part = 0; part < parts; ++part) {
    if (part > 0 || chance.OneIn(8))
      picture += chance.Of(kSeparators);
    picture += chance.Of(elements);
  }
  return picture;
}

std::string DatePicture(Chance& chance) {
  static constexpr const char* kElements[] = {"d",    "dd", "ddd", "dddd", "M",     "MM",    "MMM",
                                              "MMMM", "y",  "yy",  "yyyy", "yyyyy", "ddddd", "x"};
  const int64_t size = chance.OneIn(10) ? chance.Between(0, 12) : 200;
  const std::string date = Date(chance);
  return Line() << "date 0 " << Number(size) << " " << date << " " << Picture(chance, kElements);
}

std::string TimePicture(Chance& chance) {
  static constexpr const char* kElements[] = {"h",  "hh", "H",  "HH",  "m",   "mm",  "s",
                                              "ss", "t",  "tt", "hhh", "mmm", "sss", "d"};
  const int64_t size = chance.OneIn(10) ? chance.Between(0, 12) : 200;
  const std::string time = TimeOfDay(chance);
  if (!chance.OneIn(8))
    return Line() << "time 0 " << Number(size) << " " << time << " " << Picture(chance, kElements);
  // What the flags drop is compared for the pictures that locales have.
  static constexpr const char* kUsual[] = {"h:mm:ss tt", "HH:mm:ss", "H:mm:ss", "hh:mm:ss tt",
                                           "HH.mm.ss",   "H.mm",     "-",       "h:mm tt"};
  static constexpr int kFlags[] = {0, 1, 2, 4, 8, 10, 12};
  const int flags = kFlags[chance.Below(7)];
  return Line() << "time " << Number(flags) << " 200 " << time << " " << chance.Of(kUsual);
}

std::string Rule(Chance& chance, int64_t month) {
  return Line() << "0 " << Number(month) << " " << Number(chance.Between(0, 6)) << " "
                << Number(chance.Between(1, 5)) << " " << Number(chance.Between(0, 23));
}

std::string Local(Chance& chance) {
  // From 2000 to 2036.
  const int64_t ticks = chance.Between(125911584000000000, 137271456000000000);
  const std::string zone = Line() << "local " << Number(ticks) << " "
                                  << Number(30 * chance.Between(-26, 24));
  if (chance.OneIn(5))
    return Line() << zone << " 0 0 0 0 0 0 0 0 0 0 0 0";
  const int64_t first = chance.Between(1, 6);
  const int64_t second = chance.Between(7, 12);
  const bool isNorth = chance.OneIn(2);
  const std::string standard = Rule(chance, isNorth ? second : first);
  return Line() << zone << " 0 " << (chance.OneIn(4) ? "-30 " : "-60 ") << standard << " "
                << Rule(chance, isNorth ? first : second);
}

std::string Digits(Chance& chance, uint32_t least, uint32_t most) {
  std::string digits;
  const uint32_t count = least + chance.Below(most - least + 1);
  for (uint32_t digit = 0; digit < count; ++digit)
    digits += static_cast<char>('0' + chance.Below(10));
  return digits;
}

std::string Written(Chance& chance) {
  const int64_t value = static_cast<int32_t>(chance.Bits()) >> chance.Below(31);
  return Line() << "itow " << Number(value) << " " << Number(chance.Between(2, 36));
}

std::string ReadNumber(Chance& chance) {
  static constexpr const char* kBefore[] = {"",  "",        "",    "-",  "+",
                                            " ", "\\0009-", "  +", "--", "- "};
  static constexpr const char* kAfter[] = {"", "", "x", " ", ".5", "-1", "e3", "\\0660"};
  const std::string before = chance.Of(kBefore);
  const std::string digits = Digits(chance, 0, chance.OneIn(12) ? 14 : 9);
  return Line() << "wtol " << before << digits << chance.Of(kAfter);
}

std::string ReadFraction(Chance& chance) {
  static constexpr const char* kBefore[] = {"", "", "", "-", "+", " ", "\\0009-", "+-", "."};
  static constexpr const char* kExponents[] = {"", "", "e", "E", "e+", "e-", "E-", "d", "x", "e+-"};
  static constexpr const char* kAfter[] = {"", "", "", "x", " ", ".", "e1"};
  std::string text = Line() << chance.Of(kBefore) << Digits(chance, 0, 8);
  if (!chance.OneIn(3))
    text += "." + Digits(chance, 0, 7);
  const std::string exponent = chance.Of(kExponents);
  if (!exponent.empty())
    text += exponent + Digits(chance, 0, 2);
  return Line() << "wcstod " << text << chance.Of(kAfter);
}

std::string Flags(Chance& chance) {
  static constexpr const char* kFlags[] = {"", "", "", "-", "0", "+", " ", "#", "-0", "+0", "- "};
  std::string format = Line() << std::string("%") << chance.Of(kFlags);
  if (chance.OneIn(3))
    format += Number(chance.Between(1, 14));
  if (chance.OneIn(3))
    format += "." + Number(chance.Between(0, 8));
  return format;
}

std::string Print(Chance& chance) {
  static constexpr const char* kNumbers[] = {"d", "i", "u", "x", "X", "o", "ld", "lu", "lx", "hd"};
  static constexpr const char* kWide[] = {"I64d", "I64u", "I64x"};
  static constexpr const char* kTexts[] = {"s", "ls", "ws"};
  static constexpr const char* kNarrow[] = {"S", "hs"};
  static constexpr const char* kEnds[] = {"", "|", "%%", " text"};
  std::string room = Line() << "print " << Number(chance.OneIn(6) ? chance.Between(0, 20) : 200)
                            << " ";
  const std::string format = Flags(chance);
  const std::string end = chance.Of(kEnds);
  switch (chance.Below(6)) {
    case 0:
      return Line() << room << "int64 "
                    << Number(static_cast<int64_t>(chance.Bits()) >> chance.Below(63)) << " "
                    << format << chance.Of(kWide) << end;
    case 1:
      return Line() << room << "text w\\00E4" << Digits(chance, 0, 6) << " " << format
                    << chance.Of(kTexts) << end;
    case 2:
      return Line() << room << "narrow n" << Digits(chance, 0, 6) << " " << format
                    << chance.Of(kNarrow) << end;
    case 3: {
      const std::string value = Line() << Number(chance.Between(-999999, 999999)) << "."
                                       << Digits(chance, 1, 6);
      static constexpr const char* kForms[] = {"f", "f", "f", "e", "g", "E", "G"};
      return Line() << room << "double " << value << " " << format << chance.Of(kForms) << end;
    }
    default:
      return Line() << room << "int "
                    << Number(static_cast<int32_t>(chance.Bits()) >> chance.Below(31)) << " "
                    << format << chance.Of(kNumbers) << end;
  }
}

std::string Classes(Chance& chance) {
  const int64_t first = 16 * chance.Between(0, 7);
  return Line() << "class " << Number(first) << " " << Number(first + chance.Between(0, 15));
}

std::string Letters(Chance& chance, uint32_t least, uint32_t most, uint32_t kinds) {
  std::string letters;
  const uint32_t count = least + chance.Below(most - least + 1);
  for (uint32_t letter = 0; letter < count; ++letter)
    letters += static_cast<char>('a' + chance.Below(kinds));
  return letters;
}

std::string Copy(Chance& chance) {
  const int64_t count = chance.Between(0, 12);
  return Line() << "ncpy " << Number(count) << " " << Letters(chance, 0, 14, 26);
}

std::string Find(Chance& chance) {
  const std::string text = Letters(chance, 1, 20, 3);
  return Line() << "find " << text << " " << Letters(chance, 1, 3, 4);
}

std::string Bytes(Chance& chance) {
  std::string hex;
  for (uint32_t left = chance.Below(13); left > 0; --left) {
    char digits[3];
    snprintf(digits, sizeof digits, "%02x", chance.Below(256));
    hex += digits;
  }
  return hex.empty() ? "-" : hex;
}

// What to store. Texts are mostly terminated, since systems differ in what they make of others.
std::string TypeAndBytes(Chance& chance) {
  static constexpr int kTexts[] = {1, 2, 7};
  static constexpr int kOthers[] = {0, 3, 4, 5, 8};
  const std::string bytes = Bytes(chance);
  if (chance.OneIn(3)) {
    const int type = kTexts[chance.Below(3)];
    const bool endsWell = !chance.OneIn(20);
    return Line() << Number(type) << " " << (endsWell ? "610062000000" : bytes);
  }
  return Line() << Number(kOthers[chance.Below(5)]) << " " << bytes;
}

// Steps on the keys below one that is empty when the question begins.
std::string Registry(Chance& chance) {
  static constexpr const char* kPaths[] = {"A",
                                           "a",
                                           "B",
                                           "A\\005Cx",
                                           "a\\005CX",
                                           "A\\005Cx\\005Cdeep",
                                           "B\\005C\\00E4",
                                           "b\\005C\\00C4",
                                           "none",
                                           "A\\005C"};
  // Without keys below them; systems differ in whether others are deleted.
  static constexpr const char* kLast[] = {"A\\005Cx\\005Cdeep", "B\\005C\\00E4", "b\\005C\\00C4",
                                          "none"};
  static constexpr const char* kNames[] = {".",    "v",      "V",      "Name",
                                           "NAME", "\\00E4", "\\00C4", "other"};
  std::string question = "registry";
  const uint32_t steps = 4 + chance.Below(7);
  for (uint32_t step = 0; step < steps; ++step) {
    const std::string path = chance.OneIn(12) ? "." : chance.Of(kPaths);
    const std::string name = chance.Of(kNames);
    Line line;
    switch (step == 0 ? 0 : chance.Below(10)) {
      case 0:
      case 1:
        line << " create " << (path == "." && !chance.OneIn(9) ? "B" : path);
        break;
      case 2:
      case 3:
        line << " set " << path << " " << name << " " << TypeAndBytes(chance);
        break;
      case 4:
        line << " query " << path << " " << name << " " << Number(chance.Between(-1, 16));
        break;
      case 5:
        line << " values " << path << " " << Number(chance.Between(1, 8));
        line << " " << Number(chance.Between(0, 14));
        break;
      case 6:
        line << " keys " << path << " " << Number(chance.Between(1, 6));
        break;
      case 7:
        line << " drop " << path << " " << name;
        break;
      case 8:
        line << " delete " << (chance.OneIn(20) ? path : chance.Of(kLast));
        break;
      default:
        line << " open " << path;
    }
    question += std::string(line);
  }
  // What is there in the end.
  return question + " keys . 20 values . 20 20 keys A 20 values A 20 20";
}

}  // namespace

std::string Question(uint32_t number) {
  // How many of each hundred.
  static constexpr struct {
    uint32_t count;
    std::string (*make)(Chance&);
  } kKinds[] = {{17, Ticks},  {16, Calendar},  {16, DatePicture}, {16, TimePicture}, {3, Local},
                {6, Written}, {6, ReadNumber}, {6, ReadFraction}, {7, Print},        {1, Classes},
                {1, Copy},    {1, Find},       {4, Registry}};
  Chance chance(number);
  uint32_t place = number % kBlockQuestions;
  for (const auto& kind : kKinds) {
    if (place < kind.count)
      return kind.make(chance);
    place -= kind.count;
  }
  return {};
}

uint64_t AddToHash(uint64_t hash, const std::string& answer) {
  constexpr uint64_t kPrime = 0x100000001B3;
  for (const char unit : answer)
    hash = (hash ^ static_cast<unsigned char>(unit)) * kPrime;
  return (hash ^ '\n') * kPrime;
}

}  // namespace wkt::foreign

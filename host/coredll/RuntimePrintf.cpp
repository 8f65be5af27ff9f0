// Wide printf as the platform has it: wide texts by default, 32-bit longs, 64 bits by I64, no C99.
#include <cstdarg>
#include <string>
#include <string_view>

#include "host/coredll/FloatText.h"
#include "platform/Runtime.h"

namespace wkt::host {

namespace {

enum class Size { Default, Short, Long, Wide, Int64 };

struct Conversion {
  bool left = false;
  bool plus = false;
  bool blank = false;
  bool alternate = false;
  bool zero = false;
  int width = 0;
  int precision = -1;  // -1: none given
  Size size = Size::Default;
  WCHAR type = 0;
};

// Stores what fits and counts all.
class Output {
 public:
  Output(WCHAR* buffer, size_t capacity) : buffer_(buffer), capacity_(capacity) {}

  void Put(WCHAR unit) {
    if (count_ < capacity_)
      buffer_[count_] = unit;
    ++count_;
  }
  void Fill(WCHAR unit, int times) {
    for (; times > 0; --times)
      Put(unit);
  }
  template <typename Unit>
  void PutAll(const Unit* text, size_t length) {
    for (size_t i = 0; i < length; ++i)
      Put(ToWide(text[i]));
  }

  // The terminator where there is room; the platform's result.
  int Finish() {
    if (count_ > capacity_)
      return -1;
    if (count_ < capacity_)
      buffer_[count_] = u'\0';
    return static_cast<int>(count_);
  }

 private:
  static WCHAR ToWide(WCHAR unit) { return unit; }
  // Narrow texts are Latin-1: the device's code pages agree with it in what our texts use.
  static WCHAR ToWide(char unit) { return static_cast<unsigned char>(unit); }

  WCHAR* buffer_;
  size_t capacity_;
  size_t count_ = 0;
};

// What is left of the arguments, handed on: a va_list itself decays to a pointer on some machines.
// The analyser cannot follow it through. NOLINTBEGIN(clang-analyzer-valist.Uninitialized)
using Arguments = va_list*;

// Widths and precisions beyond this are cut: nobody prints such fields, and counting stays exact.
constexpr int kMaxField = 1'000'000;

int ReadNumber(const WCHAR*& format) {
  int value = 0;
  for (; *format >= u'0' && *format <= u'9'; ++format) {
    value = value * 10 + (*format - u'0');
    value = value < kMaxField ? value : kMaxField;
  }
  return value;
}

int ClampField(int value) {
  return value < kMaxField ? value : kMaxField;
}

void ReadFlags(const WCHAR*& format, Conversion& conversion) {
  for (;; ++format) {
    if (*format == u'-') {
      conversion.left = true;
    } else if (*format == u'+') {
      conversion.plus = true;
    } else if (*format == u' ') {
      conversion.blank = true;
    } else if (*format == u'#') {
      conversion.alternate = true;
    } else if (*format == u'0') {
      conversion.zero = true;
    } else {
      return;
    }
  }
}

void ReadSize(const WCHAR*& format, Conversion& conversion) {
  for (;; ++format) {
    if (*format == u'h') {
      conversion.size = Size::Short;
    } else if (*format == u'l') {
      // Two of them mean 64 bits to newer runtimes; here they are one.
      conversion.size = Size::Long;
    } else if (*format == u'w') {
      conversion.size = Size::Wide;
    } else if (*format == u'I' && format[1] == u'6' && format[2] == u'4') {
      conversion.size = Size::Int64;
      format += 2;
    } else if (*format == u'I' && format[1] == u'3' && format[2] == u'2') {
      conversion.size = Size::Long;
      format += 2;
    } else if (*format != u'F' && *format != u'N' && *format != u'L') {
      // Far, near and long double: accepted, no meaning left.
      return;
    }
  }
}

// `format` stands behind the percent sign and is left behind the type.
Conversion ReadConversion(const WCHAR*& format, Arguments arguments) {
  Conversion conversion;
  ReadFlags(format, conversion);
  if (*format == u'*') {
    ++format;
    int width = va_arg(*arguments, int);
    if (width < 0) {
      conversion.left = true;
      width = width < -kMaxField ? kMaxField : -width;
    }
    conversion.width = ClampField(width);
  } else {
    conversion.width = ReadNumber(format);
  }
  if (*format == u'.') {
    ++format;
    if (*format == u'*') {
      ++format;
      const int precision = va_arg(*arguments, int);
      conversion.precision = precision < 0 ? -1 : ClampField(precision);
    } else {
      conversion.precision = ReadNumber(format);
    }
  }
  ReadSize(format, conversion);
  conversion.type = *format;
  if (*format != u'\0')
    ++format;
  return conversion;
}

// A sign or prefix, zeros and digits, padded to the width.
void PutNumber(Output& output, const Conversion& conversion, std::string_view prefix, int zeros,
               std::string_view digits, bool zeroPadding) {
  int padding = conversion.width - static_cast<int>(prefix.size() + digits.size()) - zeros;
  padding = padding > 0 ? padding : 0;
  const bool padWithZeros = zeroPadding && conversion.zero && !conversion.left;
  if (!conversion.left && !padWithZeros)
    output.Fill(u' ', padding);
  output.PutAll(prefix.data(), prefix.size());
  output.Fill(u'0', zeros + (padWithZeros ? padding : 0));
  output.PutAll(digits.data(), digits.size());
  if (conversion.left)
    output.Fill(u' ', padding);
}

std::string_view SignOf(bool negative, const Conversion& conversion) {
  return negative ? "-" : conversion.plus ? "+" : conversion.blank ? " " : "";
}

int64_t TakeSigned(const Conversion& conversion, Arguments arguments) {
  if (conversion.size == Size::Int64)
    return va_arg(*arguments, int64_t);
  const int32_t value = va_arg(*arguments, int32_t);
  return conversion.size == Size::Short ? static_cast<int16_t>(value) : value;
}

uint64_t TakeUnsigned(const Conversion& conversion, Arguments arguments) {
  if (conversion.size == Size::Int64)
    return va_arg(*arguments, uint64_t);
  const uint32_t value = va_arg(*arguments, uint32_t);
  return conversion.size == Size::Short ? static_cast<uint16_t>(value) : value;
}

std::string DigitsOf(uint64_t value, unsigned radix, const char* alphabet) {
  std::string digits;
  for (; value != 0; value /= radix)
    digits.insert(digits.begin(), alphabet[value % radix]);
  return digits;
}

void PutInteger(Output& output, const Conversion& conversion, uint64_t magnitude, unsigned radix,
                std::string prefix) {
  const bool upper = conversion.type == u'X';
  std::string digits = DigitsOf(magnitude, radix, upper ? "0123456789ABCDEF" : "0123456789abcdef");
  // Without a precision at least one digit; precision 0 prints nothing for 0.
  const int wanted = conversion.precision < 0 ? 1 : conversion.precision;
  int zeros = wanted - static_cast<int>(digits.size());
  zeros = zeros > 0 ? zeros : 0;
  if (conversion.alternate && radix == 16 && magnitude != 0)
    prefix = upper ? "0X" : "0x";
  if (conversion.alternate && radix == 8 && zeros == 0)
    zeros = 1;
  // A precision takes the place of zero padding.
  PutNumber(output, conversion, prefix, zeros, digits, conversion.precision < 0);
}

void PutFloat(Output& output, const Conversion& conversion, double value) {
  const FloatText text = FormatFloat(value, static_cast<char>(conversion.type),
                                     conversion.precision, conversion.alternate);
  PutNumber(output, conversion, SignOf(text.negative, conversion), 0, text.body, text.isNumber);
}

template <typename Unit>
void PutText(Output& output, const Conversion& conversion, const Unit* text) {
  // At most `precision` units are looked at: the text need not be terminated then.
  size_t length = 0;
  while ((conversion.precision < 0 || length < static_cast<size_t>(conversion.precision)) &&
         text[length] != 0)
    ++length;
  const int padding = length < static_cast<size_t>(conversion.width)
                          ? conversion.width - static_cast<int>(length)
                          : 0;
  if (!conversion.left)
    output.Fill(conversion.zero ? u'0' : u' ', padding);
  output.PutAll(text, length);
  if (conversion.left)
    output.Fill(u' ', padding);
}

// %s is wide and %S narrow unless the size says otherwise; %c and %C alike.
bool IsWide(const Conversion& conversion) {
  if (conversion.size == Size::Short)
    return false;
  if (conversion.size != Size::Default)
    return true;
  return conversion.type == u's' || conversion.type == u'c';
}

void PutString(Output& output, const Conversion& conversion, Arguments arguments) {
  const void* text = va_arg(*arguments, const void*);
  if (text == nullptr) {
    PutText(output, conversion, u"(null)");
  } else if (IsWide(conversion)) {
    PutText(output, conversion, static_cast<const WCHAR*>(text));
  } else {
    PutText(output, conversion, static_cast<const char*>(text));
  }
}

void PutCharacter(Output& output, Conversion conversion, Arguments arguments) {
  const int value = va_arg(*arguments, int);
  const WCHAR unit =
      IsWide(conversion) ? static_cast<WCHAR>(value) : static_cast<unsigned char>(value);
  // A zero is a character like any other.
  if (!conversion.left)
    output.Fill(conversion.zero ? u'0' : u' ', conversion.width - 1);
  output.Put(unit);
  if (conversion.left)
    output.Fill(u' ', conversion.width - 1);
}

void PutPointer(Output& output, Conversion conversion, Arguments arguments) {
  // Addresses have 32 bits on a device; the low half is what logs there show.
  const auto address =
      static_cast<uint32_t>(reinterpret_cast<uintptr_t>(va_arg(*arguments, void*)));
  conversion.type = u'X';
  conversion.alternate = false;
  conversion.precision = 8;
  PutInteger(output, conversion, address, 16, "");
}

void PutConversion(Output& output, const Conversion& conversion, Arguments arguments) {
  switch (conversion.type) {
    case u'd':
    case u'i': {
      const int64_t value = TakeSigned(conversion, arguments);
      const auto magnitude = static_cast<uint64_t>(value);
      PutInteger(output, conversion, value < 0 ? 0 - magnitude : magnitude, 10,
                 std::string(SignOf(value < 0, conversion)));
      break;
    }
    case u'u':
      PutInteger(output, conversion, TakeUnsigned(conversion, arguments), 10, "");
      break;
    case u'o':
      PutInteger(output, conversion, TakeUnsigned(conversion, arguments), 8, "");
      break;
    case u'x':
    case u'X':
      PutInteger(output, conversion, TakeUnsigned(conversion, arguments), 16, "");
      break;
    case u'e':
    case u'E':
    case u'f':
    case u'g':
    case u'G':
      PutFloat(output, conversion, va_arg(*arguments, double));
      break;
    case u's':
    case u'S':
      PutString(output, conversion, arguments);
      break;
    case u'c':
    case u'C':
      PutCharacter(output, conversion, arguments);
      break;
    case u'p':
      PutPointer(output, conversion, arguments);
      break;
    case u'\0':
      break;
    default:
      // An unknown type prints itself, as the percent sign does. %n is unknown: nothing that a
      // format says is ever written to memory.
      output.Put(conversion.type);
      break;
  }
}

// NOLINTEND(clang-analyzer-valist.Uninitialized)

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

INT CEAPI _vsnwprintf(WCHAR* buffer, size_t count, const WCHAR* format, va_list args) {
  Output output(buffer, buffer != nullptr ? count : 0);
  va_list rest;
  va_copy(rest, args);
  while (*format != u'\0') {
    if (*format != u'%') {
      output.Put(*format++);
      continue;
    }
    ++format;
    PutConversion(output, ReadConversion(format, &rest), &rest);
  }
  va_end(rest);
  return output.Finish();
}

INT CEAPI _snwprintf(WCHAR* buffer, size_t count, const WCHAR* format, ...) {
  va_list args;
  va_start(args, format);
  const INT stored = _vsnwprintf(buffer, count, format, args);
  va_end(args);
  return stored;
}

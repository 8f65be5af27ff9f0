// Searching, copying, comparing and classifying wide characters.
#include "host/coredll/CallHook.h"
#include "host/coredll/CharacterClass.h"
#include "platform/Runtime.h"

const WCHAR* CEAPI wcschr(const WCHAR* text, WCHAR c) {
  for (;; ++text) {
    if (*text == c)
      return text;
    if (*text == u'\0')
      return nullptr;
  }
}

const WCHAR* CEAPI wcspbrk(const WCHAR* text, const WCHAR* set) {
  for (; *text != u'\0'; ++text) {
    for (const WCHAR* member = set; *member != u'\0'; ++member) {
      if (*member == *text)
        return text;
    }
  }
  return nullptr;
}

const WCHAR* CEAPI wcsstr(const WCHAR* text, const WCHAR* part) {
  if (*part == u'\0')
    return text;
  for (; (text = wcschr(text, *part)) != nullptr; ++text) {
    const WCHAR* inText = text;
    const WCHAR* inPart = part;
    while (*inPart != u'\0' && *inText == *inPart) {
      ++inText;
      ++inPart;
    }
    if (*inPart == u'\0')
      return text;
  }
  return nullptr;
}

WCHAR* CEAPI wcsncpy(WCHAR* target, const WCHAR* source, size_t count) {
  size_t copied = 0;
  for (; copied < count && source[copied] != u'\0'; ++copied)
    target[copied] = source[copied];
  for (; copied < count; ++copied)
    target[copied] = u'\0';
  return target;
}

INT CEAPI iswctype(WCHAR c, WORD classes) {
  return wkt::host::CharacterClasses(c) & classes;
}

INT CEAPI lstrcmpW(LPCWSTR first, LPCWSTR second) {
  return wkt::host::HookedCall(
      "lstrcmpW", INT{0},
      [&]() -> INT {
        if (first == nullptr || second == nullptr)
          return (first != nullptr ? 1 : 0) - (second != nullptr ? 1 : 0);
        while (*first != u'\0' && *first == *second) {
          ++first;
          ++second;
        }
        return *first < *second ? -1 : *first > *second ? 1 : 0;
      },
      first, second);
}

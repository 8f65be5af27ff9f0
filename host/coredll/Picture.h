// Date and time pictures: "dd.MM.yyyy" and "H:mm" made into text.
#pragma once

#include <string>
#include <string_view>

#include "host/coredll/Regional.h"
#include "platform/Time.h"

namespace wkt::host {

// `time` must be a date, or a time, that exists; its weekday is worked out from the date.
std::u16string FormatDate(std::u16string_view picture, const SYSTEMTIME& time,
                          const LocaleTexts& locale);

// `flags`: TIME_*.
std::u16string FormatTime(std::u16string_view picture, const SYSTEMTIME& time, DWORD flags,
                          const LocaleTexts& locale);

}  // namespace wkt::host

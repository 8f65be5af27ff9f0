#include "WktCommon/CreationMoment.h"

namespace wkt {

CreationMoment::CreationMoment(Draws draws) {
  if (draws == Draws::Identifier) {
    parts = DrawGuid();
  } else {
    GetSystemTime(&parts.time);
  }
}

FILETIME CreationMoment::WholeSecond() const {
  SYSTEMTIME second = parts.time;
  second.wMilliseconds = 0;
  FILETIME time;
  return SystemTimeToFileTime(&second, &time) ? time : FILETIME{};
}

FILETIME CreationMoment::LocalDay() const {
  const FILETIME utc = WholeSecond();
  FILETIME local;
  SYSTEMTIME day;
  if (!FileTimeToLocalFileTime(&utc, &local) || !FileTimeToSystemTime(&local, &day))
    return {};
  day.wHour = 0;
  day.wMinute = 0;
  day.wSecond = 0;
  day.wMilliseconds = 0;
  FILETIME midnight;
  return SystemTimeToFileTime(&day, &midnight) ? midnight : FILETIME{};
}

WideString CreationMoment::Identifier() const {
  return WideString::Adopt(MakeGuidText(kDevicePrefix, parts));
}

}  // namespace wkt

#include "desktop/partner/Zone.h"

#include <fmt/format.h>
#include <unicode/basictz.h>
#include <unicode/unistr.h>

#include <cstdlib>

#include "desktop/partner/Failure.h"
#include "desktop/partner/Instant.h"

namespace wkt {

namespace {

// ICU counts milliseconds since 1970.
double ToMilliseconds(uint64_t ticks) {
  const uint64_t seconds = ticks / kTicksPerSecond;
  constexpr uint64_t kSecondsToUnixEpoch = kTicksToUnixEpoch / kTicksPerSecond;
  return (static_cast<double>(seconds) - static_cast<double>(kSecondsToUnixEpoch)) * 1000.0;
}

// Stays within what a file time can hold.
uint64_t Shift(uint64_t ticks, int64_t minutes) {
  const uint64_t distance = static_cast<uint64_t>(std::abs(minutes)) * kTicksPerMinute;
  if (minutes < 0) {
    return ticks < distance ? 0 : ticks - distance;
  }
  return ticks > UINT64_MAX - distance ? UINT64_MAX : ticks + distance;
}

// ICU answers a name that it does not know with a zone of its own.
std::unique_ptr<icu::TimeZone> FindZone(const std::string& name) {
  std::unique_ptr<icu::TimeZone> zone(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)));
  icu::UnicodeString id;
  if (zone && zone->getID(id) == icu::UnicodeString(UCAL_UNKNOWN_ZONE_ID)) {
    zone.reset();
  }
  return zone;
}

}  // namespace

struct Zone::Rules {
  std::unique_ptr<icu::BasicTimeZone> zone;
};

Zone::Zone(const std::string& name) : name_(name), rules_(std::make_unique<Rules>()) {
  std::unique_ptr<icu::TimeZone> zone = FindZone(name);
  auto* basic = dynamic_cast<icu::BasicTimeZone*>(zone.get());
  if (!basic) {
    throw Failure("there is no time zone '" + name + "'; expected a name such as Europe/Vienna",
                  ExitCode::Usage);
  }
  (void)zone.release();
  rules_->zone.reset(basic);
}

bool Zone::IsKnown(const std::string& name) {
  return FindZone(name) != nullptr;
}

std::string Zone::NameFromWindows(const std::string& name) {
  icu::UnicodeString id;
  UErrorCode error = U_ZERO_ERROR;
  icu::TimeZone::getIDForWindowsID(icu::UnicodeString::fromUTF8(name), nullptr, id, error);
  std::string text;
  return U_FAILURE(error) ? text : id.toUTF8String(text);
}

Zone::~Zone() = default;
Zone::Zone(Zone&&) noexcept = default;
Zone& Zone::operator=(Zone&&) noexcept = default;

int Zone::OffsetMinutes(uint64_t utc) const {
  int32_t raw = 0;
  int32_t daylight = 0;
  UErrorCode error = U_ZERO_ERROR;
  rules_->zone->getOffset(ToMilliseconds(utc), false, raw, daylight, error);
  return U_FAILURE(error) ? 0 : (raw + daylight) / 60'000;
}

uint64_t Zone::ToLocal(uint64_t utc) const {
  return Shift(utc, OffsetMinutes(utc));
}

uint64_t Zone::ToUtc(uint64_t local) const {
  int32_t raw = 0;
  int32_t daylight = 0;
  UErrorCode error = U_ZERO_ERROR;
  rules_->zone->getOffsetFromLocal(ToMilliseconds(local), UCAL_TZ_LOCAL_FORMER,
                                   UCAL_TZ_LOCAL_FORMER, raw, daylight, error);
  return Shift(local, U_FAILURE(error) ? 0 : -(raw + daylight) / 60'000);
}

std::string Zone::Text(uint64_t utc) const {
  const int offset = OffsetMinutes(utc);
  return fmt::format("{}{}{:02}:{:02}", ClockText(Shift(utc, offset)), offset < 0 ? '-' : '+',
                     std::abs(offset) / 60, std::abs(offset) % 60);
}

}  // namespace wkt

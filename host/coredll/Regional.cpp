#include "host/coredll/Regional.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "host/coredll/Device.h"
#include "host/coredll/RegistryStore.h"
#include "platform/Registry.h"

namespace wkt::host {

namespace {

// Longest value that the platform's own control panel lets a user enter.
constexpr size_t kMaxTextUnits = 79;
constexpr size_t kMaxSeparatorUnits = 3;
// No clock on earth is two days off; beyond that the value is damaged.
constexpr LONG kMaxBiasMinutes = 2 * 24 * 60;

// What was read, for which device and which state of its registry.
struct Cache {
  uint32_t deviceSerial = 0;
  uint32_t generation = 1;  // odd: never equal to a settled one
  Regional regional;
  BiasPeriod period;
};

bool IsPlausibleBias(LONG minutes) {
  return minutes >= -kMaxBiasMinutes && minutes <= kMaxBiasMinutes;
}

void ReadZone(const RegistryKey& machine, TIME_ZONE_INFORMATION& zone) {
  const RegistryKey* key = machine.FindPath(kZoneKey);
  const RegistryValue* value = key != nullptr ? key->FindValue(kZoneValue) : nullptr;
  if (value == nullptr || value->type != REG_BINARY || value->data.size() != sizeof(zone))
    return;
  TIME_ZONE_INFORMATION stored;
  memcpy(&stored, value->data.data(), sizeof(stored));
  if (IsPlausibleBias(stored.Bias) && IsPlausibleBias(stored.StandardBias) &&
      IsPlausibleBias(stored.DaylightBias))
    zone = stored;
}

void ReadText(const RegistryKey& key, std::u16string_view name, std::u16string& text,
              size_t maxUnits = kMaxTextUnits) {
  const RegistryValue* value = key.FindValue(name);
  if (value == nullptr || value->type != REG_SZ)
    return;
  std::u16string stored(value->data.size() / sizeof(char16_t), u'\0');
  if (!stored.empty())
    memcpy(stored.data(), value->data.data(), stored.size() * sizeof(char16_t));
  stored.resize(std::min({stored.find(u'\0'), stored.size(), maxUnits}));
  text = stored;
}

// "DAY" and 3 make "DAY3".
std::u16string Numbered(std::u16string_view name, int number) {
  std::u16string text(name);
  if (number >= 10)
    text += static_cast<char16_t>(u'0' + number / 10);
  text += static_cast<char16_t>(u'0' + number % 10);
  return text;
}

void ReadLocale(const RegistryKey& machine, LocaleTexts& locale) {
  const RegistryKey* key = machine.FindPath(kLocaleKey);
  if (key == nullptr)
    return;
  ReadText(*key, u"SDATE", locale.dateSeparator, kMaxSeparatorUnits);
  ReadText(*key, u"STIME", locale.timeSeparator, kMaxSeparatorUnits);
  ReadText(*key, u"SSHDT", locale.shortDate);
  ReadText(*key, u"SLDT", locale.longDate);
  ReadText(*key, u"STFMT", locale.timeFormat);
  ReadText(*key, u"S1159", locale.morning);
  ReadText(*key, u"S2359", locale.afternoon);
  ReadText(*key, u"ERA", locale.era);
  for (int day = 1; day <= 7; ++day) {
    ReadText(*key, Numbered(u"DAY", day), locale.days[day % 7]);
    ReadText(*key, Numbered(u"ADAY", day), locale.shortDays[day % 7]);
  }
  for (int month = 1; month <= 12; ++month) {
    ReadText(*key, Numbered(u"MON", month), locale.months[month - 1]);
    ReadText(*key, Numbered(u"AMON", month), locale.shortMonths[month - 1]);
  }
}

Cache& CurrentCache() {
  thread_local Cache cache;
  Device* device = Device::CurrentIfAny();
  const uint32_t serial = device != nullptr ? device->Serial() : 0;
  const uint32_t generation =
      device != nullptr ? device->Page().registryGeneration.load(std::memory_order_acquire) : 0;
  // A device that may not be written hears nothing of changes: look every time.
  const bool settled = generation % 2 == 0 && (device == nullptr || !device->IsReadOnly());
  if (settled && cache.deviceSerial == serial && cache.generation == generation)
    return cache;
  cache.regional = Regional();
  cache.period = {.from = 1, .until = 0};
  cache.deviceSerial = serial;
  cache.generation = generation;
  if (device == nullptr)
    return cache;
  // A registry that cannot be read was reported there; the defaults stand.
  static_cast<void>(ReadRegistry([](const RegistryKey& root) -> LONG {
    if (const RegistryKey* machine = root.FindKey(u"HKEY_LOCAL_MACHINE"); machine != nullptr) {
      ReadZone(*machine, cache.regional.zone);
      ReadLocale(*machine, cache.regional.locale);
    }
    return ERROR_SUCCESS;
  }));
  return cache;
}

}  // namespace

const Regional& CurrentRegional() {
  return CurrentCache().regional;
}

const LocaleTexts& DefaultLocale() {
  static const LocaleTexts locale;
  return locale;
}

BiasPeriod CurrentBiasAt(uint64_t ticks) {
  Cache& cache = CurrentCache();
  if (!cache.period.Holds(ticks))
    cache.period = BiasAt(cache.regional.zone, ticks);
  return cache.period;
}

}  // namespace wkt::host

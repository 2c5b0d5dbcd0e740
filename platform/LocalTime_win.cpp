#include "platform/LocalTime.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

#include "platform/Environment.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
// 1601-01-01T00:00:00Z, where FILETIME and SYSTEMTIME begin.
constexpr std::int64_t kFileTimeStart = -11644473600;
constexpr std::int64_t kFileTimeUnitsPerSecond = 10'000'000;
// The Gregorian calendar repeats itself, leap days and weekdays included,
// every 400 years.
constexpr int kYearsPerEra = 400;
constexpr std::int64_t kSecondsPerEra = 146097 * kSecondsPerDay;
// Instants before this one (1602-01-01T00:00:00Z) are moved whole eras later,
// so that no local time falls before the year SYSTEMTIME starts at.
constexpr std::int64_t kEarliestDirect = kFileTimeStart + 365 * kSecondsPerDay;
constexpr WORD kFirstRuleYear = 1601;
constexpr WORD kLastRuleYear = 30827;

// The system lists its zones in the registry, each under its key name with
// its standard rules as a REG_TZI_FORMAT value.
std::optional<DYNAMIC_TIME_ZONE_INFORMATION> ZoneNamed(const std::wstring& key) {
  struct {
    LONG bias, standardBias, daylightBias;
    SYSTEMTIME standardDate, daylightDate;
  } rules{};
  DWORD size = sizeof rules;
  const std::wstring path = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Time Zones\\" + key;
  if (key.empty() || key.size() >= 128 ||
      RegGetValueW(HKEY_LOCAL_MACHINE, path.c_str(), L"TZI", RRF_RT_REG_BINARY, nullptr, &rules,
                   &size) != ERROR_SUCCESS ||
      size != sizeof rules)
    return std::nullopt;
  DYNAMIC_TIME_ZONE_INFORMATION zone{};
  key.copy(zone.TimeZoneKeyName, key.size());
  zone.Bias = rules.bias;
  zone.StandardBias = rules.standardBias;
  zone.DaylightBias = rules.daylightBias;
  zone.StandardDate = rules.standardDate;
  zone.DaylightDate = rules.daylightDate;
  return zone;
}

// TZ chooses the zone when it holds a zone's key name as the system lists it
// ("E. South America Standard Time"), as TZ chooses it on other systems;
// anything else (unset, or the IANA name Wine passes on from its host)
// leaves the system's zone. One registry read: listing the zones one by one
// costs tens of milliseconds each.
DYNAMIC_TIME_ZONE_INFORMATION CurrentZone() {
  if (auto named = ZoneNamed(WideFromUtf8(GetEnvironment("TZ").value_or("")))) return *named;
  DYNAMIC_TIME_ZONE_INFORMATION zone{};
  GetDynamicTimeZoneInformation(&zone);
  return zone;
}

// The zone's rules as they stood in `year`. The system holds a table of years
// for zones whose rules changed; before its first year the first entry counts,
// after its last the last. A user who turned off the automatic summer-time
// adjustment gets the zone without summer time, as the clock shows it.
TIME_ZONE_INFORMATION RulesOf(DYNAMIC_TIME_ZONE_INFORMATION& zone, int year) {
  TIME_ZONE_INFORMATION rules{};
  const auto ruleYear = static_cast<USHORT>(std::clamp<int>(year, kFirstRuleYear, kLastRuleYear));
  if (zone.DynamicDaylightTimeDisabled || !GetTimeZoneInformationForYear(ruleYear, &zone, &rules)) {
    rules.Bias = zone.Bias;
    rules.StandardBias = zone.StandardBias;
    rules.StandardDate = zone.StandardDate;
    rules.DaylightBias = zone.DaylightBias;
    rules.DaylightDate = zone.DaylightDate;
  }
  return rules;
}

}  // namespace

std::optional<CalendarDate> LocalDateOf(std::int64_t secondsSinceEpoch) {
  // Far enough to keep the arithmetic below exact; SYSTEMTIME ends at 30827.
  constexpr std::int64_t kEarliest = -(std::int64_t{1} << 50);
  constexpr std::int64_t kLatest =
      std::numeric_limits<std::int64_t>::max() / kFileTimeUnitsPerSecond + kFileTimeStart;
  if (secondsSinceEpoch < kEarliest || secondsSinceEpoch > kLatest) return std::nullopt;
  std::int64_t eras = 0;
  if (secondsSinceEpoch < kEarliestDirect)
    eras = (kEarliestDirect - secondsSinceEpoch + kSecondsPerEra - 1) / kSecondsPerEra;
  const std::int64_t shiftedYears = eras * kYearsPerEra;

  ULARGE_INTEGER units{};
  units.QuadPart =
      static_cast<ULONGLONG>(secondsSinceEpoch + eras * kSecondsPerEra - kFileTimeStart) *
      kFileTimeUnitsPerSecond;
  const FILETIME fileTime{units.LowPart, units.HighPart};
  SYSTEMTIME utc{};
  if (!FileTimeToSystemTime(&fileTime, &utc)) return std::nullopt;

  // Each year's rules describe that local year only, so the local time must
  // fall in the year whose rules gave it. Around the new year the local year
  // may be the one before or after the UTC year; where no year fits, the
  // hour belongs to a summer time carried over the new year (the next year's
  // rules start it again at its first midnight), and the earlier year's rules
  // hold.
  DYNAMIC_TIME_ZONE_INFORMATION zone = CurrentZone();
  const int utcYear = static_cast<int>(utc.wYear - shiftedYears);
  std::optional<CalendarDate> carriedOver;
  for (const int year : {utcYear, utcYear - 1, utcYear + 1}) {
    TIME_ZONE_INFORMATION rules = RulesOf(zone, year);
    SYSTEMTIME local{};
    if (!SystemTimeToTzSpecificLocalTime(&rules, &utc, &local)) return std::nullopt;
    const CalendarDate date{static_cast<int>(local.wYear - shiftedYears), local.wMonth, local.wDay};
    if (date.year == year) return date;
    if (year == utcYear - 1) carriedOver = date;
  }
  return carriedOver;
}

}  // namespace rotalis::platform

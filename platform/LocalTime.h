#pragma once
// The process's local time zone with its history of summer times. TZ chooses
// it: a zone database name on Linux, as the C library reads it; on Windows a
// zone's key name ("E. South America Standard Time"), else the system's zone.
//
// Windows knows a zone's rules only for the years its table holds and applies
// the earliest of them to every year before; the zone database goes back to each zone's first clock
// change and before that to the local mean time. So instants before that table, within an hour
// (minutes, for the local mean time) of midnight, may fall on another date on Windows than on
// Linux; from the table's first year on both agree.

#include <cstdint>
#include <optional>

namespace rotalis::platform {

struct CalendarDate {
  int year = 0;
  int month = 0;  // 1..12
  int day = 0;    // 1..31
};

// The local calendar date of an instant given as seconds since
// 1970-01-01T00:00:00Z, for every instant of the years 1 to 9999 and beyond;
// nothing when the platform cannot represent it. The zone is read again on
// every call, so a changed TZ takes effect at once.
std::optional<CalendarDate> LocalDateOf(std::int64_t secondsSinceEpoch);

}  // namespace rotalis::platform

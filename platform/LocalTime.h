#pragma once
// The process's local time zone (TZ respected, as the C library reads it).

#include <cstdint>
#include <optional>

namespace rotalis::platform {

struct CalendarDate {
  int year = 0;
  int month = 0;  // 1..12
  int day = 0;    // 1..31
};

// The local calendar date of an instant given as seconds since
// 1970-01-01T00:00:00Z; nothing when the platform cannot represent it. The
// zone is read again on every call, so a changed TZ takes effect at once.
std::optional<CalendarDate> LocalDateOf(std::int64_t secondsSinceEpoch);

}  // namespace rotalis::platform

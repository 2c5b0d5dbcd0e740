#include "platform/LocalTime.h"

#include <time.h>

#include "platform/TimeZone_win.h"

namespace rotalis::platform {

std::optional<CalendarDate> LocalDateOf(std::int64_t secondsSinceEpoch) {
  // The runtime reads TZ once and keeps it; a changed zone must count.
  ReloadRuntimeTimeZone();
  const __time64_t instant = secondsSinceEpoch;
  struct tm local {};
  // Fails outside what the runtime represents (before 1970, after 3000).
  if (_localtime64_s(&local, &instant) != 0) return std::nullopt;
  return CalendarDate{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday};
}

}  // namespace rotalis::platform

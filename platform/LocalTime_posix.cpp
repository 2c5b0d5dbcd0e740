#include "platform/LocalTime.h"

#include <time.h>

#include <limits>

namespace rotalis::platform {

std::optional<CalendarDate> LocalDateOf(std::int64_t secondsSinceEpoch) {
  if (secondsSinceEpoch < std::numeric_limits<time_t>::min() ||
      secondsSinceEpoch > std::numeric_limits<time_t>::max())
    return std::nullopt;
  // localtime_r need not look at TZ again; tzset makes a changed zone count.
  tzset();
  const time_t instant = static_cast<time_t>(secondsSinceEpoch);
  struct tm local {};
  if (localtime_r(&instant, &local) == nullptr) return std::nullopt;
  return CalendarDate{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday};
}

}  // namespace rotalis::platform

// IsoDateToBrDate: ISO 8601 date or date-time text to the short date format
// "dd/mm/yyyy" that the date columns are written with.
//
// Accepted: a calendar date "YYYY-MM-DD" or "YYYYMMDD", optionally followed by
// "T" or a blank and a time "hh", "hh:mm", "hh:mm:ss" or "hhmm", "hhmmss", with
// a fraction of seconds ("." or ","), optionally followed by a zone "Z",
// "+hh", "+hh:mm", "+hhmm" (or "-"). Without a zone the date is taken as it
// stands; with one, the instant is converted to the process's local date,
// because a rule that starts at midnight in one zone may start the evening
// before here. "24:00" closes a day and means the next day's midnight.

#include <cstdint>
#include <optional>
#include <string_view>

#include "db/DbConvert.h"
#include "platform/Exception.h"
#include "platform/LocalTime.h"
#include "rules/RuleSync.h"

namespace rotalis {

namespace {

constexpr const char* kInvalidIsoDate = "Data ISO inválida";
constexpr std::int64_t kSecondsPerDay = 86400;

class Cursor {
 public:
  explicit Cursor(std::string_view text) : text_(text) {}

  bool AtEnd() const { return pos_ == text_.size(); }
  bool Peek(char c) const { return pos_ < text_.size() && text_[pos_] == c; }
  bool PeekDigit() const { return pos_ < text_.size() && IsDigit(text_[pos_]); }
  bool Take(char c) {
    if (!Peek(c)) return false;
    ++pos_;
    return true;
  }
  // Exactly `count` decimal digits.
  std::optional<int> Number(int count) {
    int value = 0;
    for (int i = 0; i < count; ++i) {
      if (!PeekDigit()) return std::nullopt;
      value = value * 10 + (text_[pos_++] - '0');
    }
    return value;
  }
  // One or more digits, skipped; nonZero tells whether any was not '0'.
  bool SkipDigits(bool& nonZero) {
    if (!PeekDigit()) return false;
    nonZero = false;
    for (; PeekDigit(); ++pos_) nonZero |= text_[pos_] != '0';
    return true;
  }

 private:
  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

  std::string_view text_;
  std::size_t pos_ = 0;
};

// Days from 1970-01-01 to a proleptic Gregorian date, counted in 400-year eras
// so that no loop over years is needed.
std::int64_t DaysFromCivil(int year, int month, int day) {
  const std::int64_t y = month <= 2 ? year - 1 : year;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const std::int64_t yearOfEra = y - era * 400;
  const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

bool IsCalendarDate(int year, int month, int day) {
  static constexpr int kDaysInMonth[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12 || day < 1) return false;
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return day <= kDaysInMonth[month - 1] + (month == 2 && leap ? 1 : 0);
}

struct Parsed {
  int year = 0, month = 0, day = 0;
  int hour = 0, minute = 0, second = 0;
  std::optional<int> zoneOffsetSeconds;  // east of UTC
};

bool ParseDate(Cursor& in, Parsed& out) {
  auto year = in.Number(4);
  if (!year) return false;
  const bool extended = in.Take('-');
  auto month = in.Number(2);
  if (!month || (extended && !in.Take('-'))) return false;
  auto day = in.Number(2);
  if (!day) return false;
  out.year = *year;
  out.month = *month;
  out.day = *day;
  return out.year >= 1 && IsCalendarDate(out.year, out.month, out.day);
}

// Minutes and seconds after the hour, with or without colons; both optional.
bool ParseMinutesSeconds(Cursor& in, int& minute, int& second, bool& hasSeconds) {
  hasSeconds = false;
  const bool extended = in.Take(':');
  if (!extended && !in.PeekDigit()) return true;
  auto mm = in.Number(2);
  if (!mm) return false;
  minute = *mm;
  if (extended ? in.Take(':') : in.PeekDigit()) {
    auto ss = in.Number(2);
    if (!ss) return false;
    second = *ss;
    hasSeconds = true;
  }
  return true;
}

bool ParseTime(Cursor& in, Parsed& out) {
  auto hour = in.Number(2);
  if (!hour) return false;
  out.hour = *hour;
  bool hasSeconds = false;
  if (!ParseMinutesSeconds(in, out.minute, out.second, hasSeconds)) return false;
  bool fractionNonZero = false;
  // A fraction of a second never moves the date, except that it makes 24:00 invalid.
  if (hasSeconds && (in.Take('.') || in.Take(','))) {
    if (!in.SkipDigits(fractionNonZero)) return false;
  }
  if (out.hour == 24) return out.minute == 0 && out.second == 0 && !fractionNonZero;
  // A leap second names the last second of its minute as far as dates go.
  if (out.second == 60) out.second = 59;
  return out.hour <= 23 && out.minute <= 59 && out.second <= 59;
}

bool ParseZone(Cursor& in, Parsed& out) {
  if (in.Take('Z')) {
    out.zoneOffsetSeconds = 0;
    return true;
  }
  int sign = 0;
  if (in.Take('+'))
    sign = 1;
  else if (in.Take('-'))
    sign = -1;
  else
    return true;  // no zone: local time
  auto hours = in.Number(2);
  if (!hours) return false;
  int minutes = 0, seconds = 0;
  bool hasSeconds = false;
  if (!ParseMinutesSeconds(in, minutes, seconds, hasSeconds)) return false;
  if (*hours > 23 || minutes > 59 || seconds > 59) return false;
  out.zoneOffsetSeconds = sign * (*hours * 3600 + minutes * 60 + seconds);
  return true;
}

std::optional<Parsed> Parse(std::string_view text) {
  Cursor in(text);
  Parsed parsed;
  if (!ParseDate(in, parsed)) return std::nullopt;
  if (in.AtEnd()) return parsed;
  if (!in.Take('T') && !in.Take(' ')) return std::nullopt;
  if (!ParseTime(in, parsed) || !ParseZone(in, parsed) || !in.AtEnd()) return std::nullopt;
  return parsed;
}

// The inverse of DaysFromCivil.
platform::CalendarDate CivilFromDays(std::int64_t days) {
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t monthIndex = (5 * dayOfYear + 2) / 153;
  const int day = static_cast<int>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
  const int month = static_cast<int>(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
  const int year = static_cast<int>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
  return {year, month, day};
}

std::optional<platform::CalendarDate> DateOf(const Parsed& parsed) {
  const std::int64_t days = DaysFromCivil(parsed.year, parsed.month, parsed.day);
  const std::int64_t seconds = parsed.hour * 3600 + parsed.minute * 60 + parsed.second;
  if (!parsed.zoneOffsetSeconds) return CivilFromDays(days + seconds / kSecondsPerDay);
  return platform::LocalDateOf(days * kSecondsPerDay + seconds - *parsed.zoneOffsetSeconds);
}

}  // namespace

std::string IsoDateToBrDate(const std::string& iso) {
  const auto parsed = Parse(iso);
  if (!parsed) throw Exception(kInvalidIsoDate);
  const auto date = DateOf(*parsed);
  // Four digits are all the short date format has room for.
  if (!date || date->year < 1 || date->year > 9999) throw Exception(kInvalidIsoDate);
  std::string text;
  text.reserve(10);
  db::AppendZeroPadded(text, date->day, 2);
  text += '/';
  db::AppendZeroPadded(text, date->month, 2);
  text += '/';
  db::AppendZeroPadded(text, date->year, 4);
  return text;
}

}  // namespace rotalis

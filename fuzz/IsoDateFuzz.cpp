// ISO dates against an independent reckoning: each input is turned into an
// ISO text from its parts (either form of date, time and zone, odd values
// included), and the date the converter gives must be the one the standard
// library's calendar gives for those parts, or the one refusal when the
// parts are no date. The raw input is converted too: any text gives a
// "dd/mm/yyyy" date or that refusal. The process runs in UTC, so that a
// zone's instant lands on its UTC date.

#include <fuzzer/FuzzedDataProvider.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include "platform/Exception.h"
#include "rules/RuleSync.h"

namespace {

void Check(bool condition) {
  if (!condition) std::abort();
}

std::optional<std::string> Convert(const std::string& iso) {
  try {
    return rotalis::IsoDateToBrDate(iso);
  } catch (const rotalis::Exception& error) {
    Check(std::string(error.what()) == "Data ISO inválida");
    return std::nullopt;
  }
}

std::string Digits(int value, int width) {
  char text[16];
  std::snprintf(text, sizeof text, "%0*d", width, value);
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("TZ", "UTC", 1);
  tzset();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace std::chrono;
  const std::string raw(reinterpret_cast<const char*>(data), size);
  if (const auto date = Convert(raw)) {
    Check(date->size() == 10 && (*date)[2] == '/' && (*date)[5] == '/');
  }

  FuzzedDataProvider input(data, size);
  const int year = input.ConsumeIntegralInRange(0, 9999);
  const int month = input.ConsumeIntegralInRange(0, 13);
  const int day = input.ConsumeIntegralInRange(0, 32);
  const bool extendedDate = input.ConsumeBool();
  std::string iso = Digits(year, 4) + (extendedDate ? "-" : "") + Digits(month, 2) +
                    (extendedDate ? "-" : "") + Digits(day, 2);
  const year_month_day calendar{std::chrono::year(year), std::chrono::month(unsigned(month)),
                                std::chrono::day(unsigned(day))};
  bool valid = year >= 1 && calendar.ok();
  std::int64_t seconds = 0;

  if (input.ConsumeBool()) {
    const int hour = input.ConsumeIntegralInRange(0, 25);
    const int minute = input.ConsumeIntegralInRange(0, 60);
    const int second = input.ConsumeIntegralInRange(0, 61);
    const int form = input.ConsumeIntegralInRange(0, 4);  // hh, hh:mm, hh:mm:ss, hhmm, hhmmss
    const bool withSeconds = form == 2 || form == 4;
    iso += input.ConsumeBool() ? "T" : " ";
    iso += Digits(hour, 2);
    if (form != 0) iso += (form <= 2 ? ":" : "") + Digits(minute, 2);
    if (withSeconds) iso += (form == 2 ? ":" : "") + Digits(second, 2);
    const int usedMinute = form == 0 ? 0 : minute;
    const int usedSecond = withSeconds ? second : 0;
    bool fractionNonZero = false;
    if (withSeconds && input.ConsumeBool()) {
      iso += input.ConsumeBool() ? "." : ",";
      const int digits = input.ConsumeIntegralInRange(1, 4);
      for (int i = 0; i < digits; ++i) {
        const char digit = static_cast<char>('0' + input.ConsumeIntegralInRange(0, 9));
        fractionNonZero |= digit != '0';
        iso += digit;
      }
    }
    // 24:00 is the next day's midnight; a leap second counts as the minute's last.
    if (hour == 24)
      valid &= usedMinute == 0 && usedSecond == 0 && !fractionNonZero;
    else
      valid &= hour <= 23 && usedMinute <= 59 && usedSecond <= 60;
    seconds = hour * 3600 + usedMinute * 60 + (usedSecond == 60 ? 59 : usedSecond);

    const int zone = input.ConsumeIntegralInRange(0, 5);  // none, Z, ±hh, ±hh:mm, ±hhmm, ±hh:mm:ss
    if (zone == 1) {
      iso += "Z";
    } else if (zone >= 2) {
      const int sign = input.ConsumeBool() ? 1 : -1;
      const int zoneHours = input.ConsumeIntegralInRange(0, 24);
      const int zoneMinutes = zone >= 3 ? input.ConsumeIntegralInRange(0, 60) : 0;
      const int zoneSeconds = zone == 5 ? input.ConsumeIntegralInRange(0, 60) : 0;
      iso += (sign > 0 ? "+" : "-") + Digits(zoneHours, 2);
      if (zone >= 3) iso += (zone == 4 ? "" : ":") + Digits(zoneMinutes, 2);
      if (zone == 5) iso += ":" + Digits(zoneSeconds, 2);
      valid &= zoneHours <= 23 && zoneMinutes <= 59 && zoneSeconds <= 59;
      seconds -= sign * (zoneHours * 3600 + zoneMinutes * 60 + zoneSeconds);
    }
  }

  const auto converted = Convert(iso);
  if (!valid) {
    Check(!converted);
    return 0;
  }
  const year_month_day expected{floor<days>(sys_days(calendar) + std::chrono::seconds(seconds))};
  const int expectedYear = static_cast<int>(expected.year());
  if (expectedYear < 1 || expectedYear > 9999) {
    Check(!converted);
    return 0;
  }
  Check(converted == Digits(static_cast<int>(unsigned(expected.day())), 2) + "/" +
                         Digits(static_cast<int>(unsigned(expected.month())), 2) + "/" +
                         Digits(expectedYear, 4));
  return 0;
}

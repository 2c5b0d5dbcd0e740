#include "tests/support/TimeZone.h"

#include <windows.h>

#include <map>
#include <stdexcept>

#include "platform/Environment.h"
#include "platform/WideText_win.h"

namespace rotalis::test {
namespace {

// The key names Windows lists the zones under.
const std::map<std::string, std::string>& WindowsZones() {
  static const std::map<std::string, std::string> zones = {
      {"America/Sao_Paulo", "E. South America Standard Time"},
      {"Asia/Tokyo", "Tokyo Standard Time"},
      {"UTC", "UTC"},
  };
  return zones;
}

std::string SystemZone() {
  DYNAMIC_TIME_ZONE_INFORMATION zone{};
  GetDynamicTimeZoneInformation(&zone);
  return platform::Utf8FromWide(zone.TimeZoneKeyName);
}

}  // namespace

// The product reads TZ at each conversion. The system's own zone is left to
// the product to find (TZ empty), so that a run whose system zone is the one
// asked for goes the way a workstation without TZ does.
void UseTimeZone(const std::string& zone) {
  const auto found = WindowsZones().find(zone);
  if (found == WindowsZones().end())
    throw std::invalid_argument("no Windows zone known for the time zone " + zone);
  platform::SetEnvironment("TZ", found->second == SystemZone() ? "" : found->second);
}

}  // namespace rotalis::test

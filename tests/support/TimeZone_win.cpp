#include "tests/support/TimeZone.h"

#include <map>
#include <stdexcept>

#include "platform/Environment.h"

namespace rotalis::test {
namespace {

// Standard offsets only: the runtime would apply its own (northern) summer
// rules to a zone given with a summer name, which would be wrong for São
// Paulo and pointless for zones that have none today.
const std::map<std::string, std::string>& RuntimeZones() {
  static const std::map<std::string, std::string> zones = {
      {"America/Sao_Paulo", "BRT3"},  // no summer time since 2019
      {"Asia/Tokyo", "JST-9"},        // none since 1951
      {"UTC", "UTC0"},
  };
  return zones;
}

}  // namespace

// The product hands TZ to the runtime again at each conversion.
void UseTimeZone(const std::string& zone) {
  const auto found = RuntimeZones().find(zone);
  if (found == RuntimeZones().end())
    throw std::invalid_argument("no runtime form known for the time zone " + zone);
  platform::SetEnvironment("TZ", found->second);
}

}  // namespace rotalis::test

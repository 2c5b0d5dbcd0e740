#include "platform/TimeZone_win.h"

#include <windows.h>

#include <stdlib.h>
#include <time.h>

#include <string>

#include "platform/Environment.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// The runtime reads only "NAME[+|-]hours[:minutes][DSTNAME]" ("BRT3",
// "JST-9") and takes anything else, such as the zone names Wine passes on from
// the Unix TZ ("America/Sao_Paulo"), for UTC. Such a TZ is better left out:
// the system's zone then counts, and under Wine that is the zone TZ names.
bool RuntimeReads(const std::string& zone) {
  if (zone == "UTC" || zone == "GMT") return true;
  const auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  std::size_t letters = 0;
  while (letters < zone.size() && letter(zone[letters])) ++letters;
  if (letters < 3 || letters == zone.size()) return false;
  std::size_t next = letters;
  if (zone[next] == '+' || zone[next] == '-') ++next;
  return next < zone.size() && zone[next] >= '0' && zone[next] <= '9';
}

}  // namespace

void ReloadRuntimeTimeZone() {
  // The process environment, where SetEnvironment puts TZ.
  std::string zone = GetEnvironment("TZ").value_or("");
  if (!RuntimeReads(zone)) zone.clear();
  // Compared with the copy _tzset reads: the runtime's wide copy may be made
  // later, from the process environment, and then already holds the new TZ.
  const char* runtimeZone = getenv("TZ");
  if (zone != (runtimeZone != nullptr ? runtimeZone : "")) {
    // An empty value removes the variable from the runtime's copy.
    _wputenv(WideFromUtf8("TZ=" + zone).c_str());
  }
  _tzset();
}

}  // namespace rotalis::platform

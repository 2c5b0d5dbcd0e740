#include "platform/TimeZone_win.h"

#include <windows.h>

#include <stdlib.h>
#include <time.h>
#include <wctype.h>

#include <string>

#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// Empty when TZ is not set, as an empty TZ also means no zone was asked for.
std::wstring ProcessTimeZone() {
  std::wstring value(64, L'\0');
  for (;;) {
    const DWORD length =
        GetEnvironmentVariableW(L"TZ", value.data(), static_cast<DWORD>(value.size()));
    if (length < value.size()) {
      value.resize(length);
      return value;
    }
    value.resize(length);
  }
}

// The runtime reads only "NAME[+|-]hours[:minutes][DSTNAME]" ("BRT3",
// "JST-9") and takes anything else, such as the zone names Wine passes on from
// the Unix TZ ("America/Sao_Paulo"), for UTC. Such a TZ is better left out:
// the system's zone then counts, and under Wine that is the zone TZ names.
bool RuntimeReads(const std::wstring& zone) {
  if (zone == L"UTC" || zone == L"GMT") return true;
  std::size_t letters = 0;
  while (letters < zone.size() && iswalpha(zone[letters])) ++letters;
  if (letters < 3 || letters == zone.size()) return false;
  std::size_t next = letters;
  if (zone[next] == L'+' || zone[next] == L'-') ++next;
  return next < zone.size() && iswdigit(zone[next]);
}

}  // namespace

void ReloadRuntimeTimeZone() {
  std::wstring zone = ProcessTimeZone();
  if (!RuntimeReads(zone)) zone.clear();
  // Compared with the copy _tzset reads: the runtime's wide copy may be made
  // later, from the process environment, and then already holds the new TZ.
  const char* runtimeZone = getenv("TZ");
  if (zone != WideFromUtf8(runtimeZone != nullptr ? runtimeZone : "")) {
    // An empty value removes the variable from the runtime's copy.
    _wputenv((L"TZ=" + zone).c_str());
  }
  _tzset();
}

}  // namespace rotalis::platform

#include "platform/SystemInfo.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "platform/TimeZone_win.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// GetVersionEx answers with the version the program's manifest claims to
// know; ntdll's own call tells the truth.
std::string WindowsVersion() {
  using RtlGetVersionFunction = LONG(WINAPI*)(RTL_OSVERSIONINFOW*);
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  if (ntdll == nullptr) return "Windows";
  const auto rtlGetVersion = reinterpret_cast<RtlGetVersionFunction>(
      reinterpret_cast<void*>(GetProcAddress(ntdll, "RtlGetVersion")));
  RTL_OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (rtlGetVersion == nullptr || rtlGetVersion(&version) != 0) return "Windows";
  return "Windows " + std::to_string(version.dwMajorVersion) + "." +
         std::to_string(version.dwMinorVersion) + " build " + std::to_string(version.dwBuildNumber);
}

// The machine's, not this program's: an x64 program also runs on ARM64.
std::string Architecture() {
  SYSTEM_INFO system{};
  GetNativeSystemInfo(&system);
  switch (system.wProcessorArchitecture) {
    case PROCESSOR_ARCHITECTURE_AMD64:
      return "x64";
    case PROCESSOR_ARCHITECTURE_ARM64:
      return "arm64";
    case PROCESSOR_ARCHITECTURE_INTEL:
      return "x86";
    default:
      return "architecture " + std::to_string(system.wProcessorArchitecture);
  }
}

// Wine claims a Windows version of its choosing; a report needs to say what
// really ran the program.
std::string WineVersion() {
  using WineGetVersionFunction = const char*(CDECL*)();
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  if (ntdll == nullptr) return {};
  const auto wineGetVersion = reinterpret_cast<WineGetVersionFunction>(
      reinterpret_cast<void*>(GetProcAddress(ntdll, "wine_get_version")));
  if (wineGetVersion == nullptr) return {};
  const char* version = wineGetVersion();
  return version != nullptr ? version : "";
}

}  // namespace

std::string OperatingSystemName() {
  std::string text = WindowsVersion() + " " + Architecture();
  const std::string wine = WineVersion();
  if (!wine.empty()) text += " (Wine " + wine + ")";
  return text;
}

std::string UserName() {
  // UNLEN + 1 characters.
  wchar_t name[257];
  DWORD size = sizeof name / sizeof *name;
  if (!GetUserNameW(name, &size) || size == 0) return "unknown";
  // The count includes the terminating null.
  return Utf8FromWide(std::wstring_view(name, size - 1));
}

std::string ComputerName() {
  wchar_t name[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD size = sizeof name / sizeof *name;
  // Here the count leaves the terminating null out.
  if (!GetComputerNameW(name, &size)) return "unknown";
  return Utf8FromWide(std::wstring_view(name, size));
}

int CurrentProcessId() { return static_cast<int>(GetCurrentProcessId()); }

long CurrentThreadId() { return static_cast<long>(GetCurrentThreadId()); }

std::string LocalDateTimeText() {
  // The runtime's %z gives the zone's name, not its offset. The offset is the
  // local wall clock read as if it were UTC, less the instant: it follows TZ
  // and daylight saving time exactly as the local time shown does.
  ReloadRuntimeTimeZone();
  const __time64_t now = _time64(nullptr);
  struct tm local {};
  if (_localtime64_s(&local, &now) != 0) return "unknown";
  struct tm wallClock = local;
  const long long offsetMinutes = (_mkgmtime64(&wallClock) - now) / 60;
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  char offset[16];
  std::snprintf(offset, sizeof offset, " %c%02lld%02lld", offsetMinutes < 0 ? '-' : '+',
                std::llabs(offsetMinutes) / 60, std::llabs(offsetMinutes) % 60);
  return std::string(text) + offset;
}

}  // namespace rotalis::platform

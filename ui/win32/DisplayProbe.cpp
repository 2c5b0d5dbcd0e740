#include <windows.h>

#include "platform/Environment.h"
#include "ui/win32/Win32Backend.h"

namespace rotalis::ui::win32 {
namespace {

// Under Wine the windows of a process go to the X server (or Wayland
// compositor) that its environment names. Without one, a process can still
// make windows once another process of the same Wine session holds the
// desktop, but nobody sees them: as on Linux, a display must be named.
bool DisplayNamedWhereWineNeedsOne() {
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  if (ntdll == nullptr || GetProcAddress(ntdll, "wine_get_version") == nullptr) return true;
  for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY"}) {
    const auto value = platform::GetEnvironment(variable);
    if (value && !value->empty()) return true;
  }
  return false;
}

}  // namespace

bool DesktopCanBeOpened() {
  if (!DisplayNamedWhereWineNeedsOne()) return false;
  // A window station without a desktop to draw on (a service, Wine without
  // a display) refuses the window.
  const HWND probe = CreateWindowExW(WS_EX_TOOLWINDOW, L"STATIC", L"", WS_POPUP, 0, 0, 0, 0,
                                     nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
  if (probe == nullptr) return false;
  DestroyWindow(probe);
  return true;
}

}  // namespace rotalis::ui::win32

#include "ui/win32/Dpi.h"

#include <algorithm>
#include <cmath>

namespace rotalis::ui::win32 {
namespace {

// The per-monitor calls came with Windows 10 (1607); importing them would
// keep the program from starting at all on Windows 8.1 and Server 2012 R2,
// which terminal servers still run. They are looked up once, and each has a
// fallback that gives the same answer where per-monitor DPI is older or absent.
template <typename Function>
Function* SystemFunction(HMODULE module, const char* name) {
  if (module == nullptr) return nullptr;
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// GetDpiForMonitor's values; shellscalingapi.h would bring all of shcore in.
constexpr int kEffectiveDpi = 0;  // MDT_EFFECTIVE_DPI

struct DpiFunctions {
  UINT(WINAPI* forWindow)(HWND) = nullptr;
  UINT(WINAPI* forSystem)() = nullptr;
  BOOL(WINAPI* parametersForDpi)(UINT, UINT, void*, UINT, UINT) = nullptr;
  BOOL(WINAPI* adjustForDpi)(RECT*, DWORD, BOOL, DWORD, UINT) = nullptr;
  DPI_AWARENESS_CONTEXT(WINAPI* setThreadAwareness)(DPI_AWARENESS_CONTEXT) = nullptr;
  // Windows 8.1: a monitor's DPI, from shcore.dll, which stays loaded.
  HRESULT(WINAPI* forMonitor)(HMONITOR, int, UINT*, UINT*) = nullptr;
};

const DpiFunctions& Functions() {
  static const DpiFunctions functions = [] {
    DpiFunctions found;
    const HMODULE user32 = GetModuleHandleW(L"user32.dll");
    found.forWindow = SystemFunction<UINT WINAPI(HWND)>(user32, "GetDpiForWindow");
    found.forSystem = SystemFunction<UINT WINAPI()>(user32, "GetDpiForSystem");
    found.parametersForDpi = SystemFunction<BOOL WINAPI(UINT, UINT, void*, UINT, UINT)>(
        user32, "SystemParametersInfoForDpi");
    found.adjustForDpi = SystemFunction<BOOL WINAPI(RECT*, DWORD, BOOL, DWORD, UINT)>(
        user32, "AdjustWindowRectExForDpi");
    found.setThreadAwareness = SystemFunction<DPI_AWARENESS_CONTEXT WINAPI(DPI_AWARENESS_CONTEXT)>(
        user32, "SetThreadDpiAwarenessContext");
    if (found.forWindow == nullptr)
      found.forMonitor = SystemFunction<HRESULT WINAPI(HMONITOR, int, UINT*, UINT*)>(
          LoadLibraryExW(L"shcore.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32), "GetDpiForMonitor");
    return found;
  }();
  return functions;
}

// The DPI every window had before per-monitor DPI, and still has on a
// system without it.
UINT SystemDpi() {
  if (Functions().forSystem != nullptr) return Functions().forSystem();
  const WindowDc screen(nullptr);
  return screen.get() != nullptr ? static_cast<UINT>(GetDeviceCaps(screen.get(), LOGPIXELSX)) : 0;
}

UINT WindowDpi(HWND window) {
  if (Functions().forWindow != nullptr) return Functions().forWindow(window);
  if (Functions().forMonitor != nullptr) {
    UINT x = 0;
    UINT y = 0;
    if (SUCCEEDED(Functions().forMonitor(MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST),
                                         kEffectiveDpi, &x, &y)))
      return x;
  }
  return SystemDpi();
}

}  // namespace

UINT DpiOf(HWND window) {
  const UINT dpi = window != nullptr ? WindowDpi(window) : SystemDpi();
  return dpi != 0 ? dpi : kDesignDpi;
}

void AdjustFrameForDpi(RECT& frame, DWORD style, DWORD exStyle, UINT dpi) {
  if (Functions().adjustForDpi != nullptr) {
    Functions().adjustForDpi(&frame, style, FALSE, exStyle, dpi);
    return;
  }
  // The frame at the system's DPI: where that call is missing, so is any
  // other DPI for the frame.
  AdjustWindowRectEx(&frame, style, FALSE, exStyle);
}

DPI_AWARENESS_CONTEXT SetThreadDpiAwareness(DPI_AWARENESS_CONTEXT context) {
  if (Functions().setThreadAwareness == nullptr) return nullptr;
  return Functions().setThreadAwareness(context);
}

int Scaled(int value, UINT dpi) { return MulDiv(value, static_cast<int>(dpi), kDesignDpi); }

UniqueFont MessageFont(UINT dpi, double sizeFactor, LONG weight) {
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  LOGFONTW font{};
  if (Functions().parametersForDpi != nullptr &&
      Functions().parametersForDpi(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0, dpi)) {
    font = metrics.lfMessageFont;
  } else if (SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0)) {
    // The settings are at the system's DPI then.
    font = metrics.lfMessageFont;
    font.lfHeight = MulDiv(font.lfHeight, static_cast<int>(dpi), static_cast<int>(DpiOf(nullptr)));
  } else {
    font.lfHeight = -MulDiv(9, static_cast<int>(dpi), 72);
    font.lfCharSet = DEFAULT_CHARSET;
    lstrcpynW(font.lfFaceName, L"Segoe UI", LF_FACESIZE);
  }
  font.lfHeight = static_cast<LONG>(std::lround(font.lfHeight * sizeFactor));
  if (weight != 0) font.lfWeight = weight;
  return UniqueFont(CreateFontIndirectW(&font));
}

UniqueFont MonospaceFont(UINT dpi) {
  LOGFONTW font{};
  font.lfHeight = -MulDiv(9, static_cast<int>(dpi), 72);
  font.lfWeight = FW_NORMAL;
  font.lfCharSet = DEFAULT_CHARSET;
  // Where Consolas is missing the font mapper still picks a fixed-pitch face.
  font.lfPitchAndFamily = FIXED_PITCH | FF_MODERN;
  lstrcpynW(font.lfFaceName, L"Consolas", LF_FACESIZE);
  return UniqueFont(CreateFontIndirectW(&font));
}

SIZE MeasureText(HFONT font, std::wstring_view text, int maxWidth) {
  const WindowDc screen(nullptr);
  const SelectedObject selected(screen.get(), font);
  RECT bounds{0, 0, maxWidth > 0 ? maxWidth : 1, 0};
  const UINT format = DT_CALCRECT | DT_NOPREFIX | (maxWidth > 0 ? DT_WORDBREAK : 0);
  DrawTextW(screen.get(), text.data(), static_cast<int>(text.size()), &bounds, format);
  return SIZE{bounds.right - bounds.left, bounds.bottom - bounds.top};
}

RECT WorkAreaOf(HWND window) {
  const HMONITOR monitor = window != nullptr
                               ? MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST)
                               : MonitorFromPoint(POINT{0, 0}, MONITOR_DEFAULTTOPRIMARY);
  MONITORINFO info{};
  info.cbSize = sizeof info;
  if (GetMonitorInfoW(monitor, &info)) return info.rcWork;
  RECT area{0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
  SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
  return area;
}

void CentreWindow(HWND window, HWND over) {
  RECT own{};
  GetWindowRect(window, &own);
  const RECT area = WorkAreaOf(over != nullptr ? over : window);
  RECT target = area;
  if (over != nullptr && IsWindowVisible(over)) GetWindowRect(over, &target);
  const LONG width = own.right - own.left;
  const LONG height = own.bottom - own.top;
  LONG left = target.left + (target.right - target.left - width) / 2;
  LONG top = target.top + (target.bottom - target.top - height) / 2;
  left = std::max(area.left, std::min(left, area.right - width));
  top = std::max(area.top, std::min(top, area.bottom - height));
  SetWindowPos(window, nullptr, left, top, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

}  // namespace rotalis::ui::win32

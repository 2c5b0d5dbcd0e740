#include "ui/win32/Dpi.h"

#include <algorithm>
#include <cmath>

namespace rotalis::ui::win32 {

UINT DpiOf(HWND window) {
  const UINT dpi = window != nullptr ? GetDpiForWindow(window) : GetDpiForSystem();
  return dpi != 0 ? dpi : kDesignDpi;
}

int Scaled(int value, UINT dpi) { return MulDiv(value, static_cast<int>(dpi), kDesignDpi); }

UniqueFont MessageFont(UINT dpi, double sizeFactor, LONG weight) {
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  LOGFONTW font{};
  if (SystemParametersInfoForDpi(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0, dpi)) {
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

#include "ui/win32/ScreenCapture.h"

#include <cstring>

#include "ui/win32/Dpi.h"
#include "ui/win32/Win32Window.h"
#include "ui/win32/WindowHandles.h"

namespace rotalis::ui::win32 {
namespace {

// Screen coordinates in physical pixels whatever the process declared: a
// process without DPI awareness (a program without our manifest) would
// otherwise read a scaled, cut-off screen.
class PhysicalPixelsForThisThread {
 public:
  PhysicalPixelsForThisThread()
      : previous_(SetThreadDpiAwareness(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2)) {}
  ~PhysicalPixelsForThisThread() {
    if (previous_ != nullptr) SetThreadDpiAwareness(previous_);
  }
  PhysicalPixelsForThisThread(const PhysicalPixelsForThisThread&) = delete;
  PhysicalPixelsForThisThread& operator=(const PhysicalPixelsForThisThread&) = delete;

 private:
  DPI_AWARENESS_CONTEXT previous_;
};

Pixels CaptureScreenArea(const RECT& area) {
  Pixels pixels;
  const int width = area.right - area.left;
  const int height = area.bottom - area.top;
  if (width <= 0 || height <= 0) return pixels;
  const WindowDc screen(nullptr);
  if (screen.get() == nullptr) return pixels;
  const UniqueMemoryDc memory(CreateCompatibleDC(screen.get()));
  BITMAPINFO format{};
  format.bmiHeader.biSize = sizeof format.bmiHeader;
  format.bmiHeader.biWidth = width;
  format.bmiHeader.biHeight = -height;  // top-down rows
  format.bmiHeader.biPlanes = 1;
  format.bmiHeader.biBitCount = 32;
  format.bmiHeader.biCompression = BI_RGB;
  void* bits = nullptr;
  const UniqueBitmap bitmap(
      CreateDIBSection(screen.get(), &format, DIB_RGB_COLORS, &bits, nullptr, 0));
  if (!memory || !bitmap || bits == nullptr) return pixels;
  {
    const SelectedObject selected(memory.get(), bitmap.get());
    // CAPTUREBLT: layered windows (tool tips, menus) are part of what the
    // user sees.
    if (!BitBlt(memory.get(), 0, 0, width, height, screen.get(), area.left, area.top,
                SRCCOPY | CAPTUREBLT))
      return pixels;
  }
  GdiFlush();
  pixels.width = width;
  pixels.height = height;
  pixels.bgrx.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  std::memcpy(pixels.bgrx.data(), bits, pixels.bgrx.size());
  return pixels;
}

}  // namespace

Pixels CaptureVirtualScreen() {
  const PhysicalPixelsForThisThread physical;
  const int left = GetSystemMetrics(SM_XVIRTUALSCREEN);
  const int top = GetSystemMetrics(SM_YVIRTUALSCREEN);
  const RECT area{left, top, left + GetSystemMetrics(SM_CXVIRTUALSCREEN),
                  top + GetSystemMetrics(SM_CYVIRTUALSCREEN)};
  return CaptureScreenArea(area);
}

Pixels CaptureWindow(HWND window) {
  if (window == nullptr || !IsWindowVisible(window)) return {};
  SetWindowPos(window, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
  PaintNow(window);
  const PhysicalPixelsForThisThread physical;
  RECT area{};
  if (!GetWindowRect(window, &area)) return {};
  return CaptureScreenArea(area);
}

}  // namespace rotalis::ui::win32

#pragma once
// Pixels read back from the screen or drawn by a window, for the crash
// report's screenshot and the documentation's pictures. For the files of
// ui/win32 only.

#include <windows.h>

#include <cstdint>
#include <vector>

namespace rotalis::ui::win32 {

// Top-down rows of 32-bit pixels, blue first; the fourth byte means nothing.
struct Pixels {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> bgrx;
};

// Every monitor: the rectangle that holds them all, as the user sees it now.
// Empty when the screen cannot be read.
Pixels CaptureVirtualScreen();

// The window with its frame as it is on the screen; the window is brought to
// the front and painted first. Empty when it cannot be read.
Pixels CaptureWindow(HWND window);

}  // namespace rotalis::ui::win32

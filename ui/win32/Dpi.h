#pragma once
// Sizes, fonts and places at the DPI of the monitor a window is on. Every
// size in this backend is written for 96 DPI (100 %) and scaled here, so a
// window keeps its look on a 150 % monitor and when it moves to another one
// (WM_DPICHANGED). For the files of ui/win32 only.

#include <windows.h>

#include <string_view>

#include "ui/win32/WindowHandles.h"

namespace rotalis::ui::win32 {

inline constexpr UINT kDesignDpi = 96;

// The window's DPI; the system's for nullptr.
UINT DpiOf(HWND window);

// Grows a client rectangle to the window's outer rectangle for that style, at
// `dpi` (no menu bar).
void AdjustFrameForDpi(RECT& frame, DWORD style, DWORD exStyle, UINT dpi);

// The calling thread's DPI awareness from now on; the one it had, or nullptr
// where threads cannot have one of their own (before Windows 10 1607).
DPI_AWARENESS_CONTEXT SetThreadDpiAwareness(DPI_AWARENESS_CONTEXT context);

// A size written for 96 DPI, at `dpi`.
int Scaled(int value, UINT dpi);

// The font Windows' own message boxes use (the user's setting) at `dpi`,
// optionally larger and bolder: a heading is MessageFont(dpi, 1.6, FW_BOLD).
UniqueFont MessageFont(UINT dpi, double sizeFactor = 1.0, LONG weight = 0);

// A fixed-pitch font for texts laid out in columns (the bug report).
UniqueFont MonospaceFont(UINT dpi);

// The size `text` takes in `font`, broken into lines no wider than
// `maxWidth` (0: only at its own line breaks).
SIZE MeasureText(HFONT font, std::wstring_view text, int maxWidth = 0);

// The work area of the monitor the window is on (the primary one for
// nullptr): the screen without the task bar.
RECT WorkAreaOf(HWND window);

// Puts the window in the middle of `over`, or of its monitor's work area when
// `over` is nullptr or hidden, keeping it inside that work area.
void CentreWindow(HWND window, HWND over = nullptr);

}  // namespace rotalis::ui::win32

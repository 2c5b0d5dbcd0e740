#pragma once
// The Windows backend's windows read back through the Windows API, as
// another program (or a screen reader) sees them, and driven from a second
// thread while the test's own thread waits in a modal dialog.

#include <windows.h>

#include <string>
#include <vector>

namespace rotalis::test {

// The top-level window of that class (nullptr: any class) and title, visible
// or not; waits up to about ten seconds for it to appear, else nullptr.
HWND WaitForWindow(const wchar_t* windowClass, const std::wstring& title);

// The same, but only once it is visible.
HWND WaitForVisibleWindow(const wchar_t* windowClass, const std::wstring& title);

// A visible top-level window of that class and title that `owner` owns (a
// box opened from a dialog, with the dialog's title); waits like the above.
HWND WaitForOwnedWindow(HWND owner, const wchar_t* windowClass, const std::wstring& title);

std::wstring WindowText(HWND window);
std::wstring ClassOf(HWND window);
LONG StyleOf(HWND window);
LONG ExStyleOf(HWND window);
SIZE SizeOf(HWND window);

// The direct children of that class, in the order they are placed on the
// screen: left to right, top to bottom.
std::vector<HWND> ChildrenOf(HWND parent, const wchar_t* windowClass);

// A key pressed on the control that has the focus in that window's thread,
// as the keyboard would (the dialog manager sees it in its message loop).
void PressKey(HWND window, WPARAM key);

// A button pressed with the mouse.
void Click(HWND button);

}  // namespace rotalis::test

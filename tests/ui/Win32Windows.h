#pragma once
// The Windows backend's windows read back through the Windows API, as
// another program (or a screen reader) sees them, and driven from a second
// thread while the test's own thread waits in a modal dialog.

#include <windows.h>

#include <functional>
#include <string>
#include <thread>
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
LONG StyleOf(HWND window);

// The direct children of that class, in the order they are placed on the
// screen: left to right, top to bottom.
std::vector<HWND> ChildrenOf(HWND parent, const wchar_t* windowClass);

// The texts of the direct children of that class, in that order, as one.
std::wstring TextOfChildren(HWND parent, const wchar_t* windowClass);

// Runs `user` on a thread of its own with the visible top-level window of
// that class and title once it shows (not at all if it never does), while
// this thread waits in `modal`; returns what `modal` returns.
template <class Modal>
auto AsUser(const wchar_t* windowClass, const std::wstring& title,
            const std::function<void(HWND)>& user, Modal modal) {
  std::thread other([&] {
    if (const HWND window = WaitForVisibleWindow(windowClass, title)) user(window);
  });
  struct Join {
    std::thread& thread;
    ~Join() { thread.join(); }
  } join{other};
  return modal();
}

// A key pressed on the control that has the focus in that window's thread,
// as the keyboard would (the dialog manager sees it in its message loop).
void PressKey(HWND window, WPARAM key);

// A button pressed with the mouse.
void Click(HWND button);

}  // namespace rotalis::test

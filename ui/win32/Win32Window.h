#pragma once
// A top-level window of this backend's own window class. Its messages reach
// HandleMessage; a C++ exception that leaves it is caught in the window
// procedure, because it must not unwind through user32's frames (on x64
// Windows it is lost there), and handed to `onFailure`, which carries it to
// the message loop. For the files of ui/win32 only.

#include <windows.h>

#include <exception>
#include <functional>
#include <string>

#include "ui/win32/WindowHandles.h"

namespace rotalis::ui::win32 {

struct WindowClass {
  const wchar_t* name;
  int background;  // a COLOR_ index
};

class Win32Window {
 public:
  Win32Window(const Win32Window&) = delete;
  Win32Window& operator=(const Win32Window&) = delete;
  HWND Handle() const { return window_.get(); }

 protected:
  explicit Win32Window(std::function<void(std::exception_ptr)> onFailure);
  // Derived classes call Destroy in their destructor, so that the window goes
  // while their fonts and state still exist.
  virtual ~Win32Window();

  // Makes the window, hidden; the class is registered at its first use.
  void Create(const WindowClass& windowClass, DWORD style, DWORD exStyle,
              const std::wstring& caption);
  void Destroy();

  // Default: DefWindowProcW.
  virtual LRESULT HandleMessage(UINT message, WPARAM wParam, LPARAM lParam);

 private:
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

  std::function<void(std::exception_ptr)> onFailure_;
  UniqueWindow window_;
};

// Moves and sizes a window to the rectangle Windows suggests with
// WM_DPICHANGED (lParam).
void ApplySuggestedRect(HWND window, LPARAM suggested);

// Draws a window just shown, with its children, before the caller goes on
// without running a message loop; the window's own waiting messages (under
// Wine, the X server's answer that it is on screen) are handled too.
void PaintNow(HWND window);

}  // namespace rotalis::ui::win32

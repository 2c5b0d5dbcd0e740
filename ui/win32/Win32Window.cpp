#include "ui/win32/Win32Window.h"

#include "platform/WideText_win.h"

namespace rotalis::ui::win32 {

Win32Window::Win32Window(std::function<void(std::exception_ptr)> onFailure)
    : onFailure_(std::move(onFailure)) {}

Win32Window::~Win32Window() { Destroy(); }

void Win32Window::Create(const WindowClass& windowClass, DWORD style, DWORD exStyle,
                         const std::wstring& caption) {
  const HINSTANCE instance = GetModuleHandleW(nullptr);
  WNDCLASSEXW description{};
  description.cbSize = sizeof description;
  description.lpfnWndProc = &Win32Window::Procedure;
  description.hInstance = instance;
  // IDC_ARROW and IDI_APPLICATION, which the headers spell for narrow text.
  description.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));
  description.hIcon = LoadIconW(nullptr, MAKEINTRESOURCEW(32512));
  description.hbrBackground = GetSysColorBrush(windowClass.background);
  description.lpszClassName = windowClass.name;
  // Registered once per process; a second form of the same kind finds it.
  if (RegisterClassExW(&description) == 0 && GetLastError() != ERROR_CLASS_ALREADY_EXISTS)
    platform::RaiseLastError("Cannot register the window class");
  const HWND window = CreateWindowExW(exStyle, windowClass.name, caption.c_str(), style,
                                      CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT,
                                      nullptr, nullptr, instance, this);
  if (window == nullptr) {
    // Windows destroyed what it had begun.
    window_.release();
    platform::RaiseLastError("Cannot create a window");
  }
}

void Win32Window::Destroy() {
  if (!window_) return;
  // From here on the window's messages no longer reach this object.
  SetWindowLongPtrW(window_.get(), GWLP_USERDATA, 0);
  window_.reset();
}

LRESULT Win32Window::HandleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  return DefWindowProcW(window_.get(), message, wParam, lParam);
}

LRESULT CALLBACK Win32Window::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_NCCREATE) {
    auto* self =
        static_cast<Win32Window*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
    // HandleMessage may use the handle from the first message on.
    self->window_.reset(window);
  }
  auto* self = reinterpret_cast<Win32Window*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (self == nullptr) return DefWindowProcW(window, message, wParam, lParam);
  try {
    return self->HandleMessage(message, wParam, lParam);
  } catch (...) {
    try {
      if (self->onFailure_) self->onFailure_(std::current_exception());
    } catch (...) {
      // Nothing may leave a window procedure; the loop cannot hear of this one.
    }
    return DefWindowProcW(window, message, wParam, lParam);
  }
}

void ApplySuggestedRect(HWND window, LPARAM suggested) {
  const RECT* rect = reinterpret_cast<const RECT*>(suggested);
  SetWindowPos(window, nullptr, rect->left, rect->top, rect->right - rect->left,
               rect->bottom - rect->top, SWP_NOZORDER | SWP_NOACTIVATE);
}

void PaintNow(HWND window) {
  RedrawWindow(window, nullptr, nullptr,
               RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN | RDW_UPDATENOW);
  MSG message;
  for (int round = 0; round < 5; ++round) {
    while (PeekMessageW(&message, window, 0, 0, PM_REMOVE)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
    Sleep(10);
  }
  RedrawWindow(window, nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
}

}  // namespace rotalis::ui::win32

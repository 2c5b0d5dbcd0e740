#include "ui/win32/Win32Forms.h"

#include <commctrl.h>

#include <algorithm>

#include "platform/WideText_win.h"
#include "ui/win32/Dpi.h"

namespace rotalis::ui::win32 {
namespace {

constexpr WindowClass kWaitClass{L"RotalisWaitForm", COLOR_BTNFACE};
constexpr int kDefaultWidth = 420;
constexpr int kDefaultHeight = 160;
constexpr int kMargin = 12;
constexpr int kBarHeight = 16;
constexpr UINT kMarqueeStepMs = 30;

}  // namespace

// The width and height are the form's own, frame included, written for 96 DPI.
// A system menu for the close button only: no minimise or maximise, since a
// wait hidden from view would look like a program that never started.
Win32WaitForm::Win32WaitForm(const FormSpec& spec, FormHooks hooks)
    : ClosableForm(spec.name, std::move(hooks)),
      width_(spec.width > 0 ? spec.width : kDefaultWidth),
      height_(spec.height > 0 ? spec.height : kDefaultHeight),
      text_(platform::WideFromUtf8(spec.text)) {
  const INITCOMMONCONTROLSEX controls{sizeof(INITCOMMONCONTROLSEX), ICC_PROGRESS_CLASS};
  InitCommonControlsEx(&controls);
  Create(kWaitClass, WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN, WS_EX_TOPMOST,
         platform::WideFromUtf8(spec.caption));
  label_ =
      CreateWindowExW(0, L"STATIC", text_.c_str(), WS_CHILD | WS_VISIBLE | SS_LEFT | SS_NOPREFIX, 0,
                      0, 0, 0, Handle(), nullptr, GetModuleHandleW(nullptr), nullptr);
  if (label_ == nullptr) platform::RaiseLastError("Cannot create the text of a form");
  // A marquee bar needs Common Controls 6, which the program's manifest asks
  // for; the control moves it on its own timer, also between two of our
  // message rounds.
  bar_ = CreateWindowExW(0, PROGRESS_CLASSW, L"", WS_CHILD | WS_VISIBLE | PBS_MARQUEE, 0, 0, 0, 0,
                         Handle(), nullptr, GetModuleHandleW(nullptr), nullptr);
  if (bar_ == nullptr) platform::RaiseLastError("Cannot create the progress bar");
  SendMessageW(bar_, PBM_SETMARQUEE, TRUE, kMarqueeStepMs);
  const UINT dpi = DpiOf(Handle());
  font_ = MessageFont(dpi);
  SendMessageW(label_, WM_SETFONT, reinterpret_cast<WPARAM>(font_.get()), FALSE);
  SetWindowPos(Handle(), nullptr, 0, 0, Scaled(width_, dpi), Scaled(height_, dpi),
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  Layout();
  CentreWindow(Handle());
}

Win32WaitForm::~Win32WaitForm() { Destroy(); }

void Win32WaitForm::Show() {
  closed_ = false;
  ShowWindow(Handle(), SW_SHOWNORMAL);
  UpdateWindow(Handle());
}

// Called on every round of the wait: the label is touched only when the text
// changes, so that it does not flicker.
void Win32WaitForm::SetText(const std::string& text) {
  std::wstring wide = platform::WideFromUtf8(text);
  if (wide == text_) return;
  text_ = std::move(wide);
  SetWindowTextW(label_, text_.c_str());
}

void Win32WaitForm::Layout() {
  const UINT dpi = DpiOf(Handle());
  RECT client{};
  GetClientRect(Handle(), &client);
  const int margin = Scaled(kMargin, dpi);
  const int bar = Scaled(kBarHeight, dpi);
  const int width = std::max<int>(0, client.right - 2 * margin);
  const int barTop = std::max<int>(margin, client.bottom - margin - bar);
  MoveWindow(label_, margin, margin, width, std::max(0, barTop - 2 * margin), TRUE);
  MoveWindow(bar_, margin, barTop, width, bar, TRUE);
}

LRESULT Win32WaitForm::HandleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_SIZE:
      if (bar_ != nullptr) Layout();
      return 0;
    case WM_DPICHANGED:
      font_ = MessageFont(HIWORD(wParam));
      SendMessageW(label_, WM_SETFONT, reinterpret_cast<WPARAM>(font_.get()), TRUE);
      ApplySuggestedRect(Handle(), lParam);
      Layout();
      return 0;
    case WM_CLOSE:
      // From the close button, Alt+F4, or Close.
      if (IsWindowVisible(Handle())) closed_ = true;
      HideAndReport();
      return 0;
    default:
      return Win32Window::HandleMessage(message, wParam, lParam);
  }
}

}  // namespace rotalis::ui::win32

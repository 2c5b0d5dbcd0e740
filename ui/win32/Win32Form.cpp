#include "ui/win32/Win32Forms.h"

#include <algorithm>

#include "platform/WideText_win.h"
#include "ui/win32/Dpi.h"

namespace rotalis::ui::win32 {
namespace {

constexpr WindowClass kFormClass{L"RotalisForm", COLOR_WINDOW};
constexpr int kDefaultWidth = 640;
constexpr int kDefaultHeight = 480;
constexpr int kMargin = 12;
constexpr int kHeadingGap = 8;

HWND CreateLabel(HWND parent, const std::wstring& text) {
  const HWND label =
      CreateWindowExW(0, L"STATIC", text.c_str(), WS_CHILD | WS_VISIBLE | SS_LEFT | SS_NOPREFIX, 0,
                      0, 0, 0, parent, nullptr, GetModuleHandleW(nullptr), nullptr);
  if (label == nullptr) platform::RaiseLastError("Cannot create the text of a form");
  return label;
}

}  // namespace

// The width and height are the form's own, frame included, written for 96 DPI.
Win32Form::Win32Form(const FormSpec& spec, FormHooks hooks)
    : ClosableForm(spec.name, std::move(hooks)),
      width_(spec.width > 0 ? spec.width : kDefaultWidth),
      height_(spec.height > 0 ? spec.height : kDefaultHeight) {
  const std::wstring caption = platform::WideFromUtf8(spec.caption);
  Create(kFormClass, WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, 0, caption);
  // The title bar is the system's; the caption is repeated as a heading so
  // the form says what it is also where the title bar is small or hidden.
  heading_ = CreateLabel(Handle(), caption);
  body_ = CreateLabel(Handle(), platform::WideFromUtf8(spec.text));
  const UINT dpi = DpiOf(Handle());
  SetFonts(dpi);
  SetWindowPos(Handle(), nullptr, 0, 0, Scaled(width_, dpi), Scaled(height_, dpi),
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  Layout();
  CentreWindow(Handle());
}

Win32Form::~Win32Form() { Destroy(); }

void Win32Form::Show() {
  ShowWindow(Handle(), SW_SHOWNORMAL);
  SetForegroundWindow(Handle());
  UpdateWindow(Handle());
}

void Win32Form::SetFonts(UINT dpi) {
  headingFont_ = MessageFont(dpi, 1.6, FW_BOLD);
  bodyFont_ = MessageFont(dpi);
  SendMessageW(heading_, WM_SETFONT, reinterpret_cast<WPARAM>(headingFont_.get()), FALSE);
  SendMessageW(body_, WM_SETFONT, reinterpret_cast<WPARAM>(bodyFont_.get()), FALSE);
}

void Win32Form::Layout() {
  const UINT dpi = DpiOf(Handle());
  RECT client{};
  GetClientRect(Handle(), &client);
  const int margin = Scaled(kMargin, dpi);
  const int width = std::max<int>(0, client.right - 2 * margin);
  wchar_t caption[256] = L"";
  GetWindowTextW(heading_, caption, 256);
  const int headingHeight = MeasureText(headingFont_.get(), caption, width).cy;
  MoveWindow(heading_, margin, margin, width, headingHeight, TRUE);
  const int bodyTop = margin + headingHeight + Scaled(kHeadingGap, dpi);
  MoveWindow(body_, margin, bodyTop, width, std::max<int>(0, client.bottom - bodyTop - margin),
             TRUE);
}

LRESULT Win32Form::HandleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_SIZE:
      if (heading_ != nullptr) Layout();
      return 0;
    case WM_DPICHANGED:
      SetFonts(HIWORD(wParam));
      ApplySuggestedRect(Handle(), lParam);
      Layout();
      return 0;
    case WM_CTLCOLORSTATIC: {
      // The labels sit on the window's background, not on the dialog grey.
      const HDC dc = reinterpret_cast<HDC>(wParam);
      SetBkColor(dc, GetSysColor(COLOR_WINDOW));
      SetTextColor(dc, GetSysColor(COLOR_WINDOWTEXT));
      return reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_WINDOW));
    }
    case WM_CLOSE:
      HideAndReport();
      return 0;
    default:
      return Win32Window::HandleMessage(message, wParam, lParam);
  }
}

}  // namespace rotalis::ui::win32

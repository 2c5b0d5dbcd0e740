#include "ui/win32/Win32Forms.h"

#include <commctrl.h>

#include <algorithm>
#include <cwchar>

#include "platform/WideText_win.h"
#include "ui/win32/Dpi.h"

namespace rotalis::ui::win32 {
namespace {

constexpr WindowClass kProgressClass{L"RotalisProgressForm", COLOR_BTNFACE};
constexpr int kDefaultWidth = 400;
constexpr int kDefaultHeight = 150;
// Where the bar's window procedure finds its form.
constexpr const wchar_t* kFormProperty = L"RotalisProgressForm";

}  // namespace

// The width and height are the form's own, frame included, written for 96 DPI.
// A caption but no system menu: no icon, no minimise, maximise or close
// button; the work under way decides when the form goes.
Win32ProgressForm::Win32ProgressForm(const ProgressFormSpec& spec, FormHooks hooks)
    : ClosableForm(spec.name, std::move(hooks)),
      width_(spec.width > 0 ? spec.width : kDefaultWidth),
      height_(spec.height > 0 ? spec.height : kDefaultHeight),
      maximum_(std::max(0, spec.maximum)) {
  const INITCOMMONCONTROLSEX controls{sizeof(INITCOMMONCONTROLSEX), ICC_PROGRESS_CLASS};
  InitCommonControlsEx(&controls);
  Create(kProgressClass, WS_OVERLAPPED | WS_CAPTION | WS_CLIPCHILDREN, WS_EX_TOPMOST,
         platform::WideFromUtf8(spec.caption));
  bar_ = CreateWindowExW(0, PROGRESS_CLASSW, L"", WS_CHILD | WS_VISIBLE, 0, 0, 0, 0, Handle(),
                         nullptr, GetModuleHandleW(nullptr), nullptr);
  if (bar_ == nullptr) platform::RaiseLastError("Cannot create the progress bar");
  SendMessageW(bar_, PBM_SETRANGE32, 0, maximum_);
  SendMessageW(bar_, PBM_SETPOS, 0, 0);
  // The control's own procedure draws the bar, ours the text on it. Set by
  // hand rather than with SetWindowSubclass, which Windows offers only to
  // programs whose manifest asks for Common Controls 6: the crash watcher,
  // linked with this backend, has none.
  SetPropW(bar_, kFormProperty, this);
  barProcedure_ = reinterpret_cast<WNDPROC>(SetWindowLongPtrW(
      bar_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Win32ProgressForm::BarProcedure)));
  const UINT dpi = DpiOf(Handle());
  font_ = MessageFont(dpi);
  SetWindowPos(Handle(), nullptr, 0, 0, Scaled(width_, dpi), Scaled(height_, dpi),
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  ShowBarText({});
  CentreWindow(Handle());
}

Win32ProgressForm::~Win32ProgressForm() { Destroy(); }

void Win32ProgressForm::Show() {
  ShowWindow(Handle(), SW_SHOWNORMAL);
  UpdateWindow(Handle());
}

// Out of range, the bar stops at its ends, as any progress bar does.
void Win32ProgressForm::SetPosition(int position) {
  position_ = std::clamp(position, 0, maximum_);
  SendMessageW(bar_, PBM_SETPOS, static_cast<WPARAM>(position_), 0);
  ShowBarText({});
}

// The bar counts files; the bytes of the one under way go into its text, so
// that a long download shows life between two steps.
void Win32ProgressForm::SetTransferProgress(std::uint64_t received, std::uint64_t total) {
  wchar_t bytes[64];
  if (total == 0)
    std::swprintf(bytes, 64, L"%llu KiB", static_cast<unsigned long long>(received / 1024));
  else
    std::swprintf(bytes, 64, L"%llu of %llu KiB", static_cast<unsigned long long>(received / 1024),
                  static_cast<unsigned long long>(total / 1024));
  ShowBarText(bytes);
}

// The text is the bar's window text, drawn over the bar by BarProcedure.
void Win32ProgressForm::ShowBarText(const std::wstring& transfer) {
  std::wstring text = std::to_wstring(position_) + L" / " + std::to_wstring(maximum_);
  if (!transfer.empty()) text += L" \u2014 " + transfer;
  SetWindowTextW(bar_, text.c_str());
  InvalidateRect(bar_, nullptr, FALSE);
}

LRESULT Win32ProgressForm::HandleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_SIZE:
      // The bar fills the client area.
      if (bar_ != nullptr) MoveWindow(bar_, 0, 0, LOWORD(lParam), HIWORD(lParam), TRUE);
      return 0;
    case WM_DPICHANGED:
      font_ = MessageFont(HIWORD(wParam));
      ApplySuggestedRect(Handle(), lParam);
      return 0;
    case WM_CLOSE:
      HideAndReport();
      return 0;
    default:
      return Win32Window::HandleMessage(message, wParam, lParam);
  }
}

// The common control draws the bar; its text goes on top, centred. Nothing
// here allocates or throws: this runs inside a window procedure.
LRESULT CALLBACK Win32ProgressForm::BarProcedure(HWND bar, UINT message, WPARAM wParam,
                                                 LPARAM lParam) {
  auto* self = static_cast<Win32ProgressForm*>(GetPropW(bar, kFormProperty));
  if (self == nullptr) return DefWindowProcW(bar, message, wParam, lParam);
  const WNDPROC control = self->barProcedure_;
  const auto drawText = [&](HDC dc) {
    wchar_t text[128];
    const int length = GetWindowTextW(bar, text, 128);
    RECT area{};
    GetClientRect(bar, &area);
    const SelectedObject font(dc, self->font_.get());
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, GetSysColor(COLOR_WINDOWTEXT));
    DrawTextW(dc, text, length, &area, DT_CENTER | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX);
  };
  switch (message) {
    case WM_PAINT: {
      PAINTSTRUCT paint;
      const HDC dc = BeginPaint(bar, &paint);
      CallWindowProcW(control, bar, WM_PRINTCLIENT, reinterpret_cast<WPARAM>(dc), PRF_CLIENT);
      drawText(dc);
      EndPaint(bar, &paint);
      return 0;
    }
    case WM_PRINTCLIENT: {
      const LRESULT result = CallWindowProcW(control, bar, message, wParam, lParam);
      drawText(reinterpret_cast<HDC>(wParam));
      return result;
    }
    case WM_NCDESTROY:
      SetWindowLongPtrW(bar, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(control));
      RemovePropW(bar, kFormProperty);
      break;
    default:
      break;
  }
  return CallWindowProcW(control, bar, message, wParam, lParam);
}

}  // namespace rotalis::ui::win32

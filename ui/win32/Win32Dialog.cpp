#include "ui/win32/Win32Dialog.h"

#include <algorithm>
#include <cstring>

#include "platform/Exception.h"
#include "platform/WideText_win.h"
#include "ui/win32/Dpi.h"
#include "ui/win32/Win32Window.h"

namespace rotalis::ui::win32 {
namespace {

// DLGTEMPLATE, then empty menu, class and title: the title is set when the
// dialog opens, and without DS_SETFONT every control gets its font from us.
std::vector<WORD> EmptyTemplate(DWORD style) {
  std::vector<WORD> words((sizeof(DLGTEMPLATE) + 3 * sizeof(WORD) + 1) / sizeof(WORD), 0);
  DLGTEMPLATE header{};
  header.style = style;
  std::memcpy(words.data(), &header, sizeof header);
  return words;
}

// The system's own icons, by their resource numbers (IDI_HAND and the rest
// name them in the narrow-text spelling only).
const wchar_t* IconOf(Symbol symbol) {
  switch (symbol) {
    case Symbol::Error:
      return MAKEINTRESOURCEW(32513);
    case Symbol::Warning:
      return MAKEINTRESOURCEW(32515);
    case Symbol::Information:
      return MAKEINTRESOURCEW(32516);
    case Symbol::None:
      break;
  }
  return nullptr;
}

}  // namespace

Win32Dialog::Win32Dialog(DWORD style, std::wstring title, Symbol symbol)
    : template_(EmptyTemplate(style)), title_(std::move(title)), symbol_(symbol) {}

Win32Dialog::~Win32Dialog() {
  if (modeless_) SetWindowLongPtrW(modeless_.get(), DWLP_USER, 0);
}

INT_PTR Win32Dialog::RunModal(HWND owner) {
  modal_ = true;
  owner_ = owner;
  failure_ = nullptr;
  const INT_PTR result = DialogBoxIndirectParamW(
      GetModuleHandleW(nullptr), reinterpret_cast<const DLGTEMPLATE*>(template_.data()), owner,
      &Win32Dialog::Procedure, reinterpret_cast<LPARAM>(this));
  window_ = nullptr;
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
  if (result == -1) platform::RaiseLastError("Cannot show the dialog");
  return result;
}

void Win32Dialog::Open(HWND owner) {
  modal_ = false;
  owner_ = owner;
  failure_ = nullptr;
  const HWND window = CreateDialogIndirectParamW(
      GetModuleHandleW(nullptr), reinterpret_cast<const DLGTEMPLATE*>(template_.data()), owner,
      &Win32Dialog::Procedure, reinterpret_cast<LPARAM>(this));
  if (failure_) {
    if (window != nullptr) DestroyWindow(window);
    std::rethrow_exception(std::exchange(failure_, nullptr));
  }
  if (window == nullptr) platform::RaiseLastError("Cannot show the dialog");
  modeless_.reset(window);
  ShowWindow(window, SW_SHOW);
}

HWND Win32Dialog::AddControl(const wchar_t* windowClass, const std::wstring& text, DWORD style,
                             int id, DWORD exStyle) {
  const HWND control = CreateWindowExW(
      exStyle, windowClass, text.c_str(), WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0, window_,
      reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(nullptr), nullptr);
  if (control == nullptr) platform::RaiseLastError("Cannot create a control of the dialog");
  SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(font_.get()), FALSE);
  return control;
}

void Win32Dialog::End(INT_PTR result) {
  if (modal_) {
    EndDialog(window_, result);
  } else {
    modeless_.reset();
    window_ = nullptr;
  }
}

UINT Win32Dialog::Dpi() const { return DpiOf(window_); }

int Win32Dialog::Scaled(int value) const { return win32::Scaled(value, Dpi()); }

int Win32Dialog::ButtonWidth(HWND button) const {
  wchar_t text[256] = L"";
  const int length = GetWindowTextW(button, text, 256);
  // The ampersand of an accelerator takes no room.
  const std::wstring shown(text, static_cast<std::size_t>(length));
  std::wstring visible;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    if (shown[i] == L'&' && i + 1 < shown.size()) ++i;
    visible.push_back(shown[i]);
  }
  const int textWidth = MeasureText(font_.get(), visible).cx;
  return std::max(Scaled(kButtonMinWidth), textWidth + Scaled(2 * kDialogMargin));
}

void Win32Dialog::SetClientSize(int width, int height) {
  const LONG style = GetWindowLongW(window_, GWL_STYLE);
  const LONG exStyle = GetWindowLongW(window_, GWL_EXSTYLE);
  RECT frame{0, 0, width, height};
  AdjustFrameForDpi(frame, static_cast<DWORD>(style), static_cast<DWORD>(exStyle), Dpi());
  const RECT area = WorkAreaOf(window_);
  const int outerWidth = std::min<int>(frame.right - frame.left, area.right - area.left);
  const int outerHeight = std::min<int>(frame.bottom - frame.top, area.bottom - area.top);
  SetWindowPos(window_, nullptr, 0, 0, outerWidth, outerHeight,
               SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  if (!placed_) {
    CentreWindow(window_, owner_);
    placed_ = true;
  }
}

void Win32Dialog::LayoutMessageAndButtons(HWND message, const std::vector<HWND>& buttons) {
  const int margin = Scaled(kDialogMargin);
  const int gap = Scaled(kControlGap);
  const bool withSymbol = symbol_ != Symbol::None;
  const int symbolSize = withSymbol ? Scaled(kSymbolSize) : 0;
  const int textLeft = margin + (withSymbol ? symbolSize + 2 * gap : 0);
  if (withSymbol) {
    // The system's symbol drawn at this DPI, not stretched from 32 pixels.
    icon_.reset(static_cast<HICON>(
        LoadImageW(nullptr, IconOf(symbol_), IMAGE_ICON, symbolSize, symbolSize, LR_DEFAULTCOLOR)));
    symbolPlace_ = RECT{margin, margin, margin + symbolSize, margin + symbolSize};
  }

  std::vector<int> widths;
  int rowWidth = 0;
  for (const HWND button : buttons) {
    widths.push_back(ButtonWidth(button));
    rowWidth += widths.back() + (widths.size() > 1 ? gap : 0);
  }
  wchar_t text[2048] = L"";
  const int length = GetWindowTextW(message, text, 2048);
  const int textRoom = std::max(Scaled(kMessageWidth), rowWidth - (textLeft - margin));
  const SIZE textSize = MeasureText(font_.get(), std::wstring_view(text, length), textRoom);
  const int clientWidth = std::max<int>(textLeft + textSize.cx + margin, 2 * margin + rowWidth);
  const int topHeight = std::max<int>(symbolSize, textSize.cy);
  const int buttonHeight = Scaled(kButtonHeight);
  const int clientHeight =
      margin + topHeight + margin + (buttons.empty() ? 0 : margin + buttonHeight + margin);

  MoveWindow(message, textLeft, margin + std::max<int>(0, (symbolSize - textSize.cy) / 2),
             clientWidth - textLeft - margin, textSize.cy, TRUE);
  int left = clientWidth - margin - rowWidth;
  const int top = clientHeight - margin - buttonHeight;
  for (std::size_t i = 0; i < buttons.size(); ++i) {
    MoveWindow(buttons[i], left, top, widths[i], buttonHeight, TRUE);
    left += widths[i] + gap;
  }
  SetClientSize(clientWidth, clientHeight);
  InvalidateRect(window_, nullptr, TRUE);
}

void Win32Dialog::PaintSymbol() {
  PAINTSTRUCT paint;
  const HDC dc = BeginPaint(window_, &paint);
  if (icon_)
    DrawIconEx(dc, symbolPlace_.left, symbolPlace_.top, icon_.get(),
               symbolPlace_.right - symbolPlace_.left, symbolPlace_.bottom - symbolPlace_.top, 0,
               nullptr, DI_NORMAL);
  EndPaint(window_, &paint);
}

void Win32Dialog::SetFonts() {
  font_ = MessageFont(Dpi());
  for (HWND child = GetWindow(window_, GW_CHILD); child != nullptr;
       child = GetWindow(child, GW_HWNDNEXT))
    SendMessageW(child, WM_SETFONT, reinterpret_cast<WPARAM>(font_.get()), FALSE);
}

INT_PTR Win32Dialog::Dispatch(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      SetWindowTextW(window_, title_.c_str());
      // Without an owner (the watcher process, or the user in another
      // program) nothing would keep a window of ours that stays on top, the
      // progress form, from hiding the dialog.
      if (owner_ == nullptr)
        SetWindowPos(window_, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
      font_ = MessageFont(Dpi());
      Build();
      Layout();
      // Build chose the control with the focus.
      return FALSE;
    case WM_DPICHANGED:
      SetFonts();
      ApplySuggestedRect(window_, lParam);
      Layout();
      return TRUE;
    case WM_COMMAND:
      return Command(LOWORD(wParam), HIWORD(wParam)) ? TRUE : FALSE;
    case WM_PAINT:
      if (symbol_ == Symbol::None) return Message(message, wParam, lParam) ? TRUE : FALSE;
      PaintSymbol();
      return TRUE;
    default:
      return Message(message, wParam, lParam) ? TRUE : FALSE;
  }
}

INT_PTR CALLBACK Win32Dialog::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrW(window, DWLP_USER, lParam);
    reinterpret_cast<Win32Dialog*>(lParam)->window_ = window;
  }
  auto* self = reinterpret_cast<Win32Dialog*>(GetWindowLongPtrW(window, DWLP_USER));
  if (self == nullptr) return FALSE;
  try {
    return self->Dispatch(message, wParam, lParam);
  } catch (...) {
    // Carried out of the dialog, which ends here.
    if (!self->failure_) self->failure_ = std::current_exception();
    if (self->modal_) EndDialog(window, -1);
    return FALSE;
  }
}

}  // namespace rotalis::ui::win32

#pragma once
// The crash reporter's windows are dialogs built in code: an empty template
// in memory, the controls made at the dialog's DPI when it opens. The
// dialog manager gives what Windows users expect of a dialog: Tab between
// the controls, Enter for the default button, Esc (IDCANCEL) to leave,
// Alt+letter for a marked button. An exception in the dialog procedure is
// caught there and raised again by RunModal, outside user32's frames. For
// the files of ui/win32 only.

#include <windows.h>

#include <exception>
#include <string>
#include <vector>

#include "ui/win32/WindowHandles.h"

namespace rotalis::ui::win32 {

// Sizes of the Windows dialog layout, at 96 DPI.
inline constexpr int kDialogMargin = 11;
inline constexpr int kControlGap = 7;
inline constexpr int kButtonHeight = 23;
inline constexpr int kButtonMinWidth = 75;
inline constexpr int kSymbolSize = 32;
inline constexpr int kMessageWidth = 360;

// The system's message box symbols.
enum class Symbol { None, Error, Warning, Information };

class Win32Dialog {
 public:
  virtual ~Win32Dialog();
  Win32Dialog(const Win32Dialog&) = delete;
  Win32Dialog& operator=(const Win32Dialog&) = delete;

  // Shows the dialog modally (the owner waits) and returns what End was
  // given. Raises when the dialog cannot be shown or its procedure failed.
  INT_PTR RunModal(HWND owner);

  // Shows the dialog without waiting; it goes with this object.
  void Open(HWND owner);

  HWND Handle() const { return window_; }

 protected:
  // `symbol` is drawn left of the message (LayoutMessageAndButtons).
  Win32Dialog(DWORD style, std::wstring title, Symbol symbol = Symbol::None);

  // Makes the controls (with AddControl) when the dialog opens.
  virtual void Build() = 0;
  // Sizes the dialog and places the controls at the dialog's DPI; again
  // after a DPI change, with the fonts renewed.
  virtual void Layout() = 0;
  // A button or control command; false leaves it to the dialog manager.
  virtual bool Command(int id, int code) { return false; }
  // Any other message; false leaves it to the dialog manager.
  virtual bool Message(UINT message, WPARAM wParam, LPARAM lParam) { return false; }

  HWND AddControl(const wchar_t* windowClass, const std::wstring& text, DWORD style, int id,
                  DWORD exStyle = 0);
  // Ends a modal dialog with that result; closes a modeless one.
  void End(INT_PTR result);

  UINT Dpi() const;
  int Scaled(int value) const;
  HFONT Font() const { return font_.get(); }
  // A push button wide enough for its text (at least the usual width).
  int ButtonWidth(HWND button) const;
  // Resizes the dialog so that its client area is width x height, keeping it
  // on screen, centred over its owner (or the screen) the first time.
  void SetClientSize(int width, int height);
  // The layout of a message box: the symbol and the message on top, the
  // buttons (possibly none) in one row below, to the right, in their order.
  void LayoutMessageAndButtons(HWND message, const std::vector<HWND>& buttons);

 private:
  static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  INT_PTR Dispatch(UINT message, WPARAM wParam, LPARAM lParam);
  void SetFonts();
  void PaintSymbol();

  std::vector<WORD> template_;
  std::wstring title_;
  HWND window_ = nullptr;
  HWND owner_ = nullptr;
  bool modal_ = false;
  bool placed_ = false;
  UniqueWindow modeless_;
  UniqueFont font_;
  Symbol symbol_;
  UniqueIcon icon_;
  RECT symbolPlace_{};
  std::exception_ptr failure_;
};

}  // namespace rotalis::ui::win32

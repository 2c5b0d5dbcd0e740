#pragma once
// The crash dialog on Windows: the error symbol, the message, and the
// buttons the settings show, in their order, the focused one the default
// (Enter presses it). Esc and the close box answer with the default button,
// as the dialog's safe choice. For the files of ui/win32 only.

#include <windows.h>

#include <utility>
#include <vector>

#include "ui/CrashUi.h"
#include "ui/win32/Win32Dialog.h"

namespace rotalis::ui::win32 {

class CrashDialog : public Win32Dialog {
 public:
  explicit CrashDialog(const CrashDialogSpec& spec);

  // Modal; the button the user pressed (never a disabled one).
  CrashDialogButton Choose(HWND owner);

 private:
  void Build() override;
  void Layout() override;
  bool Command(int id, int code) override;

  const CrashDialogSpec& spec_;
  HWND message_ = nullptr;
  std::vector<std::pair<CrashDialogButton, HWND>> buttons_;
};

}  // namespace rotalis::ui::win32

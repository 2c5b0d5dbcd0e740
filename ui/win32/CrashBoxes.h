#pragma once
// The crash reporter's two small boxes on Windows: the please-wait box that
// stands while the report is built, and the simple box for errors that are
// the user's own (OK, and Details for the error text). For the files of
// ui/win32 only.

#include <windows.h>

#include <string>

#include "ui/CrashUi.h"
#include "ui/win32/Win32Dialog.h"

namespace rotalis::ui::win32 {

// No buttons and no close box: it goes when the work is done.
class PleaseWaitBox : public Win32Dialog {
 public:
  PleaseWaitBox(const std::string& title, const std::string& text);
  // Shows it and paints it at once: nothing runs the message loop while the
  // report is built.
  void ShowNow(HWND owner);

 private:
  void Build() override;
  void Layout() override;

  std::wstring text_;
  HWND message_ = nullptr;
};

class SimpleBox : public Win32Dialog {
 public:
  explicit SimpleBox(const SimpleBoxSpec& spec);

 private:
  void Build() override;
  void Layout() override;
  bool Command(int id, int code) override;

  const SimpleBoxSpec& spec_;
  HWND message_ = nullptr;
  HWND ok_ = nullptr;
  HWND details_ = nullptr;
};

}  // namespace rotalis::ui::win32

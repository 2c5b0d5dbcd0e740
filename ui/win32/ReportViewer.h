#pragma once
// The bug report shown to the user who asks for it: the text read-only in a
// fixed-pitch font with both scroll bars, in a window that can be resized and
// maximised, closed with OK, Enter or Esc. For the files of ui/win32 only.

#include <windows.h>

#include <string>

#include "ui/win32/Win32Dialog.h"

namespace rotalis::ui::win32 {

class ReportViewer : public Win32Dialog {
 public:
  ReportViewer(const std::string& title, const std::string& report);

 private:
  void Build() override;
  void Layout() override;
  bool Command(int id, int code) override;
  bool Message(UINT message, WPARAM wParam, LPARAM lParam) override;
  void PlaceControls();

  std::wstring report_;
  HWND text_ = nullptr;
  HWND ok_ = nullptr;
  UniqueFont textFont_;
  bool sized_ = false;
};

}  // namespace rotalis::ui::win32

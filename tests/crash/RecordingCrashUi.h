#pragma once
// A crash user interface that shows nothing: it writes what would be shown to
// standard output, one line each, and answers the crash dialog with the next
// of a list of choices, so that a test can run the real crash reporter in a
// child process and read what the user would have seen.

#include <deque>
#include <memory>
#include <string>

#include "ui/CrashUi.h"

namespace rotalis::test {

inline constexpr const char* kStandInScreenshot = "\x89PNG\r\n\x1a\n stand-in screen";

class RecordingCrashUi : public ui::CrashUi {
 public:
  // choices: "show", "continue", "restart", "close", comma-separated; when
  // they run out, the focused button is taken. `pleaseWait`, when given,
  // also shows the please-wait box (a desktop one, which runs its event loop).
  explicit RecordingCrashUi(const std::string& choices,
                            std::unique_ptr<ui::CrashUi> pleaseWait = nullptr);

  void ShowPleaseWait(const std::string& title, const std::string& text) override;
  void HidePleaseWait() override;
  ui::CrashDialogButton ShowCrashDialog(const ui::CrashDialogSpec& spec) override;
  void ShowReport(const std::string& title, const std::string& report) override;
  void ShowSimpleBox(const ui::SimpleBoxSpec& spec) override;
  std::string CaptureScreenPng(int bitsPerPixel) override;

 private:
  std::deque<std::string> choices_;
  std::unique_ptr<ui::CrashUi> pleaseWait_;
};

}  // namespace rotalis::test

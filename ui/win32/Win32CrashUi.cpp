#include <windows.h>

#include <memory>

#include "platform/FileSystem.h"
#include "ui/win32/CrashBoxes.h"
#include "ui/win32/CrashDialog.h"
#include "ui/win32/ReportViewer.h"
#include "ui/win32/ScreenCapture.h"
#include "ui/win32/WicPng.h"
#include "ui/win32/Win32Backend.h"

namespace rotalis::ui::win32 {
namespace {

// The crash reporter's windows belong to the window the user worked in, so
// that they stay in front of it and it waits for them; the watcher process
// has none and shows them on their own.
HWND Owner() { return GetActiveWindow(); }

class Win32CrashUi : public CrashUi {
 public:
  void ShowPleaseWait(const std::string& title, const std::string& text) override {
    pleaseWait_ = std::make_unique<PleaseWaitBox>(title, text);
    pleaseWait_->ShowNow(Owner());
  }

  void HidePleaseWait() override { pleaseWait_.reset(); }

  CrashDialogButton ShowCrashDialog(const CrashDialogSpec& spec) override {
    return CrashDialog(spec).Choose(Owner());
  }

  void ShowReport(const std::string& title, const std::string& report) override {
    ReportViewer(title, report).RunModal(Owner());
  }

  void ShowSimpleBox(const SimpleBoxSpec& spec) override { SimpleBox(spec).RunModal(Owner()); }

  // A screenshot that cannot be made must not keep the report from being
  // written: the report goes without it.
  std::string CaptureScreenPng(int bitsPerPixel) override {
    try {
      return EncodePng(CaptureVirtualScreen(), bitsPerPixel);
    } catch (const std::exception&) {
      return {};
    }
  }

 private:
  std::unique_ptr<PleaseWaitBox> pleaseWait_;
};

}  // namespace

std::unique_ptr<CrashUi> CreateWin32CrashUi() { return std::make_unique<Win32CrashUi>(); }

bool SaveCrashDialogImage(const CrashDialogSpec& spec, const std::string& pngPath) {
  CrashDialog dialog(spec);
  dialog.Open(nullptr);
  const std::string png = EncodePng(CaptureWindow(dialog.Handle()), 24);
  if (png.empty()) return false;
  platform::WriteFileBytes(pngPath, png);
  return true;
}

}  // namespace rotalis::ui::win32

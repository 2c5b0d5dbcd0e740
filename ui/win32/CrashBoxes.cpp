#include "ui/win32/CrashBoxes.h"

#include "platform/WideText_win.h"
#include "ui/win32/Win32Window.h"

namespace rotalis::ui::win32 {
namespace {

constexpr int kDetailsId = 101;

}  // namespace

PleaseWaitBox::PleaseWaitBox(const std::string& title, const std::string& text)
    : Win32Dialog(WS_POPUP | WS_CAPTION | DS_MODALFRAME, platform::WideFromUtf8(title),
                  Symbol::Information),
      text_(platform::WideFromUtf8(text)) {}

void PleaseWaitBox::ShowNow(HWND owner) {
  Open(owner);
  PaintNow(Handle());
}

void PleaseWaitBox::Build() { message_ = AddControl(L"STATIC", text_, SS_LEFT | SS_NOPREFIX, -1); }

void PleaseWaitBox::Layout() { LayoutMessageAndButtons(message_, {}); }

SimpleBox::SimpleBox(const SimpleBoxSpec& spec)
    : Win32Dialog(WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME | DS_SETFOREGROUND,
                  platform::WideFromUtf8(spec.title), Symbol::Warning),
      spec_(spec) {}

void SimpleBox::Build() {
  message_ =
      AddControl(L"STATIC", platform::WideFromUtf8(spec_.message), SS_LEFT | SS_NOPREFIX, -1);
  // The texts carry their own accelerators ("&OK", "&Details").
  ok_ = AddControl(L"BUTTON", platform::WideFromUtf8(spec_.okText), WS_TABSTOP | BS_DEFPUSHBUTTON,
                   IDOK);
  details_ = AddControl(L"BUTTON", platform::WideFromUtf8(spec_.detailsText),
                        WS_TABSTOP | BS_PUSHBUTTON, kDetailsId);
  SendMessageW(Handle(), DM_SETDEFID, IDOK, 0);
  SendMessageW(Handle(), WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(ok_), TRUE);
}

void SimpleBox::Layout() { LayoutMessageAndButtons(message_, {ok_, details_}); }

bool SimpleBox::Command(int id, int code) {
  switch (id) {
    case IDOK:
    case IDCANCEL:
      End(IDOK);
      return true;
    case kDetailsId:
      // The details in a box of their own; the simple box stays for OK.
      MessageBoxW(Handle(), platform::WideFromUtf8(spec_.details).c_str(),
                  platform::WideFromUtf8(spec_.title).c_str(), MB_OK | MB_ICONINFORMATION);
      return true;
    default:
      return false;
  }
}

}  // namespace rotalis::ui::win32

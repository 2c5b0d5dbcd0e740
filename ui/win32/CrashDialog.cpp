#include "ui/win32/CrashDialog.h"

#include "platform/WideText_win.h"

namespace rotalis::ui::win32 {
namespace {

constexpr int kFirstButtonId = 100;

int IdOf(CrashDialogButton button) { return kFirstButtonId + static_cast<int>(button); }

}  // namespace

CrashDialog::CrashDialog(const CrashDialogSpec& spec)
    : Win32Dialog(WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME | DS_SETFOREGROUND,
                  platform::WideFromUtf8(spec.title), Symbol::Error),
      spec_(spec) {}

CrashDialogButton CrashDialog::Choose(HWND owner) {
  return static_cast<CrashDialogButton>(RunModal(owner) - kFirstButtonId);
}

void CrashDialog::Build() {
  message_ =
      AddControl(L"STATIC", platform::WideFromUtf8(spec_.message), SS_LEFT | SS_NOPREFIX, -1);
  HWND focused = nullptr;
  for (const auto& button : spec_.buttons) {
    const bool isDefault = button.id == spec_.focused;
    const HWND push =
        AddControl(L"BUTTON", platform::WideFromUtf8(button.text),
                   WS_TABSTOP | (isDefault ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON), IdOf(button.id));
    // After a crash the process cannot survive there is nothing to continue.
    if (button.id == CrashDialogButton::ContinueApplication && !spec_.canContinue)
      EnableWindow(push, FALSE);
    if (isDefault) focused = push;
    buttons_.emplace_back(button.id, push);
  }
  if (focused == nullptr) return;
  SendMessageW(Handle(), DM_SETDEFID, static_cast<WPARAM>(IdOf(spec_.focused)), 0);
  if (IsWindowEnabled(focused))
    SendMessageW(Handle(), WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(focused), TRUE);
}

void CrashDialog::Layout() {
  std::vector<HWND> row;
  for (const auto& [id, push] : buttons_) row.push_back(push);
  LayoutMessageAndButtons(message_, row);
}

bool CrashDialog::Command(int id, int code) {
  if (id == IDCANCEL) {
    End(IdOf(spec_.focused));
    return true;
  }
  for (const auto& [button, push] : buttons_) {
    if (id != IdOf(button)) continue;
    // Enter reaches even a disabled default button through the dialog
    // manager; it does nothing.
    if (code == BN_CLICKED && IsWindowEnabled(push)) End(id);
    return true;
  }
  return false;
}

}  // namespace rotalis::ui::win32

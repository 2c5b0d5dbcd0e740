#include "ui/win32/ReportViewer.h"

#include "platform/WideText_win.h"
#include "ui/win32/Dpi.h"

namespace rotalis::ui::win32 {
namespace {

constexpr int kWidth = 900;
constexpr int kHeight = 500;
constexpr int kMinimumWidth = 300;
constexpr int kMinimumHeight = 200;

// An edit control breaks lines at CR LF only.
std::wstring WithWindowsLineBreaks(const std::wstring& text) {
  std::wstring converted;
  converted.reserve(text.size() + text.size() / 32);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == L'\n' && (i == 0 || text[i - 1] != L'\r')) converted.push_back(L'\r');
    converted.push_back(text[i]);
  }
  return converted;
}

}  // namespace

ReportViewer::ReportViewer(const std::string& title, const std::string& report)
    : Win32Dialog(
          WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_THICKFRAME | WS_MAXIMIZEBOX | DS_MODALFRAME,
          platform::WideFromUtf8(title)),
      report_(WithWindowsLineBreaks(platform::WideFromUtf8(report))) {}

void ReportViewer::Build() {
  text_ = AddControl(L"EDIT", L"",
                     ES_MULTILINE | ES_READONLY | ES_AUTOVSCROLL | ES_AUTOHSCROLL | WS_VSCROLL |
                         WS_HSCROLL | WS_TABSTOP,
                     100, WS_EX_CLIENTEDGE);
  // A report of many stack frames is longer than an edit control takes by
  // default.
  SendMessageW(text_, EM_SETLIMITTEXT, 0, 0);
  SetWindowTextW(text_, report_.c_str());
  ok_ = AddControl(L"BUTTON", L"&OK", WS_TABSTOP | BS_DEFPUSHBUTTON, IDOK);
  SendMessageW(Handle(), DM_SETDEFID, IDOK, 0);
  // The text has the focus for the arrow keys, without the selection the
  // dialog manager gives an edit control it moves to.
  SendMessageW(Handle(), WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(text_), TRUE);
  SendMessageW(text_, EM_SETSEL, 0, 0);
}

void ReportViewer::Layout() {
  textFont_ = MonospaceFont(Dpi());
  SendMessageW(text_, WM_SETFONT, reinterpret_cast<WPARAM>(textFont_.get()), TRUE);
  if (!sized_) {
    sized_ = true;
    SetClientSize(Scaled(kWidth), Scaled(kHeight));
  }
  PlaceControls();
}

void ReportViewer::PlaceControls() {
  RECT client{};
  GetClientRect(Handle(), &client);
  const int margin = Scaled(kDialogMargin);
  const int buttonWidth = ButtonWidth(ok_);
  const int buttonHeight = Scaled(kButtonHeight);
  const int buttonTop = client.bottom - margin - buttonHeight;
  MoveWindow(text_, margin, margin, client.right - 2 * margin, buttonTop - 2 * margin, TRUE);
  MoveWindow(ok_, client.right - margin - buttonWidth, buttonTop, buttonWidth, buttonHeight, TRUE);
}

bool ReportViewer::Command(int id, int code) {
  if (id != IDOK && id != IDCANCEL) return false;
  End(id);
  return true;
}

bool ReportViewer::Message(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_SIZE:
      if (text_ != nullptr) PlaceControls();
      return true;
    case WM_GETMINMAXINFO: {
      auto* limits = reinterpret_cast<MINMAXINFO*>(lParam);
      limits->ptMinTrackSize = POINT{Scaled(kMinimumWidth), Scaled(kMinimumHeight)};
      return true;
    }
    default:
      return false;
  }
}

}  // namespace rotalis::ui::win32

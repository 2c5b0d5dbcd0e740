// The crash reporter's windows on Windows, opened as the reporter opens them
// and answered from a second thread the way a user would (mouse, Enter,
// Esc); what they show is read back through the Windows API. Runs under Wine
// with Xvfb; skips without a display.

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <utility>

#include "crash/CrashReporter.h"
#include "platform/Environment.h"
#include "tests/support/PngHeader.h"
#include "tests/ui/Win32Windows.h"
#include "ui/CrashUi.h"

namespace rotalis::ui {
namespace {

using test::AsUser;
using test::ChildrenOf;
using test::Click;
using test::PressKey;
using test::StyleOf;
using test::TextOfChildren;
using test::WindowText;

constexpr const wchar_t* kDialogClass = L"#32770";

struct Win32CrashUiFixture : ::testing::Test {
  void SetUp() override {
    if (platform::GetEnvironment("DISPLAY").value_or("").empty()) GTEST_SKIP() << "no display";
    ui = CreateCrashUi(BackendKind::Desktop);
  }
  std::unique_ptr<CrashUi> ui;
};

// The buttons as shown, in order: "-" marks a disabled one, "*" the one drawn
// as the default; then the one Enter presses.
std::wstring ButtonsOf(HWND dialog) {
  std::wstring shown;
  for (const HWND button : ChildrenOf(dialog, L"Button")) {
    if (!shown.empty()) shown += L", ";
    if (!IsWindowEnabled(button)) shown += L"-";
    if ((StyleOf(button) & BS_TYPEMASK) == BS_DEFPUSHBUTTON) shown += L"*";
    shown += WindowText(button);
  }
  const int enter = LOWORD(SendMessageW(dialog, DM_GETDEFID, 0, 0));
  return shown + L"; Enter: " + WindowText(GetDlgItem(dialog, enter));
}

// What each crash dialog shows and which answer the user's way out of it
// gives: Enter presses the default button, a disabled button does nothing,
// Esc answers with the focused one (the close box reaches the dialog as the
// same cancel command).
TEST_F(Win32CrashUiFixture, CrashDialogShowsItsButtonsAndAnswersAsTheUserLeavesIt) {
  struct Row {
    const char* what;
    bool canContinue;
    bool withReportButton;
    CrashDialogButton focused;
    void (*leave)(HWND dialog);
    std::wstring buttons;
    CrashDialogButton chosen;
  };
  const Row rows[] = {
      {"Enter", true, true, CrashDialogButton::CloseApplication,
       [](HWND dialog) { PressKey(dialog, VK_RETURN); },
       L"show bug report, continue application, restart application, *close application; "
       L"Enter: close application",
       CrashDialogButton::CloseApplication},
      {"clicks after a fatal error", false, false, CrashDialogButton::CloseApplication,
       [](HWND dialog) {
         const auto pushes = ChildrenOf(dialog, L"Button");
         Click(pushes[0]);
         Click(pushes[1]);
       },
       L"-continue application, restart application, *close application; "
       L"Enter: close application",
       CrashDialogButton::RestartApplication},
      {"Esc", true, true, CrashDialogButton::RestartApplication,
       [](HWND dialog) { PressKey(dialog, VK_ESCAPE); },
       L"show bug report, continue application, *restart application, close application; "
       L"Enter: restart application",
       CrashDialogButton::RestartApplication},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    CrashDialogSpec spec =
        crash::CrashDialogSpecFor(crash::TCrashSettings{}, "rotalis",
                                  "rotalis::Exception: JSON inv\xC3\xA1lido", row.canContinue);
    if (!row.withReportButton) spec.buttons.erase(spec.buttons.begin());
    spec.focused = row.focused;
    std::wstring buttons, message;
    const CrashDialogButton chosen = AsUser(
        kDialogClass, L"rotalis",
        [&](HWND dialog) {
          buttons = ButtonsOf(dialog);
          message = TextOfChildren(dialog, L"Static");
          row.leave(dialog);
        },
        [&] { return ui->ShowCrashDialog(spec); });
    EXPECT_EQ(buttons, row.buttons);
    EXPECT_EQ(message, L"An error occurred in the application.");
    EXPECT_EQ(chosen, row.chosen);
  }
}

TEST_F(Win32CrashUiFixture, ReportIsShownReadOnlyInAFixedPitchFontWithScrollBars) {
  std::wstring text;
  LONG style = 0;
  bool fixedPitch = false;
  AsUser(
      kDialogClass, L"rotalis",
      [&](HWND viewer) {
        const auto edits = ChildrenOf(viewer, L"Edit");
        if (edits.size() != 1) return;
        text = WindowText(edits[0]);
        style = StyleOf(edits[0]);
        LOGFONTW font{};
        GetObjectW(reinterpret_cast<HFONT>(SendMessageW(edits[0], WM_GETFONT, 0, 0)), sizeof font,
                   &font);
        fixedPitch = (font.lfPitchAndFamily & 3) == FIXED_PITCH;
        Click(ChildrenOf(viewer, L"Button").at(0));
      },
      [&] {
        ui->ShowReport("rotalis", "Exce\xC3\xA7\xC3\xA3o: JSON inv\xC3\xA1lido\n#0 main\n");
        return 0;
      });
  EXPECT_EQ(text, L"Exce\u00e7\u00e3o: JSON inv\u00e1lido\r\n#0 main\r\n");
  EXPECT_EQ(style & (ES_READONLY | ES_MULTILINE | WS_VSCROLL | WS_HSCROLL),
            ES_READONLY | ES_MULTILINE | WS_VSCROLL | WS_HSCROLL);
  EXPECT_TRUE(fixedPitch);
}

TEST_F(Win32CrashUiFixture, SimpleBoxShowsTheDetailsOnRequestAndEndsWithOk) {
  const SimpleBoxSpec spec{"rotalis", "Valor inv\xC3\xA1lido", "&OK", "&Details",
                           "EDBEditError: Valor inv\xC3\xA1lido"};
  std::wstring buttons, details;
  AsUser(
      kDialogClass, L"rotalis",
      [&](HWND box) {
        buttons = TextOfChildren(box, L"Button");
        const auto pushes = ChildrenOf(box, L"Button");
        if (pushes.size() != 2) return;
        // The details come in a second box of the same title, owned by the
        // first.
        PostMessageW(pushes[1], BM_CLICK, 0, 0);
        const HWND second = test::WaitForOwnedWindow(box, kDialogClass, L"rotalis");
        if (second == nullptr) return;
        details = TextOfChildren(second, L"Static");
        PostMessageW(second, WM_COMMAND, IDOK, 0);
        while (IsWindow(second)) Sleep(20);
        Click(pushes[0]);
      },
      [&] {
        ui->ShowSimpleBox(spec);
        return 0;
      });
  EXPECT_EQ(buttons, L"&OK&Details");
  EXPECT_NE(details.find(L"EDBEditError: Valor inv\u00e1lido"), std::wstring::npos) << details;
}

TEST_F(Win32CrashUiFixture, PleaseWaitBoxStandsWithoutButtonsUntilHidden) {
  ui->ShowPleaseWait("Information", "Please wait a moment...");
  const HWND box = FindWindowW(kDialogClass, L"Information");
  ASSERT_NE(box, nullptr);
  EXPECT_TRUE(IsWindowVisible(box));
  EXPECT_TRUE(ChildrenOf(box, L"Button").empty());
  EXPECT_EQ(StyleOf(box) & WS_SYSMENU, 0) << "no close box";
  ui->HidePleaseWait();
  EXPECT_FALSE(IsWindow(box));
}

// 8 bits a pixel makes a palette image (its palette before the pixels), 24
// an RGB one; both of the whole screen.
TEST_F(Win32CrashUiFixture, ScreenshotIsTheWholeScreenInTheDepthAskedFor) {
  for (const auto& [bits, colourType] : {std::pair{8, 3}, std::pair{24, 2}}) {
    SCOPED_TRACE(bits);
    const std::string png = ui->CaptureScreenPng(bits);
    const test::PngHeader header = test::ReadPngHeader(png);
    ASSERT_TRUE(header.valid) << "no PNG signature and IHDR chunk";
    EXPECT_EQ(header.width, static_cast<std::uint32_t>(GetSystemMetrics(SM_CXVIRTUALSCREEN)));
    EXPECT_EQ(header.height, static_cast<std::uint32_t>(GetSystemMetrics(SM_CYVIRTUALSCREEN)));
    EXPECT_EQ(header.bitDepth, 8);
    EXPECT_EQ(header.colourType, colourType);
    if (colourType == 3) {
      EXPECT_LT(png.find("PLTE"), png.find("IDAT"));
    }
  }
}

}  // namespace
}  // namespace rotalis::ui

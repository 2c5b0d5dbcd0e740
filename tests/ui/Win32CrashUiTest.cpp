// The crash reporter's windows on Windows, opened as the reporter opens them
// and answered from a second thread the way a user would (mouse, Enter,
// Esc); what they show is read back through the Windows API. Runs under Wine
// with Xvfb; skips without a display.

#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <functional>
#include <thread>

#include "crash/CrashReporter.h"
#include "platform/Environment.h"
#include "tests/support/PngHeader.h"
#include "tests/ui/Win32Windows.h"
#include "ui/CrashUi.h"

namespace rotalis::ui {
namespace {

using test::ChildrenOf;
using test::Click;
using test::PressKey;
using test::StyleOf;
using test::WaitForVisibleWindow;
using test::WindowText;

constexpr const wchar_t* kDialogClass = L"#32770";

struct Win32CrashUiFixture : ::testing::Test {
  void SetUp() override {
    if (platform::GetEnvironment("DISPLAY").value_or("").empty()) GTEST_SKIP() << "no display";
    ui = CreateCrashUi(BackendKind::Desktop);
  }

  // `user` runs on a thread of its own while this one waits in `modal`.
  template <class Modal>
  auto WithUser(std::function<void()> user, Modal modal) {
    std::thread other(std::move(user));
    struct Join {
      std::thread& thread;
      ~Join() { thread.join(); }
    } join{other};
    return modal();
  }

  static CrashDialogSpec Spec(bool canContinue) {
    return crash::CrashDialogSpecFor(crash::TCrashSettings{}, "rotalis",
                                     "rotalis::Exception: JSON inv\xC3\xA1lido", canContinue);
  }

  std::unique_ptr<CrashUi> ui;
};

struct ButtonState {
  std::wstring text;
  bool enabled = false;
  bool defaultStyle = false;
  int id = 0;
};

std::vector<ButtonState> ButtonsOf(HWND dialog) {
  std::vector<ButtonState> buttons;
  for (const HWND button : ChildrenOf(dialog, L"Button")) {
    buttons.push_back({WindowText(button), IsWindowEnabled(button) != FALSE,
                       (StyleOf(button) & BS_TYPEMASK) == BS_DEFPUSHBUTTON, GetDlgCtrlID(button)});
  }
  return buttons;
}

TEST_F(Win32CrashUiFixture, CrashDialogShowsTheSettingsButtonsInOrderAndEnterPressesTheDefault) {
  std::vector<ButtonState> buttons;
  std::wstring message;
  int defaultId = -1;
  const CrashDialogSpec spec = Spec(true);
  const CrashDialogButton chosen = WithUser(
      [&] {
        const HWND dialog = WaitForVisibleWindow(kDialogClass, L"rotalis");
        if (dialog == nullptr) return;
        buttons = ButtonsOf(dialog);
        for (const HWND label : ChildrenOf(dialog, L"Static")) message += WindowText(label);
        defaultId = LOWORD(SendMessageW(dialog, DM_GETDEFID, 0, 0));
        PressKey(dialog, VK_RETURN);
      },
      [&] { return ui->ShowCrashDialog(spec); });

  ASSERT_EQ(buttons.size(), 4u);
  const wchar_t* texts[] = {L"show bug report", L"continue application", L"restart application",
                            L"close application"};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(buttons[i].text, texts[i]);
    EXPECT_TRUE(buttons[i].enabled) << i;
    EXPECT_EQ(buttons[i].defaultStyle, i == 3) << i;
  }
  EXPECT_EQ(defaultId, buttons[3].id);
  EXPECT_EQ(message, L"An error occurred in the application.");
  EXPECT_EQ(chosen, CrashDialogButton::CloseApplication);
}

TEST_F(Win32CrashUiFixture, HiddenButtonsAreAbsentAndContinueIsDisabledAfterAFatalError) {
  CrashDialogSpec spec = Spec(false);
  spec.buttons.erase(spec.buttons.begin());  // "show bug report" hidden
  std::vector<ButtonState> buttons;
  const CrashDialogButton chosen = WithUser(
      [&] {
        const HWND dialog = WaitForVisibleWindow(kDialogClass, L"rotalis");
        if (dialog == nullptr) return;
        buttons = ButtonsOf(dialog);
        const auto pushes = ChildrenOf(dialog, L"Button");
        Click(pushes[0]);  // disabled: nothing happens
        Click(pushes[1]);
      },
      [&] { return ui->ShowCrashDialog(spec); });
  ASSERT_EQ(buttons.size(), 3u);
  EXPECT_EQ(buttons[0].text, L"continue application");
  EXPECT_FALSE(buttons[0].enabled);
  EXPECT_TRUE(buttons[1].enabled);
  EXPECT_EQ(chosen, CrashDialogButton::RestartApplication);
}

TEST_F(Win32CrashUiFixture, EscapeAndTheCloseBoxAnswerWithTheDefaultButton) {
  CrashDialogSpec spec = Spec(true);
  spec.focused = CrashDialogButton::RestartApplication;
  const auto answer = [&](std::function<void(HWND)> leave) {
    return WithUser(
        [&] {
          if (const HWND dialog = WaitForVisibleWindow(kDialogClass, L"rotalis")) leave(dialog);
        },
        [&] { return ui->ShowCrashDialog(spec); });
  };
  EXPECT_EQ(answer([](HWND dialog) { PressKey(dialog, VK_ESCAPE); }),
            CrashDialogButton::RestartApplication);
  EXPECT_EQ(answer([](HWND dialog) { PostMessageW(dialog, WM_CLOSE, 0, 0); }),
            CrashDialogButton::RestartApplication);
}

TEST_F(Win32CrashUiFixture, ReportIsShownReadOnlyInAFixedPitchFontWithScrollBars) {
  std::wstring text;
  LONG style = 0;
  bool fixedPitch = false;
  WithUser(
      [&] {
        const HWND viewer = WaitForVisibleWindow(kDialogClass, L"rotalis");
        if (viewer == nullptr) return;
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
  std::vector<std::wstring> buttons;
  std::wstring details;
  WithUser(
      [&] {
        const HWND box = WaitForVisibleWindow(kDialogClass, L"rotalis");
        if (box == nullptr) return;
        const auto pushes = ChildrenOf(box, L"Button");
        for (const HWND push : pushes) buttons.push_back(WindowText(push));
        if (pushes.size() != 2) return;
        // The details come in a second box of the same title, owned by the
        // first.
        PostMessageW(pushes[1], BM_CLICK, 0, 0);
        const HWND second = test::WaitForOwnedWindow(box, kDialogClass, L"rotalis");
        if (second == nullptr) return;
        for (const HWND label : ChildrenOf(second, L"Static")) details += WindowText(label);
        PostMessageW(second, WM_COMMAND, IDOK, 0);
        while (IsWindow(second)) Sleep(20);
        Click(pushes[0]);
      },
      [&] {
        ui->ShowSimpleBox(spec);
        return 0;
      });
  EXPECT_EQ(buttons, (std::vector<std::wstring>{L"&OK", L"&Details"}));
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

TEST_F(Win32CrashUiFixture, ScreenshotIsTheWholeScreenAsAPaletteImage) {
  const std::string png = ui->CaptureScreenPng(8);
  const test::PngHeader header = test::ReadPngHeader(png);
  ASSERT_TRUE(header.valid) << "no PNG signature and IHDR chunk";
  EXPECT_EQ(header.width, static_cast<std::uint32_t>(GetSystemMetrics(SM_CXVIRTUALSCREEN)));
  EXPECT_EQ(header.height, static_cast<std::uint32_t>(GetSystemMetrics(SM_CYVIRTUALSCREEN)));
  EXPECT_EQ(header.bitDepth, 8);
  EXPECT_EQ(header.colourType, 3);  // palette
  const auto palette = png.find("PLTE");
  ASSERT_NE(palette, std::string::npos);
  EXPECT_LT(palette, png.find("IDAT"));

  const test::PngHeader colour = test::ReadPngHeader(ui->CaptureScreenPng(24));
  ASSERT_TRUE(colour.valid);
  EXPECT_EQ(colour.bitDepth, 8);
  EXPECT_EQ(colour.colourType, 2);  // RGB
}

}  // namespace
}  // namespace rotalis::ui

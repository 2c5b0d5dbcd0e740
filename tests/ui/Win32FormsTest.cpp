// The Windows backend's forms and message loop as Windows itself reports
// them: places, texts and the progress bar's state are read back through the
// Windows API. Runs under Wine with Xvfb; skips without a display.

#include <gtest/gtest.h>

#include <windows.h>

#include <commctrl.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "platform/Environment.h"
#include "tests/ui/Win32Windows.h"
#include "ui/Backend.h"

namespace rotalis::ui {
namespace {

using test::ChildrenOf;
using test::StyleOf;
using test::TextOfChildren;
using test::WindowText;

struct Win32Fixture : ::testing::Test {
  void SetUp() override {
    if (platform::GetEnvironment("DISPLAY").value_or("").empty()) GTEST_SKIP() << "no display";
    ASSERT_EQ(ChooseBackend(), BackendKind::Desktop);
    app = CreateApplication(BackendKind::Desktop);
  }
  // The window of a form just built: there, and hidden.
  static HWND Built(const wchar_t* title) {
    const HWND form = FindWindowW(nullptr, title);
    EXPECT_NE(form, nullptr) << "no window";
    EXPECT_FALSE(IsWindowVisible(form)) << "built hidden";
    return form;
  }
  void MainForm() { app->SetMainForm(&app->CreateForm({"FprinciRotalis", "Rotalis", "", 0, 0})); }
  std::unique_ptr<Application> app;
};

TEST_F(Win32Fixture, ProgressFormIsCentredOnTheScreenAndItsBarFollowsThePositionAndTheBytes) {
  ProgressForm& progress = app->CreateProgressForm({"fAguarde", "Atualizando ...", 400, 150, 3});
  const HWND form = Built(L"Atualizando ...");
  ASSERT_NE(form, nullptr);
  RECT place{};
  GetWindowRect(form, &place);
  MONITORINFO monitor{};
  monitor.cbSize = sizeof monitor;
  GetMonitorInfoW(MonitorFromWindow(form, MONITOR_DEFAULTTONEAREST), &monitor);
  EXPECT_NEAR(place.left + place.right, monitor.rcWork.left + monitor.rcWork.right, 1);
  EXPECT_NEAR(place.top + place.bottom, monitor.rcWork.top + monitor.rcWork.bottom, 1);

  const auto bars = ChildrenOf(form, PROGRESS_CLASSW);
  ASSERT_EQ(bars.size(), 1u);
  const HWND bar = bars[0];
  PBRANGE range{};
  SendMessageW(bar, PBM_GETRANGE, FALSE, reinterpret_cast<LPARAM>(&range));
  EXPECT_EQ(range.iHigh, 3);
  const auto expectBar = [&](LRESULT position, const wchar_t* text) {
    EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), position);
    EXPECT_EQ(WindowText(bar), text);
  };
  progress.Show();
  EXPECT_TRUE(IsWindowVisible(form));
  progress.SetPosition(progress.Position() + 1);
  progress.SetPosition(progress.Position() + 1);
  expectBar(2, L"2 / 3");
  // The bytes of file 2 show on the bar; the bar still counts files.
  progress.SetTransferProgress(1536 * 1024, 4096 * 1024);
  expectBar(2, L"2 / 3 \u2014 1536 of 4096 KiB");
  progress.SetTransferProgress(700 * 1024, 0);
  expectBar(2, L"2 / 3 \u2014 700 KiB");
  progress.SetPosition(7);
  expectBar(3, L"3 / 3");  // a new step forgets the bytes of the last file
  progress.SetPosition(-1);
  EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), 0);
  progress.Close();
  EXPECT_FALSE(IsWindowVisible(form));
}

// The waiting form can be closed by the user (giving up the wait: that
// Closed says so and nothing else ends, the application suite checks through
// the same WM_CLOSE); its text follows what it is told, accents included.
TEST_F(Win32Fixture, WaitFormIsAWindowTheUserCanCloseAndSaysSo) {
  WaitForm& wait = app->CreateWaitForm({"fEsperaAtualizacao", "Atualiza\xC3\xA7\xC3\xA3o",
                                        "Aguardando o computador CAIXA-02.", 0, 0});
  const HWND form = Built(L"Atualiza\u00e7\u00e3o");
  ASSERT_NE(form, nullptr);
  EXPECT_EQ(StyleOf(form) & WS_SYSMENU, WS_SYSMENU) << "a close box";
  EXPECT_EQ(TextOfChildren(form, L"Static"), L"Aguardando o computador CAIXA-02.");
  const auto bars = ChildrenOf(form, PROGRESS_CLASSW);
  ASSERT_EQ(bars.size(), 1u);
  EXPECT_EQ(StyleOf(bars[0]) & PBS_MARQUEE, PBS_MARQUEE);

  wait.Show();
  EXPECT_TRUE(IsWindowVisible(form));
  wait.SetText("T\xC3\xA9rmino em RECEP\xC3\x87\xC3\x83O.");
  EXPECT_EQ(TextOfChildren(form, L"Static"), L"T\u00e9rmino em RECEP\u00c7\u00c3O.");
  PostMessageW(form, WM_CLOSE, 0, 0);
  app->ProcessMessages();
  EXPECT_FALSE(IsWindowVisible(form));
}

// Closing it, by the user or by Close, is one WM_CLOSE: the application
// suite checks that it ends the loop.
TEST_F(Win32Fixture, MainFormShowsItsCaptionAndTextInUtf16) {
  app->CreateForm({"FprinciRotalis", "Rotalis",
                   "M\xC3\xB3"
                   "dulo carregado.\nInstala\xC3\xA7\xC3\xA3o verificada.",
                   720, 420});
  const HWND form = Built(L"Rotalis");
  ASSERT_NE(form, nullptr);
  EXPECT_EQ(TextOfChildren(form, L"Static"),
            L"RotalisM\u00f3dulo carregado.\nInstala\u00e7\u00e3o verificada.");
}

TEST_F(Win32Fixture, TaskPostedFromAnotherThreadWakesTheWaitingLoop) {
  MainForm();
  DWORD ranOn = 0;
  std::thread poster([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    app->Post([&] {
      ranOn = GetCurrentThreadId();
      app->Terminate();
    });
  });
  app->Run();
  poster.join();
  EXPECT_EQ(ranOn, GetCurrentThreadId());
}

// Modal loops (message boxes, dialogs, a package's own) hand every message
// to DispatchMessageW, which drops the thread message that wakes our loop; a
// task posted meanwhile must still run once the modal loop is over.
TEST_F(Win32Fixture, TaskPostedDuringAModalLoopIsNotLost) {
  MainForm();
  std::atomic<bool> laterTaskRan = false;
  std::atomic<bool> rescued = false;
  app->Post([&] {
    std::thread([&] {
      app->Post([&] {
        laterTaskRan = true;
        app->Terminate();
      });
    }).join();
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
  });
  // Should the loop sleep on regardless, wake it after a while, so that the
  // test fails instead of hanging.
  std::thread watchdog([&] {
    for (int waited = 0; waited < 50 && !laterTaskRan; ++waited)
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (!laterTaskRan) {
      rescued = true;
      app->Terminate();
    }
  });
  app->Run();
  watchdog.join();
  EXPECT_TRUE(laterTaskRan);
  EXPECT_FALSE(rescued) << "the task waited for an unrelated message";
}

TEST_F(Win32Fixture, MessageBoxBelongsToTheActiveFormAndCarriesTheProgramsName) {
  MainForm();
  HWND owner = nullptr;
  std::wstring text;
  app->Post([&] { app->ShowMessage("Falha na conex\xC3\xA3o"); });
  app->Post([&] { app->Terminate(); });
  test::AsUser(
      L"#32770", L"rotalis",
      [&](HWND box) {
        owner = GetWindow(box, GW_OWNER);
        text = TextOfChildren(box, L"Static");
        PostMessageW(box, WM_COMMAND, IDOK, 0);
      },
      [&] {
        app->Run();
        return 0;
      });
  EXPECT_EQ(owner, FindWindowW(nullptr, L"Rotalis"));
  EXPECT_NE(text.find(L"Falha na conex\u00e3o"), std::wstring::npos);
}

}  // namespace
}  // namespace rotalis::ui

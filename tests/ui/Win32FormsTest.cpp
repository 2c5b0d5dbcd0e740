// The Windows backend's forms and message loop as Windows itself reports
// them: style bits, sizes, places and the progress bar's state are read back
// through the Windows API. Runs under Wine with Xvfb; skips without a display.

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
using test::ClassOf;
using test::ExStyleOf;
using test::SizeOf;
using test::StyleOf;
using test::WindowText;

int AtScreenDpi(int size) { return MulDiv(size, static_cast<int>(GetDpiForSystem()), 96); }

struct Win32Fixture : ::testing::Test {
  void SetUp() override {
    if (platform::GetEnvironment("DISPLAY").value_or("").empty()) GTEST_SKIP() << "no display";
    ASSERT_EQ(ChooseBackend(), BackendKind::Desktop);
    app = CreateApplication(BackendKind::Desktop);
  }
  std::unique_ptr<Application> app;
};

TEST_F(Win32Fixture, ProgressFormIsAFixedTopmostWindowWithoutBorderIconsCentredOnTheScreen) {
  ProgressForm& progress = app->CreateProgressForm({"fAguarde", "Atualizando ...", 400, 150, 3});
  const HWND form = FindWindowW(nullptr, L"Atualizando ...");
  ASSERT_NE(form, nullptr);
  EXPECT_FALSE(IsWindowVisible(form)) << "built hidden";

  const LONG style = StyleOf(form);
  EXPECT_EQ(style & WS_CAPTION, WS_CAPTION);
  EXPECT_EQ(style & (WS_SYSMENU | WS_MINIMIZEBOX | WS_MAXIMIZEBOX | WS_THICKFRAME), 0);
  EXPECT_EQ(ExStyleOf(form) & (WS_EX_TOPMOST | WS_EX_CONTEXTHELP), WS_EX_TOPMOST);
  EXPECT_EQ(SizeOf(form).cx, AtScreenDpi(400));
  EXPECT_EQ(SizeOf(form).cy, AtScreenDpi(150));

  RECT place{};
  GetWindowRect(form, &place);
  MONITORINFO monitor{};
  monitor.cbSize = sizeof monitor;
  GetMonitorInfoW(MonitorFromWindow(form, MONITOR_DEFAULTTONEAREST), &monitor);
  EXPECT_NEAR(place.left + place.right, monitor.rcWork.left + monitor.rcWork.right, 1);
  EXPECT_NEAR(place.top + place.bottom, monitor.rcWork.top + monitor.rcWork.bottom, 1);

  progress.Show();
  EXPECT_TRUE(IsWindowVisible(form));
  progress.Close();
  EXPECT_FALSE(IsWindowVisible(form));
}

TEST_F(Win32Fixture, ProgressBarFillsTheFormAndFollowsThePositionAndTheBytes) {
  ProgressForm& progress = app->CreateProgressForm({"fAguarde", "Atualizando ...", 400, 150, 3});
  const HWND form = FindWindowW(nullptr, L"Atualizando ...");
  ASSERT_NE(form, nullptr);
  const auto bars = ChildrenOf(form, nullptr);
  ASSERT_EQ(bars.size(), 1u);
  const HWND bar = bars[0];
  EXPECT_EQ(ClassOf(bar), L"msctls_progress32");
  RECT client{}, barArea{};
  GetClientRect(form, &client);
  GetClientRect(bar, &barArea);
  EXPECT_EQ(barArea.right, client.right);
  EXPECT_EQ(barArea.bottom, client.bottom);

  PBRANGE range{};
  SendMessageW(bar, PBM_GETRANGE, FALSE, reinterpret_cast<LPARAM>(&range));
  EXPECT_EQ(range.iLow, 0);
  EXPECT_EQ(range.iHigh, 3);
  EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), 0);

  progress.SetPosition(progress.Position() + 1);
  progress.SetPosition(progress.Position() + 1);
  EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), 2);
  EXPECT_EQ(WindowText(bar), L"2 / 3");

  // The bytes of file 2 show on the bar; the bar still counts files.
  progress.SetTransferProgress(1536 * 1024, 4096 * 1024);
  EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), 2);
  EXPECT_EQ(WindowText(bar), L"2 / 3 \u2014 1536 of 4096 KiB");
  progress.SetTransferProgress(700 * 1024, 0);
  EXPECT_EQ(WindowText(bar), L"2 / 3 \u2014 700 KiB");

  progress.SetPosition(7);
  EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), 3);
  EXPECT_EQ(WindowText(bar), L"3 / 3") << "a new step forgets the bytes of the last file";
  progress.SetPosition(-1);
  EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), 0);
}

// The waiting form can be closed (the user giving up the wait), which the
// waiting code reads; its text follows what it is told, accents included.
TEST_F(Win32Fixture, WaitFormIsATopmostWindowTheUserCanCloseAndSaysSo) {
  WaitForm& wait = app->CreateWaitForm({"fEsperaAtualizacao", "Atualiza\xC3\xA7\xC3\xA3o",
                                        "Aguardando o computador CAIXA-02.", 0, 0});
  const HWND form = FindWindowW(nullptr, L"Atualiza\u00e7\u00e3o");
  ASSERT_NE(form, nullptr);
  EXPECT_FALSE(IsWindowVisible(form));
  EXPECT_EQ(StyleOf(form) & (WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX | WS_MAXIMIZEBOX),
            WS_CAPTION | WS_SYSMENU);
  EXPECT_EQ(ExStyleOf(form) & WS_EX_TOPMOST, WS_EX_TOPMOST);
  const auto labels = ChildrenOf(form, L"Static");
  ASSERT_EQ(labels.size(), 1u);
  EXPECT_EQ(WindowText(labels[0]), L"Aguardando o computador CAIXA-02.");
  const auto bars = ChildrenOf(form, PROGRESS_CLASSW);
  ASSERT_EQ(bars.size(), 1u);
  EXPECT_EQ(StyleOf(bars[0]) & PBS_MARQUEE, PBS_MARQUEE);

  wait.Show();
  EXPECT_TRUE(IsWindowVisible(form));
  wait.SetText("T\xC3\xA9rmino em RECEP\xC3\x87\xC3\x83O.");
  EXPECT_EQ(WindowText(labels[0]), L"T\u00e9rmino em RECEP\u00c7\u00c3O.");
  EXPECT_FALSE(wait.Closed());
  PostMessageW(form, WM_CLOSE, 0, 0);
  app->ProcessMessages();
  EXPECT_TRUE(wait.Closed());
  EXPECT_FALSE(IsWindowVisible(form));
  EXPECT_FALSE(app->Terminated()) << "not the main form";
  wait.Show();
  EXPECT_FALSE(wait.Closed()) << "shown again";
}

TEST_F(Win32Fixture, MainFormShowsItsCaptionAndTextInUtf16) {
  app->CreateForm({"FprinciRotalis", "Rotalis",
                   "M\xC3\xB3"
                   "dulo Rotalis carregado.\nInstala\xC3\xA7\xC3\xA3o verificada.",
                   720, 420});
  const HWND form = FindWindowW(nullptr, L"Rotalis");
  ASSERT_NE(form, nullptr);
  EXPECT_FALSE(IsWindowVisible(form));
  EXPECT_EQ(StyleOf(form) & WS_OVERLAPPEDWINDOW, WS_OVERLAPPEDWINDOW);
  EXPECT_EQ(SizeOf(form).cx, AtScreenDpi(720));
  EXPECT_EQ(SizeOf(form).cy, AtScreenDpi(420));
  std::vector<std::wstring> texts;
  for (const HWND label : ChildrenOf(form, L"Static")) texts.push_back(WindowText(label));
  EXPECT_EQ(texts,
            (std::vector<std::wstring>{
                L"Rotalis", L"M\u00f3dulo Rotalis carregado.\nInstala\u00e7\u00e3o verificada."}));

  app->CreateForm({"FprinciOutro", "Outro", "", 0, 0});
  const HWND other = FindWindowW(nullptr, L"Outro");
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(SizeOf(other).cx, AtScreenDpi(640)) << "no size given: the default";
}

TEST_F(Win32Fixture, UserClosingTheMainWindowEndsTheLoop) {
  app->SetMainForm(&app->CreateForm({"FprinciRotalis", "Rotalis", "", 320, 200}));
  app->Post([] { PostMessageW(FindWindowW(nullptr, L"Rotalis"), WM_CLOSE, 0, 0); });
  app->Run();
  EXPECT_TRUE(app->Terminated());
  EXPECT_FALSE(IsWindowVisible(FindWindowW(nullptr, L"Rotalis")));
}

TEST_F(Win32Fixture, TaskPostedFromAnotherThreadWakesTheWaitingLoop) {
  app->SetMainForm(&app->CreateForm({"FprinciRotalis", "Rotalis", "", 320, 200}));
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
  app->SetMainForm(&app->CreateForm({"FprinciRotalis", "Rotalis", "", 320, 200}));
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
  app->SetMainForm(&app->CreateForm({"FprinciRotalis", "Rotalis", "", 320, 200}));
  HWND owner = nullptr;
  std::wstring text;
  app->Post([&] { app->ShowMessage("Falha na conex\xC3\xA3o"); });
  std::thread user([&] {
    const HWND box = test::WaitForVisibleWindow(L"#32770", L"rotalis");
    if (box == nullptr) return;
    owner = GetWindow(box, GW_OWNER);
    for (const HWND label : ChildrenOf(box, L"Static")) text += WindowText(label);
    PostMessageW(box, WM_COMMAND, IDOK, 0);
  });
  app->Post([&] { app->Terminate(); });
  app->Run();
  user.join();
  EXPECT_EQ(owner, FindWindowW(nullptr, L"Rotalis"));
  EXPECT_NE(text.find(L"Falha na conex\u00e3o"), std::wstring::npos);
}

}  // namespace
}  // namespace rotalis::ui

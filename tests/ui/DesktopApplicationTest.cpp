// The desktop backend's application object (Qt 6 on Linux, the Windows API on
// Windows) under a real display: Xvfb on Linux (the test is registered to run
// under xvfb-run), Wine with Xvfb for the Windows build. Without a display it
// skips.

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/Environment.h"
#include "ui/Backend.h"

// The desktop's accessibility bus client keeps one buffer to the end; it is
// the system library's leak, not the backend's.
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1.so\n"; }

namespace rotalis::ui {
namespace {

struct DesktopFixture : ::testing::Test {
  void SetUp() override {
    if (platform::GetEnvironment("DISPLAY").value_or("").empty()) GTEST_SKIP() << "no display";
    ASSERT_EQ(ChooseBackend(), BackendKind::Desktop);
    app = CreateApplication(BackendKind::Desktop);
  }
  Form& MainForm() {
    Form& form = app->CreateForm({"FprinciRotalis", "Rotalis", "", 320, 200});
    app->SetMainForm(app->FindComponent("FprinciRotalis"));
    return form;
  }
  std::unique_ptr<Application> app;
};

TEST_F(DesktopFixture, LoopWithoutMainFormOrWithPendingTerminateReturnsAtOnce) {
  bool taskRan = false;
  app->Post([&] { taskRan = true; });
  app->Run();  // no main form
  EXPECT_FALSE(taskRan);

  MainForm();
  app->Terminate();
  app->Run();
  EXPECT_FALSE(taskRan);
}

TEST_F(DesktopFixture, ClosingTheMainFormEndsTheLoop) {
  Form& form = MainForm();
  app->Post([&] { form.Close(); });
  app->Run();
  EXPECT_TRUE(app->Terminated());
}

TEST_F(DesktopFixture, HandledEventExceptionLetsTheApplicationContinue) {
  MainForm();
  int handled = 0;
  app->SetEventExceptionHandler([&](std::exception_ptr) { ++handled; });
  app->Post([] { throw std::runtime_error("handler failed"); });
  app->Post([&] { app->Terminate(); });
  app->Run();
  EXPECT_EQ(handled, 1);
  EXPECT_TRUE(app->Terminated());
}

TEST_F(DesktopFixture, UnhandledEventExceptionLeavesTheLoopOnOurSide) {
  MainForm();
  app->Post([] { throw std::runtime_error("handler failed"); });
  EXPECT_THROW(app->Run(), std::runtime_error);
  app->Post([] { throw std::logic_error("again"); });
  EXPECT_THROW(app->ProcessMessages(), std::logic_error);
}

TEST_F(DesktopFixture, ProgressBarStopsAtItsEnds) {
  ProgressForm& progress = app->CreateProgressForm({"fAguarde", "Atualizando ...", 400, 150, 2});
  EXPECT_EQ(app->FindComponent("fAguarde"), &progress);
  progress.SetPosition(progress.Position() + 1);
  progress.SetPosition(progress.Position() + 1);
  progress.SetPosition(progress.Position() + 1);
  EXPECT_EQ(progress.Position(), 2);
  app->ReleaseComponent(progress);
  EXPECT_EQ(app->FindComponent("fAguarde"), nullptr);
}

// Closing the waiting form (its window's close, as the user's click does) is
// read back from Closed, and ends nothing else.
TEST_F(DesktopFixture, ClosedWaitFormSaysSoUntilShownAgain) {
  WaitForm& wait = app->CreateWaitForm({"fEsperaAtualizacao", "Atualiza\xC3\xA7\xC3\xA3o",
                                        "Aguardando o computador CAIXA-02.", 0, 0});
  EXPECT_EQ(app->FindComponent("fEsperaAtualizacao"), &wait);
  wait.Show();
  wait.SetText("Aguardando o computador RECEP\xC3\x87\xC3\x83O.");
  app->ProcessMessages();
  EXPECT_FALSE(wait.Closed());
  wait.Close();
  app->ProcessMessages();
  EXPECT_TRUE(wait.Closed());
  EXPECT_FALSE(app->Terminated());
  wait.Show();
  EXPECT_FALSE(wait.Closed());
  app->ReleaseComponent(wait);
  EXPECT_EQ(app->FindComponent("fEsperaAtualizacao"), nullptr);
}

}  // namespace
}  // namespace rotalis::ui

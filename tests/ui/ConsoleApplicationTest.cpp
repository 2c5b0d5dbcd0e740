// The console backend's application object: its message loop, its forms and
// the event exception hook, on string streams.

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "ui/console/ConsoleApplication.h"

namespace rotalis::ui::console {
namespace {

struct ConsoleFixture : ::testing::Test {
  std::istringstream in{"first\nsecond\n"};
  std::ostringstream out;
  ConsoleApplication app{ConsoleStreams{in, out}};

  std::string Unread() {
    std::string rest, line;
    while (std::getline(in, line)) rest += line + "\n";
    return rest;
  }
};

TEST_F(ConsoleFixture, LoopWithoutMainFormReturnsAtOnce) {
  app.CreateForm({"FprinciOutro", "Other", "", 0, 0});
  app.SetMainForm(app.FindComponent("FprinciRotalis"));
  app.Run();
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(Unread(), "first\nsecond\n");
}

TEST_F(ConsoleFixture, PendingTerminateEndsTheLoopAsSoonAsItRuns) {
  app.SetMainForm(&app.CreateForm({"FprinciRotalis", "Rotalis", "", 0, 0}));
  app.Terminate();
  app.Run();
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(Unread(), "first\nsecond\n");
}

TEST_F(ConsoleFixture, MainFormStaysOpenUntilTheInputEnds) {
  app.SetMainForm(&app.CreateForm({"FprinciRotalis", "Rotalis", "Hello", 0, 0}));
  app.Run();
  EXPECT_EQ(out.str(), "Rotalis is open\nHello\nRotalis closed\n");
  EXPECT_TRUE(app.Terminated());
  EXPECT_EQ(Unread(), "");
}

TEST_F(ConsoleFixture, ClosingTheMainFormFromAHandlerEndsTheLoop) {
  Form& form = app.CreateForm({"FprinciRotalis", "Rotalis", "", 0, 0});
  app.SetMainForm(&form);
  app.Post([&] { form.Close(); });
  app.Run();
  EXPECT_EQ(out.str(), "Rotalis is open\nRotalis closed\n");
  EXPECT_EQ(Unread(), "first\nsecond\n");
}

TEST_F(ConsoleFixture, HandledEventExceptionLetsTheApplicationContinue) {
  app.SetMainForm(&app.CreateForm({"FprinciRotalis", "Rotalis", "", 0, 0}));
  std::string caught;
  app.SetEventExceptionHandler([&](std::exception_ptr error) {
    try {
      std::rethrow_exception(error);
    } catch (const std::exception& e) {
      caught = e.what();
    }
  });
  bool laterTaskRan = false;
  app.Post([] { throw std::runtime_error("handler failed"); });
  app.Post([&] { laterTaskRan = true; });
  app.Run();
  EXPECT_EQ(caught, "handler failed");
  EXPECT_TRUE(laterTaskRan);
  EXPECT_NE(out.str().find("Rotalis closed"), std::string::npos);
}

TEST_F(ConsoleFixture, UnhandledEventExceptionLeavesTheLoop) {
  app.SetMainForm(&app.CreateForm({"FprinciRotalis", "Rotalis", "", 0, 0}));
  app.Post([] { throw std::runtime_error("handler failed"); });
  EXPECT_THROW(app.Run(), std::runtime_error);

  app.Post([] { throw std::runtime_error("again"); });
  EXPECT_THROW(app.ProcessMessages(), std::runtime_error);
}

TEST_F(ConsoleFixture, FindsOnlyComponentsItStillOwns) {
  ProgressForm& progress = app.CreateProgressForm({"fAguarde", "Atualizando ...", 400, 150, 2});
  EXPECT_EQ(app.FindComponent("fAguarde"), &progress);
  EXPECT_EQ(app.FindComponent("faguarde"), nullptr);
  app.ReleaseComponent(progress);
  EXPECT_EQ(app.FindComponent("fAguarde"), nullptr);
}

TEST_F(ConsoleFixture, ProgressFormReportsItsStepsOnlyWhileShown) {
  ProgressForm& progress = app.CreateProgressForm({"fAguarde", "Atualizando ...", 400, 150, 2});
  progress.SetPosition(progress.Position() + 1);
  progress.Show();
  progress.SetPosition(progress.Position() + 1);
  progress.SetTransferProgress(512, 1024);  // not a terminal: no byte counts
  EXPECT_EQ(progress.Position(), 2);
  EXPECT_EQ(out.str(), "Atualizando ...\nAtualizando ... 2/2\n");
}

// The wait can last minutes and its text is set on every round: a log gets a
// line only when the text changes.
TEST_F(ConsoleFixture, WaitFormWritesItsTextOnlyWhenItChanges) {
  WaitForm& wait = app.CreateWaitForm(
      {"fEsperaAtualizacao", "Atualiza\xC3\xA7\xC3\xA3o", "Aguardando outro computador.", 0, 0});
  wait.Show();
  wait.SetText("Aguardando outro computador.");
  wait.SetText("Aguardando o computador CAIXA-02.");
  wait.SetText("Aguardando o computador CAIXA-02.");
  EXPECT_FALSE(wait.Closed());
  wait.Close();
  EXPECT_TRUE(wait.Closed());
  EXPECT_EQ(out.str(),
            "Atualiza\xC3\xA7\xC3\xA3o\nAguardando outro computador.\n"
            "Aguardando o computador CAIXA-02.\n");
}

}  // namespace
}  // namespace rotalis::ui::console

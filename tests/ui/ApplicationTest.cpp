// Each backend's application object: its message loop, its forms and the
// event exception hook. The console one runs on string streams; the desktop
// one (Qt 6 on Linux, the Windows API on Windows) needs a display and skips
// without one.

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

#if defined(ROTALIS_TEST_DESKTOP_BACKEND)
#include "platform/Environment.h"
#include "ui/Backend.h"

// The desktop's accessibility bus client keeps one buffer to the end; it is
// the system library's leak, not the backend's.
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1.so\n"; }
#else
#include "ui/console/ConsoleApplication.h"
#endif

namespace rotalis::ui {
namespace {

#if defined(ROTALIS_TEST_DESKTOP_BACKEND)
struct DesktopBackend {
  std::unique_ptr<Application> Create() {
    if (platform::GetEnvironment("DISPLAY").value_or("").empty()) return nullptr;
    EXPECT_EQ(ChooseBackend(), BackendKind::Desktop);
    return CreateApplication(BackendKind::Desktop);
  }
  std::optional<std::string> Output() { return std::nullopt; }
  std::optional<std::string> Unread() { return std::nullopt; }
};
using Backends = ::testing::Types<DesktopBackend>;
#else
// What a backend shows only the console can read back: the text written and
// the input left unread.
struct ConsoleBackend {
  std::istringstream in{"first\nsecond\n"};
  std::ostringstream out;
  std::unique_ptr<Application> Create() {
    return std::make_unique<console::ConsoleApplication>(console::ConsoleStreams{in, out});
  }
  std::optional<std::string> Output() { return out.str(); }
  std::optional<std::string> Unread() {
    std::string rest, line;
    while (std::getline(in, line)) rest += line + "\n";
    return rest;
  }
};

using Backends = ::testing::Types<ConsoleBackend>;
#endif

template <class Backend>
struct ApplicationTest : ::testing::Test {
  void SetUp() override {
    app = backend.Create();
    if (!app) GTEST_SKIP() << "no display";
  }
  Form& MainForm() {
    Form& form = app->CreateForm({"FprinciRotalis", "Rotalis", "", 320, 200});
    app->SetMainForm(app->FindComponent("FprinciRotalis"));
    return form;
  }
  // The console's transcript, where the backend has one.
  void ExpectTranscript(const std::string& output, const std::string& unread) {
    if (const auto text = backend.Output()) {
      EXPECT_EQ(*text, output);
    }
    if (const auto rest = backend.Unread()) {
      EXPECT_EQ(*rest, unread);
    }
  }
  Backend backend;
  std::unique_ptr<Application> app;
};

TYPED_TEST_SUITE(ApplicationTest, Backends);

TYPED_TEST(ApplicationTest, LoopWithoutMainFormOrWithPendingTerminateReturnsAtOnce) {
  auto& app = *this->app;
  bool taskRan = false;
  app.Post([&] { taskRan = true; });
  app.CreateForm({"FprinciOutro", "Other", "", 0, 0});
  app.SetMainForm(app.FindComponent("FprinciRotalis"));  // none of that name
  app.Run();
  this->MainForm();
  app.Terminate();
  app.Run();
  EXPECT_FALSE(taskRan);
  this->ExpectTranscript("", "first\nsecond\n");
}

TYPED_TEST(ApplicationTest, ClosingTheMainFormFromAHandlerEndsTheLoop) {
  Form& form = this->MainForm();
  this->app->Post([&] { form.Close(); });
  this->app->Run();
  EXPECT_TRUE(this->app->Terminated());
  this->ExpectTranscript("Rotalis is open\nRotalis closed\n", "first\nsecond\n");
}

// Without a handler an event's exception leaves the loop on our side; with
// one, the application goes on.
TYPED_TEST(ApplicationTest, EventExceptionsLeaveTheLoopUnlessHandled) {
  auto& app = *this->app;
  Form& form = this->MainForm();
  app.Post([] { throw std::runtime_error("handler failed"); });
  EXPECT_THROW(app.Run(), std::runtime_error);
  app.Post([] { throw std::logic_error("again"); });
  EXPECT_THROW(app.ProcessMessages(), std::logic_error);

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
  app.Post([&] {
    laterTaskRan = true;
    form.Close();
  });
  app.Run();
  EXPECT_EQ(caught, "handler failed");
  EXPECT_TRUE(laterTaskRan);
  EXPECT_TRUE(app.Terminated());
}

TYPED_TEST(ApplicationTest, ProgressFormStepsWhileFindableByItsExactName) {
  auto& app = *this->app;
  ProgressForm& progress = app.CreateProgressForm({"fAguarde", "Atualizando ...", 400, 150, 2});
  EXPECT_EQ(app.FindComponent("fAguarde"), &progress);
  EXPECT_EQ(app.FindComponent("faguarde"), nullptr);
  progress.SetPosition(progress.Position() + 1);
  progress.Show();
  progress.SetPosition(progress.Position() + 1);
  progress.SetTransferProgress(512, 1024);  // not a terminal: no byte counts
  EXPECT_EQ(progress.Position(), 2);
  // The console reports steps only while shown; a bar stops at its end.
  if (const auto text = this->backend.Output()) {
    EXPECT_EQ(*text, "Atualizando ...\nAtualizando ... 2/2\n");
  } else {
    progress.SetPosition(progress.Position() + 1);
    EXPECT_EQ(progress.Position(), 2);
  }
  app.ReleaseComponent(progress);
  EXPECT_EQ(app.FindComponent("fAguarde"), nullptr);
}

// The wait can last minutes and its text is set on every round: a console
// log gets a line only when the text changes. Closing the form is read back
// from Closed, and ends nothing else.
TYPED_TEST(ApplicationTest, ClosedWaitFormSaysSoUntilShownAgain) {
  auto& app = *this->app;
  WaitForm& wait = app.CreateWaitForm(
      {"fEsperaAtualizacao", "Atualiza\xC3\xA7\xC3\xA3o", "Aguardando outro computador.", 0, 0});
  wait.Show();
  wait.SetText("Aguardando outro computador.");
  wait.SetText("Aguardando o computador RECEP\xC3\x87\xC3\x83O.");
  wait.SetText("Aguardando o computador RECEP\xC3\x87\xC3\x83O.");
  app.ProcessMessages();
  EXPECT_FALSE(wait.Closed());
  wait.Close();
  app.ProcessMessages();
  EXPECT_TRUE(wait.Closed());
  EXPECT_FALSE(app.Terminated());
  this->ExpectTranscript(
      "Atualiza\xC3\xA7\xC3\xA3o\nAguardando outro computador.\n"
      "Aguardando o computador RECEP\xC3\x87\xC3\x83O.\n",
      "first\nsecond\n");
  wait.Show();
  EXPECT_FALSE(wait.Closed());
  app.ReleaseComponent(wait);
  EXPECT_EQ(app.FindComponent("fEsperaAtualizacao"), nullptr);
}

}  // namespace
}  // namespace rotalis::ui

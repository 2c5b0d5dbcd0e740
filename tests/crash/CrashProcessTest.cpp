// Whole crashes: each test runs crash-child (the crash reporter installed as
// the program installs it) in a child process, under a 10-second limit that
// turns a hang into a failure, against the fixture tracker.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "crash/CrashSettings.h"
#include "platform/ChildProcess.h"
#include "platform/FileSystem.h"
#include "tests/crash/RecordingCrashUi.h"
#include "tests/support/TempFolder.h"
#include "tests/support/mantis/MantisFixtureServer.h"

namespace rotalis::crash {
namespace {

constexpr int kTimedOut = 124;  // timeout(1)'s status when it had to stop the child

struct ChildRun {
  int status = -1;
  std::string out;
  std::string err;
};

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class CrashProcessTest : public ::testing::Test {
 protected:
  ChildRun Run(const std::string& scenario, const std::string& trackerUrl,
               const std::string& ui = "recording", const std::string& choices = "",
               bool watched = false) {
    platform::ChildCommand command;
    command.program = ROTALIS_TIMEOUT_PROGRAM;
    command.arguments = {"10", ROTALIS_CRASH_CHILD, scenario};
    command.environment = platform::CurrentEnvironment();
    command.environment.push_back("ROTALIS_CRASH_FOLDER=" + folder_.Path());
    command.environment.push_back("ROTALIS_CRASH_TRACKER=" + trackerUrl);
    command.environment.push_back("ROTALIS_CRASH_UI=" + ui);
    command.environment.push_back("ROTALIS_CRASH_CHOICES=" + choices);
    command.environment.push_back("ROTALIS_CRASH_PROBE=as started");
    if (watched) command.environment.push_back("ROTALIS_CRASH_WATCHER=" ROTALIS_CRASH_WATCHER);
    command.outputFile = output_ / "out.txt";
    command.errorFile = output_ / "err.txt";
    ChildRun run;
    run.status = platform::RunChildToEnd(command);
    run.out = output_.Read("out.txt");
    run.err = output_.Read("err.txt");
    EXPECT_NE(run.status, kTimedOut) << "the crashed program hung\n" << run.err;
    return run;
  }

  bool ReportFileExists() const { return platform::FileExists(folder_ / "bugreport.txt"); }
  std::string ReportFile() const { return folder_.Read("bugreport.txt"); }

  // A tracker address where nothing answers: the port of a tracker that stopped.
  static std::string DeadTracker() {
    test::MantisFixtureServer stopped({"bugs", TCrashSettings().BugTrPassword});
    return stopped.BaseUrl();
  }

  test::TempFolder folder_{"rotalis-crash-app"};
  test::TempFolder output_{"rotalis-crash-out"};
  test::MantisFixtureServer tracker_{{"bugs", TCrashSettings().BugTrPassword}};
};

TEST_F(CrashProcessTest, AStartUpErrorIsSubmittedWithReportAndScreenshotAndTheFileGoes) {
  const ChildRun run = Run("start-up", tracker_.BaseUrl());
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_TRUE(Has(run.out, "please-wait|Information|Please wait a moment...")) << run.out;
  EXPECT_TRUE(Has(run.out, "screenshot|8"));
  EXPECT_TRUE(Has(run.out,
                  "dialog|crash-child|An error occurred in the application.|show bug report|"
                  "continue application|restart application|close application|focused=close"))
      << run.out;

  const auto issues = tracker_.Issues();
  ASSERT_EQ(issues.size(), 1u);
  const test::TrackerIssue& issue = issues[0];
  const std::string message =
      "Falhou na conexao com o banco por: Access denied for user 'erp'@'localhost'";
  EXPECT_EQ(issue.project, "TarvoArquivos");
  EXPECT_EQ(issue.category, "General");
  EXPECT_EQ(issue.summary, "crash-child, " + message);
  EXPECT_EQ(issue.description.rfind("error details: \r\n=== bug report", 0), 0u);
  const std::string& report = issue.attachments.at("bugreport.txt");
  EXPECT_TRUE(Has(report, "exception message   : " + message)) << report;
  EXPECT_TRUE(Has(report, "exception class     : rotalis::Exception"));
  // The stack names the throwing function, its file and line.
  EXPECT_TRUE(Has(report, "ConnectToDatabase")) << report;
  EXPECT_TRUE(Has(report, "CrashChild.cpp:")) << report;
  EXPECT_TRUE(Has(issue.description, report.substr(0, 200)));
  EXPECT_EQ(issue.attachments.at("screenshot.png"), test::kStandInScreenshot);
  EXPECT_TRUE(tracker_.WsdlViolations().empty()) << tracker_.WsdlViolations().front();
  EXPECT_FALSE(ReportFileExists());
}

TEST_F(CrashProcessTest, WithTheTrackerDownTheReportStaysAndTheDialogStillShows) {
  const ChildRun run = Run("start-up", DeadTracker());
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(Has(run.out, "dialog|crash-child|An error occurred in the application.")) << run.out;
  ASSERT_TRUE(ReportFileExists());
  EXPECT_TRUE(Has(ReportFile(), "Falhou na conexao com o banco por:"));
  EXPECT_TRUE(Has(ReportFile(), "ConnectToDatabase"));
}

TEST_F(CrashProcessTest, TheSameErrorTwiceIsReportedOnceAndTheLoopGoesOn) {
  const ChildRun run = Run("event-twice", tracker_.BaseUrl(), "recording", "continue,continue");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(Has(run.out, "message loop went on"));
  // The dialog shows both times; only the first is saved and submitted.
  std::size_t dialogs = 0;
  for (std::size_t at = run.out.find("dialog|"); at != std::string::npos;
       at = run.out.find("dialog|", at + 1)) {
    ++dialogs;
  }
  EXPECT_EQ(dialogs, 2u) << run.out;
  EXPECT_TRUE(Has(run.out, "canContinue=yes"));
  ASSERT_EQ(tracker_.Issues().size(), 1u);
  EXPECT_TRUE(Has(tracker_.Issues()[0].attachments.at("bugreport.txt"), "FailInEventHandler"));
  EXPECT_EQ(tracker_.Operations().size(), 3u);
}

TEST_F(CrashProcessTest, AnEditErrorShowsOnlyASimpleBox) {
  const ChildRun run = Run("edit-error", tracker_.BaseUrl());
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(Has(run.out, "simple-box|crash-child|'31/02/2024' is not a valid date|&OK|&Details"))
      << run.out;
  EXPECT_TRUE(Has(run.out, "message loop went on"));
  EXPECT_FALSE(Has(run.out, "dialog|"));
  EXPECT_FALSE(Has(run.out, "screenshot|"));
  EXPECT_FALSE(Has(run.out, "please-wait"));
  EXPECT_FALSE(ReportFileExists());
  EXPECT_TRUE(tracker_.Operations().empty());
}

TEST_F(CrashProcessTest, ASegmentationFaultIsReportedByTheWatcher) {
  const ChildRun run = Run("segfault", DeadTracker(), "console", "", true);
  EXPECT_EQ(run.status, 128 + 11) << run.err;
  ASSERT_TRUE(ReportFileExists()) << run.err;
  const std::string report = ReportFile();
  EXPECT_TRUE(Has(report, "exception class     : SIGSEGV")) << report;
  EXPECT_TRUE(Has(report, "at address 0x0"));
  EXPECT_TRUE(Has(report, "WriteThroughNull")) << report;
  EXPECT_TRUE(Has(report, "CrashChild.cpp:"));
  // The console dialog of the watcher, in its "cannot continue" form.
  EXPECT_TRUE(Has(run.err, "An error occurred in the application.")) << run.err;
  EXPECT_TRUE(Has(run.err, "continue application (not possible"));
}

TEST_F(CrashProcessTest, AnErrorEscapingAThreadIsReportedAndSubmittedByTheWatcher) {
  const ChildRun run = Run("thread", tracker_.BaseUrl(), "console", "", true);
  EXPECT_EQ(run.status, 128 + 6) << run.err;
  const auto issues = tracker_.Issues();
  ASSERT_EQ(issues.size(), 1u) << run.err;
  const auto& issue = issues[0];
  EXPECT_EQ(issue.summary, "crash-child, JSON inválido");
  EXPECT_TRUE(Has(issue.attachments.at("bugreport.txt"), "FailInWorkerThread"));
  // The console backend takes no screenshot.
  EXPECT_EQ(issue.attachments.count("screenshot.png"), 0u);
  EXPECT_FALSE(ReportFileExists());
}

TEST_F(CrashProcessTest, TheConsoleDialogWithoutATerminalClosesWithAnErrorStatus) {
  const ChildRun run = Run("start-up", tracker_.BaseUrl(), "console");
  EXPECT_EQ(run.status, 1);
  for (const char* text : {"Information: Please wait a moment...",
                           "== crash-child ==", "An error occurred in the application.",
                           "[1] show bug report", "[4] close application (default)"}) {
    EXPECT_TRUE(Has(run.err, text)) << text << "\n" << run.err;
  }
}

TEST_F(CrashProcessTest, RestartStartsTheProgramAgainWithTheEnvironmentItStartedWith) {
  const ChildRun run = Run("restart", tracker_.BaseUrl(), "recording", "restart");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(Has(run.out, "chosen|restart"));
  // The new start runs on its own; give it time to leave its line.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  std::string starts;
  while (std::chrono::steady_clock::now() < deadline) {
    starts = folder_.Read("starts.txt");
    if (starts.find('\n') != starts.rfind('\n')) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_EQ(starts, "start as started\nstart as started\n");
}

}  // namespace
}  // namespace rotalis::crash

// Whole crashes: each test runs crash-child (the crash reporter installed as
// the program installs it) in a child process, under a time limit that turns
// a hang into a failure, against the fixture tracker. The same tests run on
// Linux and, under Wine, on Windows; only the names and exit statuses of
// faults differ (kFaults).

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "crash/CrashSettings.h"
#include "crash/SubmissionAllowance.h"
#include "platform/ChildProcess.h"
#include "platform/Environment.h"
#include "platform/FileSystem.h"
#include "platform/SystemInfo.h"
#include "tests/crash/RecordingCrashUi.h"
#include "tests/support/HostShell.h"
#include "tests/support/TempFolder.h"
#include "tests/support/mantis/MantisFixtureServer.h"

namespace rotalis::crash {
namespace {

// Under Wine a start takes longer, and a stack overflow walks a deep stack.
constexpr int kTimeLimitSeconds = 30;

// A fault, as the watcher reports it and as the crashed process ends.
struct FaultCase {
  const char* scenario;
  int status;
  const char* errorClass;
  const char* message;   // the start of the exception message
  const char* function;  // the faulting function, the first frame
};

#if defined(_WIN32)
const FaultCase kFaults[] = {
    {"null-write", static_cast<int>(0xC0000005), "EXCEPTION_ACCESS_VIOLATION",
     "Access violation writing address 0x0", "WriteThroughNull"},
    {"stack-overflow", static_cast<int>(0xC00000FD), "EXCEPTION_STACK_OVERFLOW",
     "Stack overflow at address 0x", "RecurseForever"},
    {"divide-by-zero", static_cast<int>(0xC0000094), "EXCEPTION_INT_DIVIDE_BY_ZERO",
     "Integer division by zero at address 0x", "DivideBy"},
};
// abort()'s status, which a process ended by std::terminate leaves.
constexpr int kTerminatedStatus = 3;
#else
const FaultCase kFaults[] = {
    {"null-write", 128 + 11, "SIGSEGV",
     "Segmentation fault (address not mapped to object) at address 0x0", "WriteThroughNull"},
    {"stack-overflow", 128 + 11, "SIGSEGV", "Segmentation fault", "RecurseForever"},
    {"divide-by-zero", 128 + 8, "SIGFPE", "Floating point exception (integer divide by zero)",
     "DivideBy"},
};
constexpr int kTerminatedStatus = 128 + 6;
#endif

const char* const kProductWatcher = ROTALIS_CRASH_WATCHER;
const char* const kRecordingWatcher = ROTALIS_CRASH_TEST_WATCHER;

// Arguments a restart must hand on unchanged: a blank, a quote, a backslash
// before a quote, and text beyond ASCII.
const std::vector<std::string> kAwkwardArguments = {"two words", "say \"hi\"", "C:\\dir\\", "ação"};

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
  // `watcher`: the watcher program, nullptr for none; `arguments` follow the
  // scenario's name.
  ChildRun Run(const std::string& scenario, const std::string& trackerUrl,
               const std::string& ui = "recording", const std::string& choices = "",
               const char* watcher = nullptr, const std::vector<std::string>& arguments = {}) {
    platform::ChildCommand command;
    command.program = test::LocalPath(ROTALIS_CRASH_CHILD);
    command.arguments = {scenario};
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    command.timeLimitSeconds = kTimeLimitSeconds;
    command.environment = test::WithTemporaryFolder(platform::CurrentEnvironment(), temp_.Path());
    command.environment.push_back("ROTALIS_CRASH_FOLDER=" + folder_.Path());
    command.environment.push_back("ROTALIS_CRASH_TRACKER=" + trackerUrl);
    command.environment.push_back("ROTALIS_CRASH_UI=" + ui);
    command.environment.push_back("ROTALIS_CRASH_CHOICES=" + choices);
    command.environment.push_back("ROTALIS_CRASH_PROBE=as started");
    if (watcher != nullptr)
      command.environment.push_back("ROTALIS_CRASH_WATCHER=" + test::LocalPath(watcher));
    command.outputFile = output_ / "out.txt";
    command.errorFile = output_ / "err.txt";
    ChildRun run;
    run.status = platform::RunChildToEnd(command);
    run.out = output_.Read("out.txt");
    run.err = output_.Read("err.txt");
    EXPECT_NE(run.status, platform::kChildTimedOut) << "the crashed program hung\n" << run.err;
    return run;
  }

  // The lines of starts.txt once `count` starts have left theirs (a restart
  // runs on its own), with the line breaks of every platform as "\n".
  std::string Starts(std::size_t count) const {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(kTimeLimitSeconds);
    std::string starts;
    for (;;) {
      starts.clear();
      if (platform::FileExists(folder_ / "starts.txt")) {
        for (const char c : folder_.Read("starts.txt"))
          if (c != '\r') starts += c;
      }
      if (static_cast<std::size_t>(std::count(starts.begin(), starts.end(), '\n')) >= count ||
          std::chrono::steady_clock::now() > deadline)
        return starts;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
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
  // The workstation's temporary folder, where the hourly allowance of
  // submissions is counted: each test starts with all of it.
  test::TempFolder temp_{"rotalis-crash-temp"};
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
  // Nothing the user would see is left behind: the report file's lock is
  // hidden (and on Windows also marked so).
  for (const auto& entry : platform::ListDirectory(folder_.Path()))
    EXPECT_EQ(entry.name.front(), '.') << entry.name;
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
  EXPECT_EQ(tracker_.Operations(),
            (std::vector<std::string>{"mc_project_get_id_from_name", "mc_filter_search_issue_ids",
                                      "mc_issue_add", "mc_issue_attachment_add",
                                      "mc_issue_attachment_add"}));
}

// Workstations that crash the same way add notes to one issue; another cause
// gets an issue of its own.
TEST_F(CrashProcessTest, OneCauseOnSeveralWorkstationsIsOneIssueWithANoteEach) {
  for (int start = 0; start < 3; ++start) {
    const ChildRun run = Run("start-up", tracker_.BaseUrl());
    EXPECT_EQ(run.status, 1) << run.err;
  }
  Run("thread", tracker_.BaseUrl(), "console", "", kProductWatcher);

  const auto issues = tracker_.Issues();
  ASSERT_EQ(issues.size(), 2u);
  const test::TrackerIssue& same = issues[0];
  ASSERT_EQ(same.notes.size(), 2u);
  const std::string signatureLine = "\ncrash signature     : crash-";
  const std::size_t at = same.description.find(signatureLine);
  ASSERT_NE(at, std::string::npos) << same.description;
  const std::string signature = same.description.substr(at + 23, 22);
  for (const std::string& note : same.notes) {
    EXPECT_TRUE(Has(note, signature)) << note;
    EXPECT_TRUE(Has(note, "\ncomputer: " + platform::ComputerName() + "\n")) << note;
    EXPECT_TRUE(Has(note, "\nuser: ")) << note;
    EXPECT_TRUE(Has(note, "\nversion: ")) << note;
    EXPECT_TRUE(Has(note, "\ndate/time: 20")) << note;
    EXPECT_TRUE(Has(note, "\nexception message: Falhou na conexao com o banco por: ")) << note;
  }
  // Each note's report and screenshot under names of their own.
  EXPECT_EQ(same.attachments.size(), 6u);
  EXPECT_TRUE(Has(same.attachments.at("bugreport-2.txt"), signature));
  EXPECT_EQ(same.attachments.count("screenshot-2.png"), 1u);
  EXPECT_FALSE(Has(issues[1].description, signature));
  EXPECT_TRUE(Has(issues[1].description, signatureLine));
  EXPECT_TRUE(tracker_.WsdlViolations().empty()) << tracker_.WsdlViolations().front();
  EXPECT_FALSE(ReportFileExists());
}

TEST_F(CrashProcessTest, ASearchTheTrackerRefusesStillFilesEachReport) {
  test::MantisFixtureServer refusing({"bugs",
                                      TCrashSettings().BugTrPassword,
                                      {"TarvoArquivos"},
                                      {"General"},
                                      0,
                                      {},
                                      /*refuseSearch=*/true});
  Run("start-up", refusing.BaseUrl());
  Run("start-up", refusing.BaseUrl());
  const auto issues = refusing.Issues();
  ASSERT_EQ(issues.size(), 2u);
  EXPECT_TRUE(issues[0].notes.empty());
  const auto operations = refusing.Operations();
  EXPECT_EQ(std::count(operations.begin(), operations.end(), "mc_filter_search_issue_ids"), 2);
  EXPECT_FALSE(ReportFileExists());
}

// A report the tracker could not take waits in the report file; the watcher
// of the next start delivers it while the program runs on (here: ends) without
// waiting for the tracker, which holds its answers until the program is gone.
TEST_F(CrashProcessTest, APendingReportGoesOutFromTheNextStartWithoutHoldingItUp) {
  const ChildRun crashed = Run("start-up", DeadTracker());
  ASSERT_TRUE(ReportFileExists()) << crashed.err;
  test::MantisFixtureServer slow({"bugs",
                                  TCrashSettings().BugTrPassword,
                                  {"TarvoArquivos"},
                                  {"General"},
                                  0,
                                  {},
                                  false,
                                  /*holdAnswers=*/true});

  const ChildRun started = Run("quiet", slow.BaseUrl(), "recording", "", kProductWatcher);
  EXPECT_EQ(started.status, 0) << started.err;
  EXPECT_TRUE(ReportFileExists());
  slow.ReleaseAnswers();

  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kTimeLimitSeconds);
  while (ReportFileExists() && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(ReportFileExists());
  const auto issues = slow.Issues();
  ASSERT_EQ(issues.size(), 1u);
  EXPECT_EQ(issues[0].summary,
            "crash-child, Falhou na conexao com o banco por: Access denied for user "
            "'erp'@'localhost'");
  EXPECT_TRUE(Has(issues[0].attachments.at("bugreport.txt"), "ConnectToDatabase"));
}

// Past this workstation's allowance for the hour, a report waits in the file.
TEST_F(CrashProcessTest, PastTheHourlyAllowanceTheReportWaitsInTheFile) {
  const auto now = std::chrono::system_clock::now();
  for (int i = 0; i < kSubmissionsPerHour; ++i)
    ASSERT_TRUE(
        TakeSubmissionAllowance(temp_ / "rotalis-crash-submissions.txt", kSubmissionsPerHour, now));
  const ChildRun run = Run("start-up", tracker_.BaseUrl());
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_TRUE(tracker_.Operations().empty());
  ASSERT_TRUE(ReportFileExists());
  EXPECT_TRUE(Has(ReportFile(), "ConnectToDatabase"));
}

// The desktop please-wait box paints itself without running the program's
// tasks: the second failure runs after the first was reported, from the same
// place, and is the same error again.
TEST_F(CrashProcessTest, TheDesktopPleaseWaitBoxRunsNoneOfTheProgramsTasks) {
#if !defined(_WIN32)
  if (platform::GetEnvironment("DISPLAY").value_or("").empty()) GTEST_SKIP() << "no display";
#endif
  const ChildRun run =
      Run("desktop-event-twice", tracker_.BaseUrl(), "desktop", "continue,continue");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(Has(run.out, "message loop went on")) << run.out;
  ASSERT_EQ(tracker_.Issues().size(), 1u) << run.out;
  EXPECT_TRUE(Has(tracker_.Issues()[0].attachments.at("bugreport.txt"), "FailInEventHandler"));
}

// Two handlers of a module package report failures of their own through the
// application object: two reports, each with the handler that failed.
TEST_F(CrashProcessTest, TwoFailuresAModulePackageReportsAreTwoReportsWithTheirHandlers) {
  const std::string package = test::LocalPath(ROTALIS_FAILING_PACKAGE);
  platform::WriteFileBytes(folder_ / "mrotalis.bpl", platform::ReadFileBytes(package));
  if (platform::FileExists(package + ".sym"))
    platform::WriteFileBytes(folder_ / "mrotalis.bpl.sym",
                             platform::ReadFileBytes(package + ".sym"));
  const ChildRun run = Run("package-fails", tracker_.BaseUrl(), "recording", "continue,continue");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(Has(run.out, "message loop went on")) << run.out;
  const auto issues = tracker_.Issues();
  ASSERT_EQ(issues.size(), 2u) << run.out;
  const struct {
    const char* message;
    const char* handler;
  } expected[] = {{"Nota fiscal sem destinatário", "FailInFirstHandler"},
                  {"Tabela de preços vazia", "FailInSecondHandler"}};
  for (std::size_t i = 0; i < 2; ++i) {
    SCOPED_TRACE(expected[i].handler);
    EXPECT_EQ(issues[i].summary, std::string("crash-child, ") + expected[i].message);
    const std::string& report = issues[i].attachments.at("bugreport.txt");
    const std::string stack = report.substr(report.find("call stack of the crashing thread:"));
    // The package's function, in the package, right below the call it made.
    const std::size_t at = stack.find(expected[i].handler);
    ASSERT_NE(at, std::string::npos) << report;
    EXPECT_TRUE(Has(stack.substr(stack.rfind('\n', at)), "mrotalis.bpl")) << report;
    EXPECT_TRUE(Has(stack.substr(0, at), "PackageBridge::Fail")) << report;
  }
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

// Each fault is reported by the watcher with the faulting function first,
// submitted, and ends the process with its own status; the console dialog of
// the watcher offers no way to continue.
TEST_F(CrashProcessTest, FaultsAreReportedByTheWatcherWithTheFaultingFunctionFirst) {
  std::size_t reported = 0;
  for (const FaultCase& fault : kFaults) {
    SCOPED_TRACE(fault.scenario);
    const ChildRun run = Run(fault.scenario, tracker_.BaseUrl(), "console", "", kProductWatcher);
    EXPECT_EQ(run.status, fault.status) << run.err;
    const auto issues = tracker_.Issues();
    ASSERT_EQ(issues.size(), ++reported) << run.err;
    const test::TrackerIssue& issue = issues.back();
    EXPECT_EQ(issue.summary.rfind(std::string("crash-child, ") + fault.message, 0), 0u)
        << issue.summary;
    const std::string& report = issue.attachments.at("bugreport.txt");
    EXPECT_TRUE(Has(report, std::string("exception class     : ") + fault.errorClass)) << report;
    const std::string stack = report.substr(report.find("call stack of the crashing thread:\n"));
    const std::size_t firstAt = stack.find('\n') + 1;
    const std::string first = stack.substr(firstAt, stack.find('\n', firstAt) - firstAt);
    EXPECT_TRUE(Has(first, fault.function)) << report;
    EXPECT_TRUE(Has(first, "CrashChild.cpp:")) << report;
    EXPECT_TRUE(Has(run.err, "An error occurred in the application.")) << run.err;
    EXPECT_TRUE(Has(run.err, "continue application (not possible"));
    EXPECT_FALSE(ReportFileExists());
  }
  EXPECT_TRUE(tracker_.WsdlViolations().empty());
}

#if !defined(_WIN32)
// A signal another process sent is no fault at an address: the report names
// the sender instead.
TEST_F(CrashProcessTest, ASignalSentByAnotherProcessNamesTheSender) {
  const ChildRun run =
      Run("signal-from-another-process", DeadTracker(), "console", "", kProductWatcher);
  EXPECT_EQ(run.status, 128 + 11) << run.err;
  ASSERT_TRUE(ReportFileExists()) << run.err;
  const std::string report = ReportFile();
  const std::string sent = "exception message   : Segmentation fault (sent by process ";
  const std::size_t at = report.find(sent);
  ASSERT_NE(at, std::string::npos) << report;
  const std::string line = report.substr(at, report.find('\n', at) - at);
  EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(line[sent.size()]))) << line;
  EXPECT_FALSE(Has(line, "address")) << line;
}
#endif

// A recursion that ran out of stack: its frames fill the recorded stack.
TEST_F(CrashProcessTest, AStackOverflowIsReportedWithTheRecursionOnItsStack) {
  const ChildRun run = Run("stack-overflow", DeadTracker(), "console", "", kProductWatcher);
  ASSERT_TRUE(ReportFileExists()) << run.err;
  const std::string report = ReportFile();
  std::size_t recursions = 0;
  for (std::size_t at = report.find("RecurseForever"); at != std::string::npos;
       at = report.find("RecurseForever", at + 1)) {
    ++recursions;
  }
  EXPECT_GE(recursions, 32u) << report;
}

TEST_F(CrashProcessTest, AnErrorEscapingAThreadIsReportedAndSubmittedByTheWatcher) {
  const ChildRun run = Run("thread", tracker_.BaseUrl(), "console", "", kProductWatcher);
  EXPECT_EQ(run.status, kTerminatedStatus) << run.err;
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
  const ChildRun run =
      Run("restart", tracker_.BaseUrl(), "recording", "restart", nullptr, kAwkwardArguments);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(Has(run.out, "chosen|restart"));
  std::string start = "start as started|restart";
  for (const std::string& argument : kAwkwardArguments) start += "|" + argument;
  EXPECT_EQ(Starts(2), start + "\n" + start + "\n");
}

// After a fault the watcher restarts the program, with the command line the
// crashed process holds and the environment the program began with.
TEST_F(CrashProcessTest, RestartAfterAFaultRunsTheSameCommandLineAgain) {
  const ChildRun run = Run("restart-after-fault", DeadTracker(), "recording", "restart",
                           kRecordingWatcher, kAwkwardArguments);
  EXPECT_EQ(run.status, kFaults[0].status) << run.err;
  EXPECT_TRUE(Has(run.out, "chosen|restart")) << run.out << run.err;
  std::string start = "start as started|restart-after-fault";
  for (const std::string& argument : kAwkwardArguments) start += "|" + argument;
  EXPECT_EQ(Starts(2), start + "\n" + start + "\n");
}

}  // namespace
}  // namespace rotalis::crash

// Whole crashes: each test runs crash-child (the crash reporter installed as
// the program installs it) in a child process, under a time limit that turns
// a hang into a failure, against the fixture tracker. The same tests run on
// Linux and, under Wine, on Windows; only the names and exit statuses of
// faults differ (kFaults).

#include <gmock/gmock.h>
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
#include "tests/support/TextCount.h"
#include "tests/support/mantis/MantisFixtureServer.h"

namespace rotalis::crash {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// Under Wine a start takes longer, and a stack overflow walks a deep stack.
constexpr int kTimeLimitSeconds = 30;

// A fatal error, as the watcher reports it and as the crashed process ends.
struct FaultCase {
  const char* scenario;
  int status;
  const char* errorClass;
  const char* message;   // the start of the exception message
  const char* function;  // the failing function: the stack's first frame
  int repeats;           // at least this often on the stack
};

#if defined(_WIN32)
// abort()'s status, which a process ended by std::terminate leaves.
constexpr int kTerminatedStatus = 3;
const FaultCase kFaults[] = {
    {"null-write", static_cast<int>(0xC0000005), "EXCEPTION_ACCESS_VIOLATION",
     "Access violation writing address 0x0", "WriteThroughNull", 1},
    // A recursion that ran out of stack: its frames fill the recorded stack.
    {"stack-overflow", static_cast<int>(0xC00000FD), "EXCEPTION_STACK_OVERFLOW",
     "Stack overflow at address 0x", "RecurseForever", 32},
    {"divide-by-zero", static_cast<int>(0xC0000094), "EXCEPTION_INT_DIVIDE_BY_ZERO",
     "Integer division by zero at address 0x", "DivideBy", 1},
    {"thread", kTerminatedStatus, "rotalis::Exception", "JSON inválido", "FailInWorkerThread", 1},
};
#else
constexpr int kTerminatedStatus = 128 + 6;
const FaultCase kFaults[] = {
    {"null-write", 128 + 11, "SIGSEGV",
     "Segmentation fault (address not mapped to object) at address 0x0", "WriteThroughNull", 1},
    {"stack-overflow", 128 + 11, "SIGSEGV", "Segmentation fault", "RecurseForever", 32},
    {"divide-by-zero", 128 + 8, "SIGFPE", "Floating point exception (integer divide by zero)",
     "DivideBy", 1},
    {"thread", kTerminatedStatus, "rotalis::Exception", "JSON inválido", "FailInWorkerThread", 1},
};
#endif

const char* const kProductWatcher = ROTALIS_CRASH_WATCHER;
const std::string kPassword = TCrashSettings().BugTrPassword;
const std::string kStartUpError =
    "Falhou na conexao com o banco por: Access denied for user 'erp'@'localhost'";

// The first line of the report's stack.
std::string FirstFrame(const std::string& report) {
  const std::size_t at = report.find('\n', report.find("call stack of the crashing thread:")) + 1;
  return report.substr(at, report.find('\n', at) - at);
}

struct ChildRun {
  int status = -1;
  std::string out;  // both with "\n" line breaks on every platform
  std::string err;
};

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
    for (const std::string& setting :
         {"ROTALIS_CRASH_FOLDER=" + folder_.Path(), "ROTALIS_CRASH_TRACKER=" + trackerUrl,
          "ROTALIS_CRASH_UI=" + ui, "ROTALIS_CRASH_CHOICES=" + choices,
          std::string("ROTALIS_CRASH_PROBE=as started")})
      command.environment.push_back(setting);
    if (watcher != nullptr)
      command.environment.push_back("ROTALIS_CRASH_WATCHER=" + test::LocalPath(watcher));
    command.outputFile = output_ / "out.txt";
    command.errorFile = output_ / "err.txt";
    ChildRun run{platform::RunChildToEnd(command), output_.Read("out.txt"),
                 output_.Read("err.txt")};
    std::erase(run.out, '\r');
    std::erase(run.err, '\r');
    EXPECT_NE(run.status, platform::kChildTimedOut) << "the crashed program hung\n" << run.err;
    return run;
  }

  // The lines of starts.txt once `count` starts have left theirs (a restart
  // runs on its own), with the line breaks of every platform as "\n".
  std::string Starts(int count) const {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(kTimeLimitSeconds);
    for (;;) {
      std::string starts =
          platform::FileExists(folder_ / "starts.txt") ? folder_.Read("starts.txt") : "";
      std::erase(starts, '\r');
      if (test::CountOf(starts, "\n") >= count || std::chrono::steady_clock::now() > deadline)
        return starts;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }

  bool ReportFileExists() const { return platform::FileExists(folder_ / "bugreport.txt"); }
  std::string ReportFile() const { return folder_.Read("bugreport.txt"); }

  // A tracker address where nothing answers: the port of a tracker that stopped.
  static std::string DeadTracker() {
    return test::MantisFixtureServer({.password = kPassword}).BaseUrl();
  }

  test::TempFolder folder_{"rotalis-crash-app"};
  test::TempFolder output_{"rotalis-crash-out"};
  // The workstation's temporary folder, where the hourly allowance of
  // submissions is counted: each test starts with all of it.
  test::TempFolder temp_{"rotalis-crash-temp"};
  test::MantisFixtureServer tracker_{{.password = kPassword}};
};

// The desktop please-wait box paints itself without running the program's
// tasks: the second failure runs after the first was reported, from the same
// place, and is the same error again. The dialog shows both times; only the
// first is saved and submitted.
TEST_F(CrashProcessTest, TheSameErrorTwiceIsReportedOnceAndTheLoopGoesOn) {
  for (const std::string ui : {"recording", "desktop"}) {
    SCOPED_TRACE(ui);
#if !defined(_WIN32)
    if (ui == "desktop" && platform::GetEnvironment("DISPLAY").value_or("").empty())
      GTEST_SKIP() << "no display";
#endif
    test::MantisFixtureServer tracker({.password = kPassword});
    const ChildRun run = Run(ui == "desktop" ? "desktop-event-twice" : "event-twice",
                             tracker.BaseUrl(), ui, "continue,continue");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("message loop went on"));
    EXPECT_EQ(test::CountOf(run.out, "dialog|"), 2) << run.out;
    EXPECT_THAT(run.out, HasSubstr("canContinue=yes"));
    ASSERT_EQ(tracker.Issues().size(), 1u) << run.out;
    EXPECT_THAT(FirstFrame(tracker.Issues()[0].attachments.at("bugreport.txt")),
                HasSubstr("FailInEventHandler"));
    EXPECT_EQ(tracker.Operations(),
              (std::vector<std::string>{"mc_project_get_id_from_name", "mc_filter_search_issue_ids",
                                        "mc_issue_add", "mc_issue_attachment_add",
                                        "mc_issue_attachment_add"}));
  }
}

// A start-up error is submitted with its report and screenshot, and the
// report file goes. Workstations that crash the same way add notes to one
// issue, each note naming its workstation and each with a report and
// screenshot of its own.
TEST_F(CrashProcessTest, AStartUpErrorIsSubmittedOnceAndAgainAsANoteOfTheSameIssue) {
  const ChildRun run = Run("start-up", tracker_.BaseUrl());
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_THAT(run.out, HasSubstr("please-wait|Information|Please wait a moment..."));
  EXPECT_THAT(run.out, HasSubstr("screenshot|8"));
  EXPECT_THAT(
      run.out,
      HasSubstr("dialog|crash-child|An error occurred in the application.|show bug report|"
                "continue application|restart application|close application|focused=close"));
  // Nothing the user would see is left behind: the report file's lock is
  // hidden (and on Windows also marked so).
  for (const auto& entry : platform::ListDirectory(folder_.Path()))
    EXPECT_EQ(entry.name.front(), '.') << entry.name;
  for (int start = 0; start < 2; ++start) EXPECT_EQ(Run("start-up", tracker_.BaseUrl()).status, 1);

  const auto issues = tracker_.Issues();
  ASSERT_EQ(issues.size(), 1u);
  const test::TrackerIssue& issue = issues[0];
  EXPECT_EQ(issue.summary, "crash-child, " + kStartUpError);
  EXPECT_THAT(issue.description, StartsWith("error details: \r\n=== bug report"));
  const std::string& report = issue.attachments.at("bugreport.txt");
  EXPECT_THAT(issue.description, HasSubstr(report.substr(0, 200)));
  EXPECT_THAT(report, HasSubstr("exception message   : " + kStartUpError));
  // The stack names the throwing function, its file and line.
  EXPECT_THAT(FirstFrame(report),
              AllOf(HasSubstr("ConnectToDatabase"), HasSubstr("CrashChild.cpp:")));
  EXPECT_EQ(issue.attachments.at("screenshot.png"), test::kStandInScreenshot);

  ASSERT_EQ(issue.notes.size(), 2u);
  const std::size_t at = issue.description.find("\ncrash signature     : crash-");
  ASSERT_NE(at, std::string::npos) << issue.description;
  const std::string signature = issue.description.substr(at + 23, 22);
  for (const std::string& note : issue.notes) {
    for (const std::string& line :
         {signature, "\ncomputer: " + platform::ComputerName() + "\n", std::string("\nuser: "),
          std::string("\nversion: "), std::string("\ndate/time: 20"),
          "\nexception message: " + kStartUpError})
      EXPECT_THAT(note, HasSubstr(line));
  }
  EXPECT_EQ(issue.attachments.size(), 6u);
  EXPECT_THAT(issue.attachments.at("bugreport-2.txt"), HasSubstr(signature));
  EXPECT_EQ(issue.attachments.at("screenshot-2.png"), test::kStandInScreenshot);
  EXPECT_THAT(tracker_.WsdlViolations(), ::testing::IsEmpty());
  EXPECT_FALSE(ReportFileExists());
}

// A report the tracker could not take waits in the report file, the dialog
// shown all the same; the watcher of the next start delivers it while the
// program runs on (here: ends) without waiting for the tracker, which holds
// its answers until the program is gone.
TEST_F(CrashProcessTest, APendingReportGoesOutFromTheNextStartWithoutHoldingItUp) {
  const ChildRun crashed = Run("start-up", DeadTracker());
  EXPECT_EQ(crashed.status, 1);
  EXPECT_THAT(crashed.out, HasSubstr("dialog|crash-child|An error occurred in the application."));
  ASSERT_TRUE(ReportFileExists()) << crashed.err;
  test::MantisFixtureServer slow({.password = kPassword, .holdAnswers = true});

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
  EXPECT_EQ(issues[0].summary, "crash-child, " + kStartUpError);
  EXPECT_THAT(issues[0].attachments.at("bugreport.txt"), HasSubstr("ConnectToDatabase"));
}

// Past this workstation's allowance for the hour, a report waits in the file.
TEST_F(CrashProcessTest, PastTheHourlyAllowanceTheReportWaitsInTheFile) {
  const auto now = std::chrono::system_clock::now();
  for (int i = 0; i < kSubmissionsPerHour; ++i)
    ASSERT_TRUE(
        TakeSubmissionAllowance(temp_ / "rotalis-crash-submissions.txt", kSubmissionsPerHour, now));
  EXPECT_EQ(Run("start-up", tracker_.BaseUrl()).status, 1);
  EXPECT_TRUE(tracker_.Operations().empty());
  ASSERT_TRUE(ReportFileExists());
  EXPECT_THAT(ReportFile(), HasSubstr("ConnectToDatabase"));
}

// Two handlers of a module package report failures of their own through the
// application object: two reports, each with the handler that failed.
TEST_F(CrashProcessTest, TwoFailuresAModulePackageReportsAreTwoReportsWithTheirHandlers) {
  const std::string package = test::LocalPath(ROTALIS_FAILING_PACKAGE);
  for (const std::string suffix : {"", ".sym"}) {
    if (platform::FileExists(package + suffix))
      platform::WriteFileBytes(folder_ / "mrotalis.bpl" + suffix,
                               platform::ReadFileBytes(package + suffix));
  }
  const ChildRun run = Run("package-fails", tracker_.BaseUrl(), "recording", "continue,continue");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("message loop went on"));
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
    EXPECT_THAT(stack.substr(stack.rfind('\n', at)), HasSubstr("mrotalis.bpl"));
    EXPECT_THAT(stack.substr(0, at), HasSubstr("PackageBridge::Fail"));
  }
}

// Neither a dialog, nor a screenshot, nor a report: only the box.
TEST_F(CrashProcessTest, AnEditErrorShowsOnlyASimpleBox) {
  const ChildRun run = Run("edit-error", tracker_.BaseUrl());
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out,
            "simple-box|crash-child|'31/02/2024' is not a valid date|&OK|&Details\n"
            "message loop went on\n");
  EXPECT_FALSE(ReportFileExists());
  EXPECT_TRUE(tracker_.Operations().empty());
}

// Each fault, and an error escaping a thread, is reported by the watcher with
// the failing function first, submitted without a screenshot (the console
// takes none), and ends the process with its own status; the console dialog
// of the watcher offers no way to continue, and with nobody to answer it the
// focused button closes.
TEST_F(CrashProcessTest, FatalErrorsAreReportedByTheWatcherWithTheFailingFunctionFirst) {
  std::size_t reported = 0;
  for (const FaultCase& fault : kFaults) {
    SCOPED_TRACE(fault.scenario);
    const ChildRun run = Run(fault.scenario, tracker_.BaseUrl(), "console", "", kProductWatcher);
    EXPECT_EQ(run.status, fault.status) << run.err;
    const auto issues = tracker_.Issues();
    ASSERT_EQ(issues.size(), ++reported) << run.err;
    const test::TrackerIssue& issue = issues.back();
    EXPECT_THAT(issue.summary, StartsWith(std::string("crash-child, ") + fault.message));
    EXPECT_EQ(issue.attachments.count("screenshot.png"), 0u);
    const std::string& report = issue.attachments.at("bugreport.txt");
    EXPECT_THAT(report, HasSubstr(std::string("exception class     : ") + fault.errorClass));
    EXPECT_THAT(FirstFrame(report), AllOf(HasSubstr(fault.function), HasSubstr("CrashChild.cpp:")));
    EXPECT_GE(test::CountOf(report, fault.function), fault.repeats);
    for (const char* text :
         {"== crash-child ==", "An error occurred in the application.",
          "continue application (not possible", "[4] close application (default)"})
      EXPECT_THAT(run.err, HasSubstr(text));
    EXPECT_FALSE(ReportFileExists());
  }
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
  EXPECT_THAT(line, Not(HasSubstr("address")));
}
#endif

// The program restarts with the environment it began with and its command
// line (a blank, a quote, a backslash before a quote, text beyond ASCII):
// after an error it reports itself, and after a fault, from its watcher,
// with the command line the crashed process holds.
struct RestartCase {
  const char* scenario;
  const char* watcher;
  int status;
};

class CrashRestartTest : public CrashProcessTest,
                         public ::testing::WithParamInterface<RestartCase> {};

TEST_P(CrashRestartTest, RunsTheSameCommandLineWithTheEnvironmentItStartedWith) {
  const std::vector<std::string> arguments = {"two words", "say \"hi\"", "C:\\dir\\", "ação"};
  const auto [scenario, watcher, status] = GetParam();
  const ChildRun run = Run(scenario, DeadTracker(), "recording", "restart", watcher, arguments);
  EXPECT_EQ(run.status, status) << run.err;
  EXPECT_THAT(run.out, HasSubstr("chosen|restart"));
  std::string start = std::string("start as started|") + scenario;
  for (const std::string& argument : arguments) start += "|" + argument;
  EXPECT_EQ(Starts(2), start + "\n" + start + "\n");
}

INSTANTIATE_TEST_SUITE_P(AfterAnErrorAndAFault, CrashRestartTest,
                         ::testing::Values(RestartCase{"restart", nullptr, 0},
                                           RestartCase{"restart-after-fault",
                                                       ROTALIS_CRASH_TEST_WATCHER,
                                                       kFaults[0].status}));

}  // namespace
}  // namespace rotalis::crash

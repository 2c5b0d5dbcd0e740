// The crash reporter's parts in this process: the submission against the
// fixture tracker and its grouping by cause, the crash signature, the hourly
// allowance, the report file's size limit, the stack recorded at the throw and
// named from the debug information, the exception filters' class matching,
// and the console dialog.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "crash/CrashReporter.h"
#include "crash/CrashSettings.h"
#include "crash/CrashSignature.h"
#include "crash/ExceptionInfo.h"
#include "crash/MantisSubmitter.h"
#include "crash/ReportDelivery.h"
#include "crash/ReportFile.h"
#include "crash/ReportText.h"
#include "crash/SubmissionAllowance.h"
#include "platform/Environment.h"
#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/StackTrace.h"
#include "platform/Symbolizer.h"
#include "rotalis/EDBEditError.h"
#include "tests/crash/RecordingCrashUi.h"
#include "tests/support/TempFolder.h"
#if defined(_WIN32)
#include "tests/support/HeldFile.h"
#endif
#include "tests/support/mantis/MantisFixtureServer.h"
#include "ui/console/ConsoleCrashUi.h"

namespace rotalis::crash {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const TCrashSettings kSettings;

class SubmissionTest : public ::testing::Test {
 protected:
  test::MantisFixtureServer tracker_{{.password = kSettings.BugTrPassword}};
  std::unique_ptr<net::HttpTransport> transport_ = net::HttpTransport::Create();

  TCrashSettings Settings() const {
    return TCrashSettings::ForDeployment(Deployment{"", "", "", "", tracker_.BaseUrl()});
  }
};

TEST_F(SubmissionTest, FilesTheIssueWithItsAttachmentsByteForByte) {
  std::string binary;
  for (int i = 0; i < 256; ++i) binary += static_cast<char>(i);
  const MantisIssue issue{"TarvoArquivos", "General", "rotalis, Data ISO inválida <&>",
                          "error details: \r\nline one\nline \"two\""};
  MantisSubmitter(*transport_, Settings())
      .Submit(issue, {{"bugreport.txt", "text/plain", "report\r\ntext"},
                      {"screenshot.png", "image/png", binary}});

  const auto issues = tracker_.Issues();
  ASSERT_EQ(issues.size(), 1u);
  EXPECT_EQ(issues[0].summary, issue.summary);
  EXPECT_EQ(issues[0].description, issue.description);  // the CR survives XML
  EXPECT_EQ(issues[0].attachments.at("bugreport.txt"), "report\r\ntext");
  EXPECT_EQ(issues[0].attachments.at("screenshot.png"), binary);
  EXPECT_EQ(issues[0].attachmentTypes.at("screenshot.png"), "image/png");
  EXPECT_THAT(tracker_.WsdlViolations(), IsEmpty());
}

// A report of a cause the project has open goes to that issue as a note;
// resolved issues and other causes do not count, nor does a search the
// tracker refuses.
TEST_F(SubmissionTest, AReportOfAnOpenCauseBecomesANoteWithAttachmentsOfItsOwn) {
  MantisSubmitter submitter(*transport_, Settings());
  const auto submit = [&](const std::string& signature, const std::string& note) {
    return submitter.SubmitGrouped(
        {"TarvoArquivos", "General", "rotalis, erro", "crash signature     : " + signature},
        {{"bugreport.txt", "text/plain", note}}, signature, note);
  };
  const auto first = submit("crash-00000000000000aa", "um");
  EXPECT_NE(submit("crash-00000000000000aa", "dois").noteId, 0);
  EXPECT_NE(submit("crash-00000000000000bb", "três").issueId, first.issueId);
  tracker_.SetIssueStatus(static_cast<int>(first.issueId), 80);  // resolved
  EXPECT_EQ(submit("crash-00000000000000aa", "quatro").noteId, 0);

  const auto issues = tracker_.Issues();
  ASSERT_EQ(issues.size(), 3u);
  EXPECT_EQ(issues[2].attachments.at("bugreport.txt"), "quatro");
  EXPECT_THAT(tracker_.WsdlViolations(), IsEmpty());

  // A tracker that refuses the search still gets every report, as an issue.
  test::MantisFixtureServer blind({.password = kSettings.BugTrPassword, .refuseSearch = true});
  const auto settings = TCrashSettings::ForDeployment(Deployment{"", "", "", "", blind.BaseUrl()});
  for (const char* note : {"cinco", "seis"}) {
    EXPECT_EQ(MantisSubmitter(*transport_, settings)
                  .SubmitGrouped({"TarvoArquivos", "General", "rotalis, erro", "d"}, {},
                                 "crash-00000000000000aa", note)
                  .noteId,
              0);
  }
  EXPECT_EQ(blind.Issues().size(), 2u);
  EXPECT_EQ(std::ranges::count(blind.Operations(), "mc_filter_search_issue_ids"), 2);
}

// The tracker's answers and both kinds of its faults are read in the
// submissions above; what a proxy or a gateway sends in their place is an
// error, never a result.
TEST(MantisSoapTest, WhatIsNoAnswerOfTheTrackerIsAnError) {
  EXPECT_TRUE(ParseIntegerArrayResponse(200, "<return xsi:type=\"SOAP-ENC:Array\"/>").empty());
  EXPECT_THROW(ParseIntegerArrayResponse(200, "<return><item>x</item></return>"), MantisError);
  for (const int status : {200, 502}) {
    EXPECT_THROW(ParseIntegerResponse(status, "<html>Bad gateway</html>"), MantisError);
    EXPECT_THROW(ParseIntegerArrayResponse(status, "<html>Bad gateway</html>"), MantisError);
  }
}

platform::StackFrame Frame(const std::string& module, const std::string& function,
                           const std::string& file, int line, std::uintptr_t address) {
  return {address, module, 0, function, address & 0xff, file, line, 0};
}

// The same cause on another workstation or after a rebuild: other addresses,
// lines, system libraries and module spelling; a cause differs by its class
// or by a function of the program.
TEST(CrashSignatureTest, NamesTheCauseWhateverTheAddressesLinesAndSystemLibraries) {
  const std::vector<platform::StackFrame> here = {
      Frame("rotalis.exe", "rotalis::Connect()", "db/Session.cpp", 40, 0x401a10),
      Frame("user32.dll", "DispatchMessageW", "", 0, 0x7ff81000),
      Frame("rotalis.exe", "main", "launcher/main.cpp", 12, 0x402000)};
  const std::vector<platform::StackFrame> there = {
      Frame("ROTALIS.EXE", "rotalis::Connect()", "db/Session.cpp", 44, 0x501b20),
      Frame("user32.dll", "GetMessageW", "", 0, 0x7ff92000),
      Frame("ntdll.dll", "RtlUserThreadStart", "", 0, 0x7ff93000),
      Frame("rotalis.exe", "main", "launcher/main.cpp", 13, 0x502000)};
  const std::string signature = CrashSignatureOf("rotalis::Exception", here);
  EXPECT_EQ(CrashSignatureOf("rotalis::Exception", there), signature);
  EXPECT_NE(CrashSignatureOf("rotalis::ERESTException", here), signature);
  auto elsewhere = here;
  elsewhere[0].function = "rotalis::Reconnect()";
  EXPECT_NE(CrashSignatureOf("rotalis::Exception", elsewhere), signature);
  // Without names nothing tells causes apart: no signature.
  EXPECT_EQ(CrashSignatureOf("rotalis::Exception", {platform::StackFrame{}}), "");
}

TEST(SubmissionAllowanceTest, AHandfulAnHourThenTheOldestMustBeAnHourOld) {
  test::TempFolder folder;
  const std::string log = folder / "submissions.txt";
  const auto start = std::chrono::system_clock::now();
  for (int i = 0; i < 3; ++i)
    EXPECT_TRUE(TakeSubmissionAllowance(log, 3, start + std::chrono::minutes(10 * i)));
  EXPECT_FALSE(TakeSubmissionAllowance(log, 3, start + std::chrono::minutes(59)));
  EXPECT_TRUE(TakeSubmissionAllowance(log, 3, start + std::chrono::minutes(61)));
  EXPECT_FALSE(TakeSubmissionAllowance(log, 3, start + std::chrono::minutes(62)));
  // A log that makes no sense counts nothing; one that cannot be kept
  // never holds a report back.
  folder.Write("submissions.txt", "garbage\n");
  EXPECT_TRUE(TakeSubmissionAllowance(log, 1, start));
  EXPECT_TRUE(TakeSubmissionAllowance(folder / "missing/folder/log.txt", 0, start));
}

TEST_F(SubmissionTest, TheTrackersRefusalsRaiseWithItsText) {
  TCrashSettings wrongPassword = Settings();
  wrongPassword.BugTrPassword = "not the password";
  const MantisIssue issue{"TarvoArquivos", "General", "s", "d"};
  const auto refusal = [&](const TCrashSettings& settings, const MantisIssue& what) {
    try {
      MantisSubmitter(*transport_, settings).Submit(what, {});
    } catch (const MantisError& error) {
      return std::string(error.what());
    }
    return std::string("no error");
  };
  EXPECT_EQ(refusal(wrongPassword, issue), "Access denied");
  EXPECT_EQ(refusal(Settings(), {"Outro", "General", "s", "d"}), "Project not specified");
  EXPECT_EQ(refusal(Settings(), {"TarvoArquivos", "Geral", "s", "d"}),
            "Category 'Geral' not found.");
  EXPECT_TRUE(tracker_.Issues().empty());
}

// A session without a desktop to draw the please-wait box on; the dialog
// closes at once and the screen is a fixed image.
class NoDesktopCrashUi : public test::RecordingCrashUi {
 public:
  NoDesktopCrashUi() : RecordingCrashUi("close") {}
  void ShowPleaseWait(const std::string&, const std::string&) override {
    throw Exception("Cannot show the dialog: Invalid window handle");
  }
};

// The tracker counts the summary's characters as it receives them: each stray
// byte or control character arrives as "?", and line breaks and tabs as one
// blank each run.
TEST(ReportDeliveryTest, TheSummaryIsCutOnWhatTheTrackerReceives) {
  const std::string message = "linha um\r\n\tlinha dois\x01 " + std::string(130, '\xFF');
  const std::string expected = "rotalis, linha um linha dois? " + std::string(130, '?');
  EXPECT_EQ(IssueForReport(kSettings, "rotalis", message, "").summary, expected.substr(0, 128));
}

// A please-wait box that cannot open, and an attachment the tracker refuses,
// cost no report; once the issue exists its description holds the whole
// report, so the report counts as sent and is not filed again inside the
// next crash's attachment.
TEST(ReporterTest, WhatFailsBesideTheSubmissionCostsNoReportAndFilesNoneTwice) {
  // The hourly allowance is counted in the temporary folder: one of this
  // program's own, which later tests' temporary folders go in as well.
  static const test::TempFolder temp("rotalis-crash-temp");
  for (const char* name : {"TMPDIR", "TEMP", "TMP"}) platform::SetEnvironment(name, temp.Path());
  test::TempFolder folder;
  test::MantisFixtureServer tracker(
      {.password = kSettings.BugTrPassword, .disallowedExtensions = {"png"}});
  NoDesktopCrashUi ui;
  const auto transport = net::HttpTransport::Create();
  std::uintptr_t address = 0x1000;
  // Each error with a stack of its own: a repeated stack is not filed again.
  const auto report = [&](const std::string& message) {
    ApplicationInfo application;
    application.name = "rotalis";
    application.folder = folder.Path();
    CrashEvent event;
    event.errorClass = "rotalis::Exception";
    event.classChain = {event.errorClass};
    event.message = message;
    event.origin = "program body";
    event.stack = {++address};
    CrashReporter(TCrashSettings::ForDeployment(Deployment{"", "", "", "", tracker.BaseUrl()}),
                  application, ui, *transport)
        .Handle(event);
  };
  report("primeiro erro");
  EXPECT_FALSE(platform::FileExists(folder / kSettings.BugRepFile));
  report("segundo erro");
  const auto issues = tracker.Issues();
  ASSERT_EQ(issues.size(), 2u);
  EXPECT_THAT(issues[0].attachments.at("bugreport.txt"), HasSubstr("primeiro erro"));
  EXPECT_EQ(issues[1].attachments.count("screenshot.png"), 0u);
  EXPECT_THAT(issues[1].attachments.at("bugreport.txt"),
              AllOf(HasSubstr("segundo erro"), Not(HasSubstr("primeiro erro"))));
}

std::string ReportOfSize(int number, std::size_t size) {
  std::string report = std::string(kReportStartLine) + "\nreport " + std::to_string(number) + "\n";
  report.resize(size - 1, 'x');
  return report + "\n";
}

TEST(ReportFileTest, StaysUnderItsLimitAndKeepsOnlyWholeNewestReports) {
  test::TempFolder folder;
  const std::string path = folder / "bugreport.txt";
  folder.Write("bugreport.txt", "written by something else\n");
  std::vector<std::string> appended;
  const std::size_t sizes[] = {30000, 45000, 7000, 52000, 99000, 1200, 40000, 60000};
  for (int i = 0; i < 8; ++i) {
    appended.push_back(ReportOfSize(i, sizes[i]));
    AppendReport(path, appended.back(), 100000);
    const std::string text = platform::ReadFileBytes(path);
    ASSERT_LE(text.size(), 100000u);
    // The file is exactly the newest reports that fit, each one whole.
    const auto kept = SplitReports(text);
    ASSERT_FALSE(kept.empty());
    EXPECT_EQ(text, std::accumulate(appended.end() - kept.size(), appended.end(), std::string()));
    if (kept.size() < appended.size()) {
      EXPECT_GT(text.size() + appended[appended.size() - kept.size() - 1].size(), 100000u);
    }
  }
  EXPECT_THROW(AppendReport(path, ReportOfSize(9, 100001), 100000), Exception);
}

// Crashes on several workstations of one application folder append to one
// file: without the lock, one process's rewrite drops what another appended
// meanwhile.
TEST(ReportFileTest, ReportsAppendedAtOnceAreAllKeptWhole) {
  test::TempFolder folder;
  const std::string path = folder / "bugreport.txt";
  constexpr int kWriters = 4, kEach = 15;
  std::set<std::string> expected;
  for (int w = 0; w < kWriters; ++w)
    for (int i = 0; i < kEach; ++i) expected.insert(ReportOfSize(w * 100 + i, 1500));
  {
    std::vector<std::jthread> writers;
    for (int w = 0; w < kWriters; ++w)
      writers.emplace_back([&path, w] {
        for (int i = 0; i < kEach; ++i) AppendReport(path, ReportOfSize(w * 100 + i, 1500), 100000);
      });
  }
  const std::string text = platform::ReadFileBytes(path);
  const auto kept = SplitReports(text);
  EXPECT_EQ(std::set<std::string>(kept.begin(), kept.end()), expected);
  EXPECT_EQ(kept.size(), expected.size());

  // Sent reports go only while no other report has joined them.
  RemoveSentReports(path, text.substr(1500));
  EXPECT_EQ(platform::ReadFileBytes(path), text);
  RemoveSentReports(path, text);
  EXPECT_FALSE(platform::FileExists(path));

  // Reports delivered one by one leave the file one by one, whatever joined
  // them meanwhile; the file goes with the last.
  const std::string a = ReportOfSize(1, 300), b = ReportOfSize(2, 300), c = ReportOfSize(3, 300);
  AppendReport(path, a, 100000);
  AppendReport(path, b, 100000);
  EXPECT_EQ(PendingReports(path), (std::vector<std::string>{a, b}));
  RemoveDeliveredReport(path, a);
  AppendReport(path, c, 100000);
  RemoveDeliveredReport(path, a);
  EXPECT_EQ(PendingReports(path), (std::vector<std::string>{b, c}));
  RemoveDeliveredReport(path, c);
  RemoveDeliveredReport(path, b);
  EXPECT_FALSE(platform::FileExists(path));
  EXPECT_TRUE(PendingReports(path).empty());
}

// Application folders are named in Portuguese; on Windows the name must reach
// the system as UTF-16, or the sent report is never found to be removed.
TEST(ReportFileTest, SentReportsAreRemovedFromAFolderNamedWithAccents) {
  test::TempFolder folder("Gestão-Fiscal");
  const std::string path = folder / "bugreport.txt";
  const std::string text = AppendReport(path, ReportOfSize(1, 1500), 100000);
#if defined(_WIN32)
  // Held by a scan as the submission ends: removed once it lets go.
  test::HeldFile holder(path);
  holder.ReleaseAfter(std::chrono::milliseconds(300));
#endif
  RemoveSentReports(path, text);
  EXPECT_FALSE(platform::FileExists(path));
}

class RefusedPostalCode : public EDBEditError {
  using EDBEditError::EDBEditError;
};

constexpr int kThrowLine = __LINE__ + 1;
[[gnu::noinline]] void ThrowFromHere() { throw RefusedPostalCode("CEP"); }

// The stack recorded at the throw, named from the debug information, and the
// class chain the exception filters match: the class and its ancestors only.
TEST(ExceptionInfoTest, NamesTheThrowingFunctionAndMatchesTheClassAndItsAncestors) {
  std::exception_ptr error;
  try {
    ThrowFromHere();
  } catch (...) {
    error = std::current_exception();
  }
  const auto stack = platform::ThrowStackOf(error);
  ASSERT_FALSE(stack.empty());
  const auto frame = platform::Symbolizer::ForProcess()->Describe(stack.front(), false);
  EXPECT_THAT(frame.function, HasSubstr("ThrowFromHere"));
  EXPECT_EQ(frame.line, kThrowLine);
  EXPECT_EQ(frame.functionLine, kThrowLine);
  EXPECT_THAT(FormatStackLine(frame),
              AllOf(HasSubstr("+0x"),
                    HasSubstr("CrashPartsTest.cpp:" + std::to_string(kThrowLine) + " (+0)")));

  const auto info = DescribeException(error);
  EXPECT_EQ(info.message, "CEP");
  EXPECT_TRUE(ClassMatches(info.classChain, "EDBEditError"));
  EXPECT_TRUE(ClassMatches(info.classChain, "std::runtime_error"));
  const auto other = DescribeException(std::make_exception_ptr(Exception("JSON inválido")));
  EXPECT_EQ(other.className, "rotalis::Exception");
  EXPECT_FALSE(ClassMatches(other.classChain, "EDBEditError"));
  EXPECT_FALSE(ClassMatches({"rotalis::NotEDBEditError"}, "EDBEditError"));
  EXPECT_EQ(DescribeException(std::make_exception_ptr(42)).className, "int");
}

ui::CrashDialogSpec Dialog(bool canContinue) {
  using ui::CrashDialogButton;
  return {"rotalis",
          "An error occurred in the application.",
          {{CrashDialogButton::ShowBugReport, "show bug report"},
           {CrashDialogButton::ContinueApplication, "continue application"},
           {CrashDialogButton::RestartApplication, "restart application"},
           {CrashDialogButton::CloseApplication, "close application"}},
          CrashDialogButton::CloseApplication,
          "rotalis::Exception: JSON inválido",
          canContinue};
}

// At a terminal (without one, the focused button closes: the watcher's runs
// show it), the user picks by number, and by key in a simple box.
TEST(ConsoleCrashUiTest, TheUserAnswersAtATerminal) {
  std::istringstream in("7\n2\n2\n3\n\nd\no\n");
  std::ostringstream out;
  const auto ui = ui::console::CreateConsoleCrashUi({in, out, true});
  EXPECT_EQ(ui->ShowCrashDialog(Dialog(true)), ui::CrashDialogButton::ContinueApplication);
  EXPECT_THAT(out.str(), HasSubstr("No such choice."));
  // After a crash the process cannot survive, continuing is refused.
  EXPECT_EQ(ui->ShowCrashDialog(Dialog(false)), ui::CrashDialogButton::RestartApplication);
  EXPECT_EQ(ui->ShowCrashDialog(Dialog(true)), ui::CrashDialogButton::CloseApplication);
  out.str("");
  ui->ShowSimpleBox({"rotalis", "'31/02' is not a valid date", "&OK", "&Details",
                     "rotalis::EDBEditError: '31/02' is not a valid date"});
  EXPECT_EQ(out.str(),
            "'31/02' is not a valid date\n  [o] OK  [d] Details: "
            "rotalis::EDBEditError: '31/02' is not a valid date\n  [o] OK  [d] Details: ");
}

}  // namespace
}  // namespace rotalis::crash

// A fault in the module package, run by the real launcher binary with its
// crash watcher beside it, against the tracker fixture where the binary was
// built to find it.

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include "config/Deployment.h"
#include "crash/CrashSettings.h"
#include "net/JsonText.h"
#include "platform/FileSystem.h"
#include "tests/launcher/LauncherRun.h"
#include "tests/support/HostShell.h"
#include "tests/support/cloud/CloudFixtureServer.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/mantis/MantisFixtureServer.h"

namespace rotalis::test {
namespace {

#if defined(_WIN32)
const int kAccessViolationStatus = static_cast<int>(0xC0000005);
constexpr const char* kFaultClass = "EXCEPTION_ACCESS_VIOLATION";
constexpr const char* kFaultMessage = "Access violation writing address 0x0";
#else
constexpr int kAccessViolationStatus = 128 + 11;
constexpr const char* kFaultClass = "SIGSEGV";
constexpr const char* kFaultMessage = "Segmentation fault (address not mapped to object)";
#endif

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// The port of the tracker the binary was built for, which must be served on
// loopback by plain HTTP under "/erros".
int CompiledTrackerPort() {
  const std::string& url = Deployment::Compiled().bugTrackerUrl;
  const std::string prefix = "http://127.0.0.1:";
  const std::string suffix = "/erros";
  if (url.rfind(prefix, 0) != 0 || url.size() <= prefix.size() + suffix.size() ||
      url.compare(url.size() - suffix.size(), suffix.size(), suffix) != 0)
    throw std::runtime_error(
        "the launcher tests serve the tracker on loopback, but this build has " +
        ("ROTALIS_BUGTRACKER_URL=\"" + url) +
        "\"; configure with ROTALIS_BUGTRACKER_URL=" + prefix + "<port>" + suffix);
  return std::stoi(url.substr(prefix.size(), url.size() - prefix.size() - suffix.size()));
}

// "test_package.c:<line>" of the package's faulting write.
std::string FaultingLine() {
  std::istringstream source(platform::ReadFileBytes(LocalPath(ROTALIS_TEST_PACKAGE_SOURCE)));
  int number = 0;
  for (std::string line; std::getline(source, line);) {
    ++number;
    if (Has(line, "the faulting line")) return "test_package.c:" + std::to_string(number);
  }
  throw std::runtime_error("test_package.c has no faulting line");
}

TEST(LauncherCrash, AFaultInThePackagesEventHandlerIsReportedWithItsSourceLine) {
  SharedCloud().SetRules(kCompanyCnpj, net::Json::array({SampleRule("000001")}).dump());
  MantisTrackerSetup setup;
  setup.password = crash::TCrashSettings().BugTrPassword;
  setup.port = CompiledTrackerPort();
  MantisFixtureServer tracker(setup);
  LauncherFolder app;
  app.PutPackage("eventcrash", "Modulos");
  app.PutCrashWatcher();

  const auto run = app.Run();

  EXPECT_EQ(run.exitStatus, kAccessViolationStatus) << run.errors;
  EXPECT_TRUE(Has(run.marker, "MainForm eventcrash\nposted eventcrash\n")) << run.marker;
  // The watcher's console dialog, where nobody can answer: the process closes.
  EXPECT_TRUE(Has(run.errors, "An error occurred in the application.")) << run.errors;
  const auto issues = tracker.Issues();
  ASSERT_EQ(issues.size(), 1u) << run.errors;
  EXPECT_EQ(issues[0].summary.rfind(std::string("rotalis, ") + kFaultMessage, 0), 0u)
      << issues[0].summary;
  const std::string& report = issues[0].attachments.at("bugreport.txt");
  EXPECT_TRUE(Has(report, std::string("exception class     : ") + kFaultClass)) << report;
  EXPECT_TRUE(Has(report, "can continue        : no"));
  // The first frame is the faulting write, in the package, named with its
  // function and source line; the launcher's loop that ran it follows.
  const std::string stack = report.substr(report.find("call stack of the crashing thread:"));
  const std::size_t firstAt = stack.find('\n') + 1;
  const std::string first = stack.substr(firstAt, stack.find('\n', firstAt) - firstAt);
  EXPECT_TRUE(Has(first, "mrotalis.bpl")) << report;
  EXPECT_TRUE(Has(first, "CrashInEventHandler")) << report;
  EXPECT_TRUE(Has(first, FaultingLine())) << report;
  EXPECT_TRUE(Has(stack, "rotalis::RunLauncher")) << report;
  EXPECT_TRUE(tracker.WsdlViolations().empty());
  // Submitted, so the report file went.
  EXPECT_FALSE(platform::FileExists(app.Folder() + "bugreport.txt"));
}

}  // namespace
}  // namespace rotalis::test

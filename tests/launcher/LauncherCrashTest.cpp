// A fault in the module package, run by the real launcher binary with its
// crash watcher beside it, against the tracker fixture where the binary was
// built to find it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include "config/Deployment.h"
#include "crash/CrashSettings.h"
#include "net/JsonText.h"
#include "platform/FileSystem.h"
#include "tests/launcher/CompiledCloud.h"
#include "tests/launcher/LauncherRun.h"
#include "tests/support/HostShell.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/mantis/MantisFixtureServer.h"

namespace rotalis::test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

#if defined(_WIN32)
const int kAccessViolationStatus = static_cast<int>(0xC0000005);
constexpr const char* kFaultMessage = "Access violation writing address 0x0";
#else
constexpr int kAccessViolationStatus = 128 + 11;
constexpr const char* kFaultMessage = "Segmentation fault (address not mapped to object)";
#endif

// The port of the tracker the binary was built for, which must be served on
// loopback by plain HTTP under "/erros".
int CompiledTrackerPort() {
  const std::string& url = Deployment::Compiled().bugTrackerUrl;
  const std::string prefix = "http://127.0.0.1:";
  if (url.rfind(prefix, 0) != 0 || !url.ends_with("/erros"))
    throw std::runtime_error("this build has ROTALIS_BUGTRACKER_URL=\"" + url +
                             "\"; the launcher tests serve the tracker on " + prefix +
                             "<port>/erros");
  return std::stoi(url.substr(prefix.size()));
}

// "test_package.c:<line>" of the package's faulting write.
std::string FaultingLine() {
  std::istringstream source(platform::ReadFileBytes(LocalPath(ROTALIS_TEST_PACKAGE_SOURCE)));
  int number = 1;
  for (std::string line;
       std::getline(source, line) && line.find("the faulting line") == std::string::npos;)
    ++number;
  return "test_package.c:" + std::to_string(number);
}

// How the watcher reports a fault and a console dialog nobody answers are the
// crash-child's tests; here, that the launcher a deployment installs reports
// one in its module package, submitted to the compiled tracker.
TEST(LauncherCrash, AFaultInThePackagesEventHandlerIsReportedWithItsSourceLine) {
  SharedCloud().SetRules(kCompanyCnpj, net::Json::array({SampleRule("000001")}).dump());
  MantisFixtureServer tracker(
      {.password = crash::TCrashSettings().BugTrPassword, .port = CompiledTrackerPort()});
  LauncherFolder app;
  app.PutPackage("eventcrash", "Modulos");
  app.PutCrashWatcher();

  const auto run = app.Run();

  EXPECT_EQ(run.exitStatus, kAccessViolationStatus) << run.errors;
  EXPECT_THAT(run.marker, HasSubstr("MainForm eventcrash\nposted eventcrash\n"));
  const auto issues = tracker.Issues();
  ASSERT_EQ(issues.size(), 1u) << run.errors;
  EXPECT_THAT(issues[0].summary, StartsWith(std::string("rotalis, ") + kFaultMessage));
  const std::string& report = issues[0].attachments.at("bugreport.txt");
  EXPECT_THAT(report, HasSubstr("can continue        : no"));
  // The first frame is the faulting write, in the package, named with its
  // function and source line; the launcher's loop that ran it follows.
  const std::string stack = report.substr(report.find("call stack of the crashing thread:"));
  const std::size_t firstAt = stack.find('\n') + 1;
  const std::string first = stack.substr(firstAt, stack.find('\n', firstAt) - firstAt);
  for (const std::string& part :
       {std::string("mrotalis.bpl"), std::string("CrashInEventHandler"), FaultingLine()})
    EXPECT_THAT(first, HasSubstr(part));
  EXPECT_THAT(stack, HasSubstr("rotalis::RunLauncher"));
  EXPECT_FALSE(platform::FileExists(app.Folder() + "bugreport.txt"));
}

}  // namespace
}  // namespace rotalis::test

// The launcher's program body, run as the real binary from an application
// folder with a blank in its name, against a real site: private MariaDB,
// the cloud fixture where the binary looks for it and, for installers, the
// update server; for a crash, the tracker fixture where the binary was built
// to find it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <vector>

#include "config/Deployment.h"
#include "crash/CrashSettings.h"
#include "net/JsonText.h"
#include "platform/Environment.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/Ping.h"
#include "tests/launcher/LauncherRun.h"
#include "tests/support/HostShell.h"
#include "tests/support/TextCount.h"
#include "tests/support/cloud/CloudFixtureServer.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/mantis/MantisFixtureServer.h"
#include "tests/support/mariadb/MariaDbTest.h"
#include "tests/support/nginx/NginxUpdateServer.h"
#include "update/FileVersionText.h"
#include "update/UpdateDriver.h"
#include "update/UpdateServer.h"

namespace rotalis::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// The launcher's version as the build gave it to the program, without dots.
std::string VersionDigits() { return DigitsOnly(ROTALIS_PROJECT_VERSION); }

// An installer whose digits, read as one number as the launcher reads them,
// are the running version's plus `step`.
std::string Installer(int step) {
  return "Setup_" + std::to_string(std::stoll(VersionDigits()) + step) + ".exe";
}

// The PATH the launcher sets. Windows has a separator after every folder, the
// last one included; elsewhere a trailing separator would mean the working
// directory.
std::string FourFolders(const std::string& f) {
  const std::string sep(1, platform::PathListSeparator());
  std::string path;
  for (const char* name : {"kernel", "BPLs", "Modulos", "DLLs"}) {
#if defined(_WIN32)
    path += platform::JoinPath(f, name) + sep;
#else
    path += (path.empty() ? "" : sep) + platform::JoinPath(f, name);
#endif
  }
  return path;
}

#if defined(_WIN32)
const int kAccessViolationStatus = static_cast<int>(0xC0000005);
#else
constexpr int kAccessViolationStatus = 128 + 11;
#endif

// The port of the tracker the binary was built for ("http://127.0.0.1:<port>/erros").
int CompiledTrackerPort() {
  const std::string& url = Deployment::Compiled().bugTrackerUrl;
  return std::stoi(url.substr(url.rfind(':') + 1));
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

// How the installer recorded its argument text. Windows hands the text over
// as it is; the Linux script sees the arguments split at blanks and joins
// them with one.
std::string RecordedInstallerArguments() {
#if defined(_WIN32)
  return "  /silent /nocancel  /ALLUSERS ";
#else
  return "/silent /nocancel /ALLUSERS";
#endif
}

class LauncherProgram : public ::testing::Test {
 protected:
  void SetUp() override {
    SharedCloud().SetRules(kCompanyCnpj,
                           net::Json::array({SampleRule("000001"), SampleRule("000002")}).dump());
  }

  static std::string RuleCodes(const LauncherFolder& app) {
    return SharedMariaDb()
        .QueryValue("SELECT GROUP_CONCAT(nrtcodigo ORDER BY nrtcodigo) FROM nrt", app.Database())
        .value_or("");
  }

  // The update step goes past the ping only when the compiled update server
  // answers one.
  // Pinging needs a raw socket, or a group range the kernel allows: an
  // unprivileged developer may not have it, and such a test is reported as
  // skipped. A run that can ping (CI runs as root) sets
  // ROTALIS_TEST_REQUIRE_PING, so a ping that fails there fails the test.
  static bool UpdateServerAnswers() {
    if (platform::PingOnce(Deployment::Compiled().updateServer, kUpdateServerPingMs)) return true;
    if (platform::GetEnvironment("ROTALIS_TEST_REQUIRE_PING"))
      ADD_FAILURE() << "the update server address does not answer a ping, and this run requires it";
    return false;
  }
};

// The server chooses how an account logs in. An ed25519 account (MariaDB's
// own method) logs in with the client's plugin, Debian's on Linux and the one
// built into the Windows program; every other run logs in the default way.
TEST_F(LauncherProgram, SynchronisesTheRulesThenHostsThePackageFoundOnlyInModulos) {
  LauncherFolder app;
  SharedMariaDb().CreateEd25519Account("rotalis_ed", "Chave-ed25519", app.Database());
  ASSERT_EQ(SharedMariaDb().QueryValue("SELECT plugin FROM mysql.user WHERE user = 'rotalis_ed'"),
            "ed25519");
  app.UseAccount("rotalis_ed", "Chave-ed25519");
  app.PutPackage("standard", "Modulos");
  const auto run = app.Run();
  EXPECT_EQ(run.exitStatus, 0) << run.errors;
  EXPECT_EQ(RuleCodes(app), "000001,000002");
  EXPECT_EQ(run.marker,
            "loaded standard PATH=" + FourFolders(app.Folder()) + "\nMainForm standard\n");
  // The form was found by its name and ran as the main window until the
  // input ended.
  EXPECT_EQ(run.errors, "Test standard is open\nform of the test package\nTest standard closed\n");
  EXPECT_EQ(run.output, "");
}

TEST_F(LauncherProgram, SearchesTheApplicationFolderFirstThenThePathFoldersInOrder) {
  LauncherFolder app;
  app.PutPackage("othername", "kernel");
  app.PutPackage("standard", "");
  EXPECT_EQ(CountOf(app.Run().marker, "loaded standard"), 1);

  LauncherFolder other;
  other.PutPackage("othername", "BPLs");
  other.PutPackage("standard", "Modulos");
  const auto run = other.Run();
  EXPECT_EQ(CountOf(run.marker, "loaded othername"), 1);
  EXPECT_EQ(CountOf(run.marker, "loaded standard"), 0);
}

// Each package variant in a folder of its own: how the start ends, what
// standard error holds (these parts, or exactly these; "{package}" stands for
// the package's path, "{Modulos}" for that folder's, "{dependency}" for the
// library's name), and what the marker holds and lacks.
struct PackageCase {
  // "" for none; "damaged": a file that is no library; "needsdep+BPLs": the
  // library it needs in BPLs/.
  const char* variant = "";
  const char* subfolder = "Modulos";
  int status = 0;
  std::vector<std::string> errors = {};
  bool exact = false;
  std::string marked = "";
  std::string unmarked = "";
};

TEST_F(LauncherProgram, HostsEachPackageItCanAndEndsTheStartNamingWhyForTheOthers) {
  const std::string dependency = LocalPath(ROTALIS_TEST_DEPENDENCY);
  const std::string library = dependency.substr(dependency.find_last_of("/\\") + 1);
  const PackageCase cases[] = {
    // An export of another case is none: the package stays loaded, unused.
    {.variant = "lowercase", .exact = true, .marked = "loaded lowercase", .unmarked = "MainForm"},
    // A form of another name: no window, the start ends normally.
    {.variant = "othername", .subfolder = "DLLs", .exact = true, .marked = "MainForm othername"},
    // Built against a shorter form spec: what it knows is used, the rest
    // keeps the launcher's defaults (no text, the default size).
    {.variant = "shortspec",
     .errors = {"Test shortspec is open\nTest shortspec closed\n"},
     .exact = true},
    // It keeps its application object and builds a second form from an
    // event handler, after MainForm returned.
    {.variant = "keepsapp", .marked = "second form created keepsapp\n"},
    {.variant = "sample",
     .errors = {"Rotalis is open\nMódulo Rotalis carregado.\nRegras fiscais e instalação "
                "verificadas na partida.\nRotalis closed\n"},
     .exact = true},
    // A library kept only in BPLs/ is found there, from a folder whose name
    // has a blank, as the Windows loader finds it through PATH; without it
    // the start-up ends naming it.
    {.variant = "needsdep+BPLs", .marked = "dependency needsdep 42\n"},
    {.variant = "needsdep", .status = 1, .errors = {"{dependency}"}, .unmarked = "MainForm"},
    {.status = 1,
     .errors = {"Cannot load the module package mrotalis.bpl: it is in none of the folders",
                "{Modulos}"}},
    {.variant = "newcontract",
     .status = 1,
     .errors = {"needs module contract 2; this launcher provides contract 1"},
     .unmarked = "MainForm"},
    // The loader's own text names neither the file nor the machine ("Bad
    // EXE format for %1").
    {.variant = "damaged", .status = 1, .errors = {"Cannot load {package}: "}},
#if defined(_WIN32)
    {.variant = "x86",
     .status = 1,
     .errors = {"Não é possível carregar {package}: o arquivo foi feito para Windows de 32 bits "
                "(x86), e este programa é de Windows de 64 bits (x64)."},
     .unmarked = "loaded"},
#endif
  };
  for (const PackageCase& c : cases) {
    const std::string variant = c.variant;
    SCOPED_TRACE(variant);
    LauncherFolder app;
    const std::string modulos = platform::JoinPath(app.Folder(), "Modulos");
    const std::string package = platform::JoinPath(modulos, "mrotalis.bpl");
    if (!variant.empty())
      app.PutPackage(variant == "damaged" ? "standard" : variant.substr(0, variant.find('+')),
                     c.subfolder);
    if (variant == "damaged") platform::WriteFileBytes(package, "not a library");
    if (variant == "needsdep+BPLs") {
      platform::CreateDirectories(app.Folder() + "BPLs");
      platform::WriteFileBytes(app.Folder() + "BPLs/" + library,
                               platform::ReadFileBytes(dependency));
    }
    const auto run = app.Run("some input\n");
    EXPECT_EQ(run.exitStatus, c.status) << run.errors;
    std::string all;
    for (std::string part : c.errors) {
      for (const auto& [name, value] : {std::pair<std::string, std::string>{"{package}", package},
                                        {"{Modulos}", modulos + platform::PathSeparator()},
                                        {"{dependency}", library}}) {
        if (const auto at = part.find(name); at != std::string::npos)
          part.replace(at, name.size(), value);
      }
      EXPECT_THAT(run.errors, HasSubstr(part));
      all += part;
    }
    if (c.exact) {
      EXPECT_EQ(run.errors, all);
    }
    EXPECT_THAT(run.errors, Not(HasSubstr("%1")));
    EXPECT_THAT(run.marker, HasSubstr(c.marked));
    if (!c.unmarked.empty()) {
      EXPECT_THAT(run.marker, Not(HasSubstr(c.unmarked)));
    }
    EXPECT_EQ(run.output, "");
  }
}

// An error of the rule sync, or of the update step (a version record that
// cannot be written: without an edition the rules come from "morvane.ini" and
// the version goes to "erp.ini", here a folder), ends the start. The package
// writes its marker the moment it is loaded, so an empty marker proves it
// never was; the steps run in turn, so the update step has the rules, and
// after a failed sync records no version.
TEST_F(LauncherProgram, AnErrorInTheRuleSyncOrTheUpdateStepMeansThePackageIsNeverLoaded) {
  const bool updates = UpdateServerAnswers();
  const std::string badDateCnpj = "98765432000199";
  auto rule = SampleRule("000009");
  rule["data_inicio"] = "31/01/2026";
  SharedCloud().SetRules(badDateCnpj, net::Json::array({rule}).dump());
  for (const bool inSync : {true, false}) {
    SCOPED_TRACE(inSync ? "rule sync" : "update step");
    if (!inSync && !updates) GTEST_SKIP() << "the update server address does not answer a ping";
    LauncherFolder app(inSync ? badDateCnpj : kCompanyCnpj);
    app.PutPackage("standard", "Modulos");
    if (!inSync) {
      std::filesystem::remove(app.Folder() + "KelvaERP.exe");
      std::filesystem::rename(app.Folder() + "kelvaERP.ini", app.Folder() + "morvane.ini");
      platform::CreateDirectories(app.Folder() + "erp.ini");
    }
    const auto run = app.Run();
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_THAT(run.errors, HasSubstr(inSync ? "Data ISO inválida" : "erp.ini"));
    EXPECT_EQ(run.marker, "");
    EXPECT_EQ(run.output, "");
    if (!inSync) {
      EXPECT_EQ(RuleCodes(app), "000001,000002");
    } else if (updates) {
      EXPECT_THAT(platform::ReadFileBytes(app.Folder() + "kelvaERP.ini"), Not(HasSubstr("Versao")));
    }
  }
}

// The newer installer is downloaded and run with the silent arguments and the
// launcher's four folders as its whole PATH; the termination it requested
// ends the message loop as soon as it is entered, after the package has been
// hosted.
TEST_F(LauncherProgram, AnInstallerInheritsExactlyTheFourFoldersAndEndsTheLoop) {
  if (!UpdateServerAnswers()) GTEST_SKIP() << "the update server address does not answer a ping";
  const std::string older = Installer(-1), newer = Installer(+1);
  NginxUpdateServer server;
  server.PublishList("kelva", net::Json{{"qtd", 2}, {"nome-1", older}, {"nome-2", newer}}.dump());
  for (const std::string& name : {older, newer})
    server.PublishFile("kelva", name, LauncherFolder::InstallerScript());
  LauncherFolder app;
  app.PutPackage("standard", "Modulos");

  const auto run = app.Run("some input\n");

  EXPECT_EQ(run.exitStatus, 0) << run.errors;
  EXPECT_EQ(RuleCodes(app), "000001,000002");
  const std::string four = FourFolders(app.Folder());
  EXPECT_EQ(run.marker, "installer " + newer + " " + RecordedInstallerArguments() + " PATH=" +
                            four + "\nloaded standard PATH=" + four + "\nMainForm standard\n");
  EXPECT_EQ(run.errors.find("is open"), std::string::npos) << run.errors;
  EXPECT_THAT(platform::ReadFileBytes(app.Folder() + "kelvaERP.ini"),
              HasSubstr("Versao=" + VersionDigits()));
}

// The start of an office's day: four workstations start the module at once
// from one shared folder against one database, while the cloud brings
// thousands of new rules and the update server a newer installer. The
// imports take turns and the later ones update what the first inserted; the
// installer is fetched once and no start runs it half written.
TEST_F(LauncherProgram, FourWorkstationsStartingTogetherAllEndNormally) {
  if (!UpdateServerAnswers()) GTEST_SKIP() << "the update server address does not answer a ping";
  constexpr int kRules = 3000;
  net::Json rules = net::Json::array();
  for (int i = 1; i <= kRules; ++i) {
    std::string code = std::to_string(i);
    rules.push_back(SampleRule(std::string(8 - code.size(), '0') + code));
  }
  SharedCloud().SetRules(kCompanyCnpj, rules.dump());
  const std::string newer = Installer(+1), installer = LauncherFolder::InstallerScript();
  NginxUpdateServer server;
  server.PublishList("kelva", net::Json{{"qtd", 1}, {"nome-1", newer}}.dump());
  server.PublishFile("kelva", newer, installer);
  LauncherFolder app;
  app.PutPackage("standard", "Modulos");

  const auto runs = app.RunTogether(4, "some input\n");

  for (const auto& run : runs) EXPECT_EQ(run.exitStatus, 0) << run.errors;
  EXPECT_EQ(SharedMariaDb().QueryValue(
                "SELECT CONCAT(COUNT(*), ' ', MIN(nrtcodigo), ' ', MAX(nrtcodigo)) FROM nrt",
                app.Database()),
            "3000 00000001 00003000");
  int fetched = 0;
  for (const auto& target : server.Targets())
    fetched += target == "/download/kelva/" + newer ? 1 : 0;
  EXPECT_EQ(fetched, 1);
  EXPECT_EQ(platform::ReadFileBytes(app.Folder() + "atualizadores_versao/" + newer), installer);
  EXPECT_EQ(CountOf(runs.front().marker, "installer " + newer), 4);
  EXPECT_EQ(CountOf(runs.front().marker, "MainForm standard"), 4);
  EXPECT_FALSE(platform::FileExists(app.Folder() + "bugreport.txt"));
}

// How the watcher reports a fault and a console dialog nobody answers are the
// crash-child's tests; here, that the launcher a deployment installs reports
// one in its module package, submitted to the compiled tracker.
TEST_F(LauncherProgram, AFaultInThePackagesEventHandlerIsReportedWithItsSourceLine) {
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
}

TEST(LauncherBinary, CarriesTheProjectsVersion) {
  EXPECT_EQ(FileVersionText(LocalPath(ROTALIS_LAUNCHER_EXE)), ROTALIS_PROJECT_VERSION);
}

}  // namespace
}  // namespace rotalis::test

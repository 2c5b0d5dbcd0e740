// The real launcher, built once with the test deployment and once more with
// an offline grace of ROTALIS_TEST_GRACE_HOURS: after a complete
// synchronisation, what the next start does when the cloud has gone away or
// sends no rules. Without its watcher the launcher reports an error that
// ends the start-up itself, into "bugreport.txt"; the tracker on the
// compiled address is not served, so the report stays.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "net/JsonText.h"
#include "platform/FileSystem.h"
#include "tests/launcher/LauncherRun.h"
#include "tests/support/cloud/CloudFixtureServer.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/mariadb/MariaDbTest.h"

namespace rotalis::test {
namespace {

constexpr const char* kCannotUpdate = "Não foi possível atualizar as regras fiscais: ";
constexpr const char* kOpened = "Test standard is open\n";

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::string ReportOf(const LauncherFolder& app) {
  const std::string report = app.Folder() + "bugreport.txt";
  return platform::FileExists(report) ? platform::ReadFileBytes(report) : "";
}

std::string Value(const LauncherFolder& app, const std::string& sql) {
  return SharedMariaDb().QueryValue(sql, app.Database()).value_or("NULL");
}

bool RecordTableExists(const LauncherFolder& app) {
  return Value(app,
               "SELECT COUNT(*) FROM information_schema.tables WHERE table_schema = "
               "DATABASE() AND table_name = 'nrtsync'") == "1";
}

// Every case starts with the cloud serving two rules.
void ServeRules() {
  SharedCloud().SetRules(kCompanyCnpj,
                         net::Json::array({SampleRule("000001"), SampleRule("000002")}).dump());
}

// A start that ends in the crash reporter: the package is never loaded and
// the report names the error.
void ExpectCrashReport(const LauncherRun& run, const LauncherFolder& app,
                       const std::string& error) {
  EXPECT_EQ(run.exitStatus, 1) << run.errors;
  EXPECT_EQ(run.marker, "");
  EXPECT_FALSE(Has(run.errors, kCannotUpdate)) << run.errors;
  EXPECT_TRUE(Has(ReportOf(app), error)) << ReportOf(app);
}

TEST(LauncherOffline, AStartWithinTheGraceGoesOnAndAnyOtherEndsInTheCrashReporter) {
  struct Case {
    const char* name;
    std::function<void(const LauncherFolder&)> meanwhile;
    std::string error;  // the crash report's; "" when the start goes on
  };
  const std::string older = "UPDATE nrtsync SET nrsquando = NOW() - INTERVAL " +
                            std::to_string(ROTALIS_TEST_GRACE_HOURS * 60 + 1) + " MINUTE";
  const std::vector<Case> cases = {
      {"cloud stopped", [](const LauncherFolder&) { StopSharedCloud(); }, ""},
      {"cloud stopped, sync older than the grace",
       [&older](const LauncherFolder& app) {
         SharedMariaDb().Execute(older, app.Database());
         StopSharedCloud();
       },
       "REST request failed: "},
      {"cloud sends no JSON",
       [](const LauncherFolder&) {
         SharedCloud().SetRules(kCompanyCnpj, "<html><body>502 Bad Gateway</body></html>");
       },
       "JSON inválido"},
  };
  for (const auto& [name, meanwhile, error] : cases) {
    SCOPED_TRACE(name);
    ServeRules();
    LauncherFolder app(kCompanyCnpj, ROTALIS_GRACE_LAUNCHER_EXE);
    app.PutPackage("standard", "Modulos");
    const auto synced = app.Run();
    ASSERT_EQ(synced.exitStatus, 0) << synced.errors;
    ASSERT_EQ(Value(app, "SELECT COUNT(*) FROM nrtsync WHERE nrscnpj = '" +
                             std::string(kCompanyCnpj) + "'"),
              "1");

    meanwhile(app);
    const auto run = app.Run();

    EXPECT_EQ(Value(app, "SELECT GROUP_CONCAT(nrtcodigo ORDER BY nrtcodigo) FROM nrt"),
              "000001,000002");
    if (!error.empty()) {
      ExpectCrashReport(run, app, error);
      continue;
    }
    EXPECT_EQ(run.exitStatus, 0) << run.errors;
    EXPECT_TRUE(Has(run.marker, "MainForm standard\n")) << run.marker;
    // One message, naming why and from when the rules are, before the window.
    const auto message = run.errors.find(kCannotUpdate + std::string("REST request failed: "));
    ASSERT_NE(message, std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find(kCannotUpdate, message + 1), std::string::npos) << run.errors;
    EXPECT_TRUE(Has(run.errors, Value(app,
                                      "SELECT DATE_FORMAT(nrsquando, '%d/%m/%Y %H:%i') "
                                      "FROM nrtsync")))
        << run.errors;
    EXPECT_LT(message, run.errors.find(kOpened)) << run.errors;
    EXPECT_EQ(ReportOf(app), "");
  }
}

// The build without the setting keeps no record, and a cloud that has gone
// ends the start-up as it always did.
TEST(LauncherOffline, WithoutTheSettingNothingIsRecordedAndAStoppedCloudEndsTheStart) {
  ServeRules();
  LauncherFolder app;
  app.PutPackage("standard", "Modulos");
  const auto synced = app.Run();
  ASSERT_EQ(synced.exitStatus, 0) << synced.errors;
  EXPECT_FALSE(RecordTableExists(app));

  StopSharedCloud();
  ExpectCrashReport(app.Run(), app, "REST request failed: ");
  EXPECT_FALSE(RecordTableExists(app));
}

}  // namespace
}  // namespace rotalis::test

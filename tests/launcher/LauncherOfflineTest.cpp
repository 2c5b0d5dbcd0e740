// The real launcher, built once with the test deployment and once more with
// an offline grace of ROTALIS_TEST_GRACE_HOURS: after a complete
// synchronisation, what the next start does when the cloud has gone away.
// Without its watcher the launcher reports an error that
// ends the start-up itself, into "bugreport.txt"; the tracker on the
// compiled address is not served, so the report stays.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

using ::testing::HasSubstr;

constexpr const char* kCannotUpdate = "Não foi possível atualizar as regras fiscais: ";

// Which cloud failures a start gets past is the rule sync's own test; here,
// that the grace the build was given reaches the program: a start within it
// goes on after one message, one past it (or in a build without the setting,
// which records nothing) ends in the crash reporter, its package never
// loaded and the report naming the error.
TEST(LauncherOffline, AStartWithinTheCompiledGraceGoesOnAndAnyOtherEndsInTheCrashReporter) {
  const std::string older = "UPDATE nrtsync SET nrsquando = NOW() - INTERVAL " +
                            std::to_string(ROTALIS_TEST_GRACE_HOURS * 60 + 1) + " MINUTE";
  const struct {
    const char* name;
    const char* launcher;
    std::string record;  // SQL run on the record before the start
    bool goesOn;
  } cases[] = {
      {"cloud stopped", ROTALIS_GRACE_LAUNCHER_EXE, "", true},
      {"cloud stopped, sync older than the grace", ROTALIS_GRACE_LAUNCHER_EXE, older, false},
      {"cloud stopped, build without a grace", "", "", false},
  };
  for (const auto& [name, launcher, record, goesOn] : cases) {
    SCOPED_TRACE(name);
    SharedCloud().SetRules(kCompanyCnpj,
                           net::Json::array({SampleRule("000001"), SampleRule("000002")}).dump());
    LauncherFolder app(kCompanyCnpj, launcher);
    app.PutPackage("standard", "Modulos");
    const auto synced = app.Run();
    ASSERT_EQ(synced.exitStatus, 0) << synced.errors;
    if (!record.empty()) SharedMariaDb().Execute(record, app.Database());
    StopSharedCloud();
    const auto run = app.Run();

    const std::string report = app.Folder() + "bugreport.txt";
    if (!goesOn) {
      EXPECT_EQ(run.exitStatus, 1) << run.errors;
      EXPECT_EQ(run.marker, "");
      ASSERT_TRUE(platform::FileExists(report));
      EXPECT_THAT(platform::ReadFileBytes(report), HasSubstr("REST request failed: "));
      continue;
    }
    EXPECT_EQ(run.exitStatus, 0) << run.errors;
    EXPECT_THAT(run.marker, HasSubstr("MainForm standard\n"));
    // The message comes before the window.
    const auto message = run.errors.find(kCannotUpdate + std::string("REST request failed: "));
    ASSERT_NE(message, std::string::npos) << run.errors;
    EXPECT_LT(message, run.errors.find("Test standard is open\n")) << run.errors;
    EXPECT_FALSE(platform::FileExists(report));
  }
}

}  // namespace
}  // namespace rotalis::test

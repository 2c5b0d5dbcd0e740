// The launcher's program body, run as the real binary from an application
// folder with a blank in its name.

#include <gtest/gtest.h>

#include "config/Deployment.h"
#include "platform/FileSystem.h"
#include "platform/FileVersion.h"
#include "platform/Ping.h"
#include "tests/launcher/LauncherRun.h"
#include "update/UpdateServer.h"

namespace rotalis::test {
namespace {

int Count(const std::string& text, const std::string& part) {
  int count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(LauncherProgram, FindsPackageOnlyInModulosAndGivesItExactlyTheFourFolders) {
  LauncherFolder app;
  app.PutPackage("standard", "Modulos");
  const auto run = app.Run();
  EXPECT_EQ(run.exitStatus, 0) << run.errors;
  const std::string& f = app.Folder();
  EXPECT_EQ(run.marker, "loaded standard PATH=" + f + "kernel:" + f + "BPLs:" + f + "Modulos:" + f +
                            "DLLs\nMainForm standard\n");
  // The form was found by its name and ran as the main window until the
  // input ended.
  EXPECT_NE(run.output.find("Test standard is open"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("Test standard closed"), std::string::npos) << run.output;
}

TEST(LauncherProgram, SearchesTheApplicationFolderFirstThenThePathFoldersInOrder) {
  LauncherFolder app;
  app.PutPackage("othername", "kernel");
  app.PutPackage("standard", "");
  EXPECT_EQ(Count(app.Run().marker, "loaded standard"), 1);

  LauncherFolder other;
  other.PutPackage("othername", "BPLs");
  other.PutPackage("standard", "Modulos");
  const auto run = other.Run();
  EXPECT_EQ(Count(run.marker, "loaded othername"), 1);
  EXPECT_EQ(Count(run.marker, "loaded standard"), 0);
}

TEST(LauncherProgram, TreatsAnExportOfAnotherCaseAsNone) {
  LauncherFolder app;
  app.PutPackage("lowercase", "Modulos");
  const auto run = app.Run("some input\n");
  EXPECT_EQ(run.exitStatus, 0) << run.errors;
  EXPECT_EQ(Count(run.marker, "loaded lowercase"), 1);
  EXPECT_EQ(Count(run.marker, "MainForm"), 0);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.errors, "");
}

TEST(LauncherProgram, EndsNormallyWithoutWindowWhenTheFormHasAnotherName) {
  LauncherFolder app;
  app.PutPackage("othername", "DLLs");
  const auto run = app.Run("some input\n");
  EXPECT_EQ(run.exitStatus, 0) << run.errors;
  EXPECT_EQ(Count(run.marker, "MainForm othername"), 1);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.errors, "");
}

// A package built against a shorter form spec: what it knows is used, the
// rest keeps the launcher's defaults (no text, the default size).
TEST(LauncherProgram, HostsAPackageBuiltAgainstAShorterFormSpec) {
  LauncherFolder app;
  app.PutPackage("shortspec", "Modulos");
  const auto run = app.Run();
  EXPECT_EQ(run.exitStatus, 0) << run.errors;
  EXPECT_EQ(run.output, "Test shortspec is open\nTest shortspec closed\n");
}

TEST(LauncherProgram, EndsTheStartUpWithAnErrorWhenThePackageCannotBeHosted) {
  LauncherFolder missing;
  const auto none = missing.Run();
  EXPECT_EQ(none.exitStatus, 1);
  EXPECT_NE(none.errors.find("Cannot load the module package mrotalis.bpl"), std::string::npos)
      << none.errors;
  EXPECT_NE(none.errors.find(missing.Folder() + "Modulos/"), std::string::npos) << none.errors;

  LauncherFolder newer;
  newer.PutPackage("newcontract", "Modulos");
  const auto refused = newer.Run();
  EXPECT_EQ(refused.exitStatus, 1);
  EXPECT_NE(refused.errors.find("needs module contract 2; this launcher provides contract 1"),
            std::string::npos)
      << refused.errors;
  EXPECT_EQ(Count(refused.marker, "MainForm"), 0);
  EXPECT_EQ(refused.output, "");

  LauncherFolder damaged;
  damaged.PutPackage("standard", "Modulos");
  platform::WriteFileBytes(damaged.Folder() + "Modulos/mrotalis.bpl", "not a library");
  const auto broken = damaged.Run();
  EXPECT_EQ(broken.exitStatus, 1);
  EXPECT_NE(broken.errors.find("Cannot load " + damaged.Folder() + "Modulos/mrotalis.bpl: "),
            std::string::npos)
      << broken.errors;
}

// A version record that cannot be written is an error of the update step,
// which ends the start-up: the package must never be loaded. It takes an
// update server that answers the ping (the compiled address; the HTTP side
// may be absent, its failures are swallowed).
TEST(LauncherProgram, AnErrorInTheUpdateStepMeansThePackageIsNeverLoaded) {
  if (!platform::PingOnce(Deployment::Compiled().updateServer, kUpdateServerPingMs))
    GTEST_SKIP() << "the update server address does not answer a ping here";
  LauncherFolder app;
  app.PutPackage("standard", "Modulos");
  platform::CreateDirectories(app.Folder() + "erp.ini");  // a folder where the file goes
  const auto run = app.Run();
  EXPECT_EQ(run.exitStatus, 1);
  EXPECT_NE(run.errors.find("erp.ini"), std::string::npos) << run.errors;
  EXPECT_EQ(run.marker, "");
  EXPECT_EQ(run.output, "");
}

TEST(LauncherProgram, SamplePackageOpensTheMainFormUntilTheInputEnds) {
  LauncherFolder app;
  app.PutPackage("sample", "Modulos");
  const auto run = app.Run("first line\nsecond line\n");
  EXPECT_EQ(run.exitStatus, 0) << run.errors;
  const auto open = run.output.find("Rotalis is open");
  const auto closed = run.output.find("Rotalis closed");
  ASSERT_NE(open, std::string::npos) << run.output;
  ASSERT_NE(closed, std::string::npos) << run.output;
  EXPECT_LT(open, closed);
}

TEST(LauncherProgram, CarriesItsFileVersion) {
  LauncherFolder app;
  const auto version = platform::ReadFileVersion(app.Folder() + "rotalis");
  ASSERT_TRUE(version.has_value());
  EXPECT_EQ(version->ms, (25u << 16) | 28u);
  EXPECT_EQ(version->ls, (501u << 16) | 14u);
}

}  // namespace
}  // namespace rotalis::test

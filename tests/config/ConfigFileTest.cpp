#include "config/ConfigFile.h"

#include <gtest/gtest.h>

#include "config/IniFile.h"
#include "platform/Paths.h"
#include "tests/support/TempFolder.h"

namespace rotalis {
namespace {

// Names differing in case only are one file on Windows, named as asked for.
std::string OnThisSystem(const test::TempFolder& app, const char* asked, const char* onDisk) {
#if defined(_WIN32)
  return platform::JoinPath(app.Path(), asked);
#else
  return app / onDisk;
#endif
}

TEST(ConfigFile, EditionFileWinsOverMorvane) {
  test::TempFolder app;
  app.Write("kelvaerp.exe", "");  // the edition executable, in another case
  app.Write("KELVAERP.INI", "[posi]\r\nnomebanco=kelva_db\r\n");
  app.Write("morvane.ini", "[posi]\r\nnomebanco=morvane_db\r\n");
  EXPECT_EQ(ResolveConfigFile(app.Path()), OnThisSystem(app, "kelvaERP.ini", "KELVAERP.INI"));
  // The version is written to the same file, whatever the spelling on disk.
  EXPECT_EQ(VersionConfigFile(app.Path(), "kelva"),
            OnThisSystem(app, "kelvaerp.ini", "KELVAERP.INI"));
}

// An installed edition without its own file reads "morvane.ini", yet its
// version still goes to the edition's file, never to "morvane.ini".
TEST(ConfigFile, AnEditionWithoutItsFileReadsMorvane) {
  test::TempFolder app;
  app.Write("KelvaERP.exe", "");
  app.Write("morvane.ini", "[posi]\r\nnomebanco=morvane_db\r\n");
  EXPECT_EQ(ResolveConfigFile(app.Path()), app / "morvane.ini");
  EXPECT_EQ(VersionConfigFile(app.Path(), "kelva"), platform::JoinPath(app.Path(), "kelvaerp.ini"));
}

// Without an edition, "morvane.ini" and "erp.ini" as the launcher's own run
// shows them (tests/launcher/LauncherProgramTest.cpp); here, "erp.ini" read
// when there and what a missing or empty file gives.
TEST(ConfigFile, NoEditionReadsErpIniOrElseMorvane) {
  test::TempFolder app;
  // A missing file names no database: the connection fails with the server's
  // own error, naming the file.
  EXPECT_EQ(ReadDatabaseSettings(app / "morvane.ini").database, app / "morvane.ini");
  app.Write("ERP.ini", "[posi]\r\nservidor=\r\nportabanco=\r\n");
  const auto settings = ReadDatabaseSettings(ResolveConfigFile(app.Path()));
  EXPECT_EQ(settings.server, "");  // present but empty stays empty
  EXPECT_EQ(settings.port, "");
  EXPECT_EQ(settings.user, "root");
}

}  // namespace
}  // namespace rotalis

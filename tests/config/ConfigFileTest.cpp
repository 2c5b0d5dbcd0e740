#include "config/ConfigFile.h"

#include <gtest/gtest.h>

#include "config/IniFile.h"
#include "platform/Paths.h"
#include "tests/support/TempFolder.h"

namespace rotalis {
namespace {

TEST(ConfigFile, EditionFileWinsOverMorvane) {
  test::TempFolder app;
  app.Write("kelvaerp.exe", "");  // the edition executable, in another case
  app.Write("KELVAERP.INI", "[posi]\r\nnomebanco=kelva_db\r\n");
  app.Write("morvane.ini", "[posi]\r\nnomebanco=morvane_db\r\n");
  const std::string file = ResolveConfigFile(app.Path());
#if defined(_WIN32)
  // Names differing in case only are one file there: the name as asked for.
  EXPECT_EQ(file, platform::JoinPath(app.Path(), "kelvaERP.ini"));
#else
  EXPECT_EQ(file, app / "KELVAERP.INI");
#endif
  EXPECT_EQ(ReadDatabaseSettings(file).database, "kelva_db");
  // The version is written to the same file, whatever the spelling on disk.
#if defined(_WIN32)
  EXPECT_EQ(VersionConfigFile(app.Path(), "kelva"), platform::JoinPath(app.Path(), "kelvaerp.ini"));
#else
  EXPECT_EQ(VersionConfigFile(app.Path(), "kelva"), app / "KELVAERP.INI");
#endif
}

// An installed edition without its own file reads "morvane.ini", yet its
// version still goes to the edition's file, never to "morvane.ini".
TEST(ConfigFile, AnEditionWithoutItsFileReadsMorvane) {
  test::TempFolder app;
  app.Write("KelvaERP.exe", "");
  app.Write("morvane.ini", "[posi]\r\nnomebanco=morvane_db\r\n");
  const std::string file = ResolveConfigFile(app.Path());
  EXPECT_EQ(file, app / "morvane.ini");
  EXPECT_EQ(ReadDatabaseSettings(file).database, "morvane_db");
  EXPECT_EQ(VersionConfigFile(app.Path(), "kelva"), platform::JoinPath(app.Path(), "kelvaerp.ini"));
}

TEST(ConfigFile, NoEditionReadsErpIni) {
  test::TempFolder app;
  app.Write("ERP.ini", "[posi]\r\nservidor=\r\nportabanco=\r\n");
  const auto settings = ReadDatabaseSettings(ResolveConfigFile(app.Path()));
  EXPECT_EQ(settings.server, "");  // present but empty stays empty
  EXPECT_EQ(settings.port, "");
  EXPECT_EQ(settings.user, "root");
}

TEST(ConfigFile, NothingThereGivesTheDefaults) {
  test::TempFolder app;
  const std::string file = ResolveConfigFile(app.Path());
  EXPECT_EQ(file, app / "morvane.ini");
  const auto settings = ReadDatabaseSettings(file);
  EXPECT_EQ(settings.database, app / "morvane.ini");
  EXPECT_EQ(settings.server, "127.0.0.1");
  EXPECT_EQ(settings.user, "root");
  EXPECT_EQ(settings.password, "kqm418");
  EXPECT_EQ(settings.port, "3306");
  EXPECT_EQ(VersionConfigFile(app.Path(), ""), app / "erp.ini");
}

}  // namespace
}  // namespace rotalis

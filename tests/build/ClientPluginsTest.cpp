// The login methods a server may ask for are in the client the program links:
// built into the library on Windows, where no workstation has plugin files,
// and Debian's plugin files on Linux. MySQL 8 (caching_sha2_password by
// default) cannot run here, so this is what shows that its accounts can log in.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mysql.h>

#include <memory>

namespace {

// MYSQL_CLIENT_AUTHENTICATION_PLUGIN. Its header, mysql/client_plugin.h,
// includes one Debian's package does not ship; mysql.h declares the calls.
constexpr int kAuthenticationPlugin = 2;

using Session = std::unique_ptr<MYSQL, decltype(&mysql_close)>;

TEST(ClientPlugins, EveryLoginMethodAServerMayAskForIsThere) {
  const Session mysql(mysql_init(nullptr), &mysql_close);
  ASSERT_NE(mysql, nullptr);
  for (const char* name : {"mysql_native_password", "caching_sha2_password", "sha256_password",
                           "client_ed25519", "dialog", "mysql_clear_password"}) {
    EXPECT_NE(mysql_client_find_plugin(mysql.get(), name, kAuthenticationPlugin), nullptr)
        << name << ": " << mysql_error(mysql.get());
  }
}

#if defined(_WIN32)
// A method that is not built in is looked for as a DLL under its bare name,
// through Windows' own search, and never in a folder of the machine that
// built the client (the error names the path tried).
TEST(ClientPlugins, NoFolderOfTheBuildMachineIsSearched) {
  const Session mysql(mysql_init(nullptr), &mysql_close);
  ASSERT_NE(mysql, nullptr);
  EXPECT_EQ(mysql_load_plugin(mysql.get(), "rotalis_absent", kAuthenticationPlugin, 0), nullptr);
  EXPECT_THAT(mysql_error(mysql.get()),
              ::testing::HasSubstr("Library path is 'rotalis_absent.dll'"));
}
#endif

}  // namespace

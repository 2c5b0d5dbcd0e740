#pragma once
// Which configuration file holds the ERP's database settings, and reading them.

#include <string>

namespace rotalis {

// The five connection settings of section "posi", all as text.
struct DatabaseSettings {
  std::string database;  // "nomebanco"
  std::string server;    // "servidor"
  std::string user;      // "usuario"
  std::string password;  // "senha"
  std::string port;      // "portabanco"
};

inline constexpr const char* kConfigSection = "posi";

// Full path of the configuration file to read the database settings from:
// folder + edition key + "ERP.ini" when it exists, else folder + "morvane.ini"
// (which need not exist). `folder` is the application folder, never the
// working directory.
std::string ResolveConfigFile(const std::string& folder);

// The five reads of section "posi", each with its default. The default of
// "nomebanco" is deliberately the configuration file's own path: with the key
// missing, the connection then fails with the server's own error.
DatabaseSettings ReadDatabaseSettings(const std::string& configFile);

// The file the update driver records the installed version in: folder +
// edition key + "erp.ini" (the same file as the one read, whatever its case).
std::string VersionConfigFile(const std::string& folder, const std::string& editionKey);

}  // namespace rotalis

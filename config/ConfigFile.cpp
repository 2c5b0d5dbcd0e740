#include "config/ConfigFile.h"

#include "config/IniFile.h"
#include "platform/FileSystem.h"
#include "config/Edition.h"

namespace rotalis {

std::string ResolveConfigFile(const std::string& folder) {
  const std::string candidate =
      platform::ResolveIgnoringCase(folder, DetectEdition(folder) + "ERP.ini");
  if (platform::FileExists(candidate)) return candidate;
  return platform::ResolveIgnoringCase(folder, "morvane.ini");
}

DatabaseSettings ReadDatabaseSettings(const std::string& configFile) {
  const IniFile ini(configFile);
  DatabaseSettings settings;
  settings.database = ini.ReadString(kConfigSection, "nomebanco", configFile);
  settings.server = ini.ReadString(kConfigSection, "servidor", "127.0.0.1");
  settings.user = ini.ReadString(kConfigSection, "usuario", "root");
  settings.password = ini.ReadString(kConfigSection, "senha", "kqm418");
  settings.port = ini.ReadString(kConfigSection, "portabanco", "3306");
  return settings;
}

std::string VersionConfigFile(const std::string& folder, const std::string& editionKey) {
  return platform::ResolveIgnoringCase(folder, editionKey + "erp.ini");
}

}  // namespace rotalis

#pragma once
// The provider that makes "MySQL" a usable provider name. Create it once,
// before the first connection, and keep it for as long as connections exist:
// it prepares the client library for use.

#include <string>

namespace rotalis {

class TMySQLProvider {
 public:
  static constexpr const char* kName = "MySQL";

  TMySQLProvider();
  TMySQLProvider(const TMySQLProvider&) = delete;
  TMySQLProvider& operator=(const TMySQLProvider&) = delete;

  std::string ProviderName() const { return kName; }
};

}  // namespace rotalis

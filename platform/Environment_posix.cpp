#include "platform/Environment.h"

#include <cstdlib>

#include "platform/Exception.h"

namespace rotalis::platform {

std::optional<std::string> GetEnvironment(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

void SetEnvironment(const std::string& name, const std::string& value) {
  if (setenv(name.c_str(), value.c_str(), 1) != 0)
    throw Exception("Cannot set the environment variable " + name);
}

char PathListSeparator() { return ':'; }

}  // namespace rotalis::platform

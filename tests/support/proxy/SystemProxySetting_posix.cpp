#include <cstdlib>
#include <map>
#include <optional>
#include <stdexcept>

#include "tests/support/proxy/TestProxy.h"

namespace rotalis::test {

namespace {
const char* const kVariables[] = {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy",
                                  "ALL_PROXY",  "no_proxy",    "NO_PROXY"};
}

struct SystemProxySetting::Saved {
  std::map<std::string, std::optional<std::string>> variables;
};

SystemProxySetting::SystemProxySetting(const std::string& proxy,
                                       const std::vector<std::string>& bypassHosts)
    : saved_(std::make_unique<Saved>()) {
  for (const char* name : kVariables) {
    const char* value = std::getenv(name);
    saved_->variables[name] = value ? std::optional<std::string>(value) : std::nullopt;
    unsetenv(name);
  }
  std::string noProxy;
  for (const auto& host : bypassHosts) noProxy += (noProxy.empty() ? "" : ",") + host;
  const std::string& url = proxy;
  if (setenv("http_proxy", url.c_str(), 1) != 0 || setenv("https_proxy", url.c_str(), 1) != 0 ||
      (!noProxy.empty() && setenv("no_proxy", noProxy.c_str(), 1) != 0))
    throw std::runtime_error("cannot set the proxy variables");
}

SystemProxySetting::~SystemProxySetting() {
  for (const auto& [name, value] : saved_->variables) {
    if (value) {
      setenv(name.c_str(), value->c_str(), 1);
    } else {
      unsetenv(name.c_str());
    }
  }
}

}  // namespace rotalis::test

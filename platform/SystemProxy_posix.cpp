#include "platform/SystemProxy.h"

#include <initializer_list>
#include <optional>

#include "platform/Environment.h"
#include "platform/ProxyRules.h"

namespace rotalis::platform {
namespace {

// An empty variable counts as absent.
std::optional<std::string> Variable(const std::string& name) {
  auto value = GetEnvironment(name);
  if (value && value->empty()) value.reset();
  return value;
}

std::optional<std::string> FirstVariable(std::initializer_list<std::string> names) {
  for (const auto& name : names) {
    if (auto value = Variable(name)) return value;
  }
  return std::nullopt;
}

std::string Upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = char(c - 'a' + 'A');
  }
  return text;
}

}  // namespace

// The variables libcurl itself would read, in its order; reading them here
// lets a failure name the proxy it went through.
ProxyRoute SystemProxyFor(const std::string& url) {
  const std::string scheme = UrlScheme(url);
  // Only the lower-case http_proxy: a CGI program gets HTTP_PROXY from a
  // request's "Proxy:" header.
  std::optional<std::string> proxy =
      scheme == "http" ? Variable("http_proxy")
                       : FirstVariable({scheme + "_proxy", Upper(scheme) + "_PROXY"});
  if (!proxy) proxy = FirstVariable({"all_proxy", "ALL_PROXY"});
  if (!proxy) return {};
  const auto noProxy = FirstVariable({"no_proxy", "NO_PROXY"});
  if (noProxy && NoProxyCovers(*noProxy, UrlHost(url))) return {};
  return {*proxy, false};
}

}  // namespace rotalis::platform

#pragma once
// The proxy the workstation is set to use for an address. On Windows: the
// user's Internet settings (fixed proxy with its bypass list, configuration
// script, automatic detection), or else the machine's WinHTTP setting.
// Elsewhere: the usual variables (http_proxy, https_proxy, all_proxy,
// no_proxy) with the meaning libcurl gives them.

#include <string>

namespace rotalis::platform {

struct ProxyRoute {
  // Where the request goes, as the settings name it ("proxy.corp:8080",
  // "http://10.0.0.1:3128", "socks4://10.0.0.2:1080"); empty: straight to the
  // server.
  std::string proxy;
  // A proxy that asks who the user is gets the logged-on user's own Windows
  // credentials (Negotiate or NTLM); no password is stored anywhere.
  bool logonCredentials = false;
};

// Looked up anew for every request: settings change while the program runs,
// and a configuration script may answer each address differently.
ProxyRoute SystemProxyFor(const std::string& url);

}  // namespace rotalis::platform

#pragma once
// How each system's proxy settings read, apart from where they are kept, so
// that the rules can be checked on any system.

#include <string>

namespace rotalis::platform {

// The scheme ("http", "https") and host of an absolute address, both in lower
// case, the host without the brackets of an IPv6 literal; empty when absent.
std::string UrlScheme(const std::string& url);
std::string UrlHost(const std::string& url);

// Whether a no_proxy value sends the host straight to the server: entries
// separated by commas or blanks, each a name that also covers its subdomains
// (a leading dot changes nothing), an IP address, an IPv4 block
// ("10.0.0.0/8"), or "*" for every host.
bool NoProxyCovers(const std::string& noProxy, const std::string& host);

// Whether a Windows bypass list sends the host straight to the server: entries
// separated by ";" (or blanks), with "*" standing for any run of characters,
// and "<local>" for every name without a dot.
bool BypassListCovers(const std::string& bypass, const std::string& host);

// The proxy a Windows proxy setting names for a scheme. "host:port" (or a list
// of them, the first counts) serves every scheme; "http=a:1;https=b:2" names
// one per scheme, "socks=c:3" serves the schemes without one of their own.
// Empty: no proxy for that scheme.
std::string ProxyForScheme(const std::string& setting, const std::string& scheme);

}  // namespace rotalis::platform

// How the proxy settings of each system read: which hosts a bypass list sends
// straight to the server, and which proxy a setting names for a scheme.

#include "platform/ProxyRules.h"

#include <gtest/gtest.h>

namespace rotalis::platform {
namespace {

TEST(ProxyRules, HostAndSchemeOfAnAddress) {
  EXPECT_EQ(UrlScheme("HTTPS://Cloud.Example.com:8443/f?x=1"), "https");
  EXPECT_EQ(UrlHost("HTTPS://Cloud.Example.com:8443/f?x=1"), "cloud.example.com");
  EXPECT_EQ(UrlHost("http://user:pw@10.0.0.5/erros"), "10.0.0.5");
  EXPECT_EQ(UrlHost("http://[::1]:8063/arquivos/"), "::1");
  EXPECT_EQ(UrlHost("no address"), "");
}

// The no_proxy variable of Unix and the Windows bypass list, host by host.
TEST(ProxyRules, BypassListsCoverTheHostsTheyName) {
  struct Row {
    bool windows;
    const char* list;
    const char* host;
    bool covered;
  };
  constexpr Row kRows[] = {
      {false, "example.com", "example.com", true},
      {false, "example.com", "cloud.EXAMPLE.com", true},
      {false, ".example.com", "example.com", true},
      {false, "example.com", "badexample.com", false},
      {false, "localhost, 127.0.0.1", "127.0.0.1", true},
      {false, "127.0.0.1", "127.0.0.10", false},
      {false, "10.0.0.0/8,intranet", "10.20.30.40", true},
      {false, "10.0.0.0/8", "11.0.0.1", false},
      {false, "0.0.0.0", "intranet.0.0.0.0", true},
      {false, "[::1]", "::1", true},
      {false, "*", "anything.at.all", true},
      {false, "", "example.com", false},
      {true, "<local>", "erpserver", true},
      {true, "<local>", "erp.corp.local", false},
      {true, "<local>", "127.0.0.1", false},
      {true, "*.corp.local;<local>", "ERP.corp.local", true},
      {true, "*.corp.local", "corp.local", false},
      {true, "10.*; 192.168.1.*", "192.168.1.20", true},
      {true, "10.*", "110.0.0.1", false},
      {true, "https://cloud.example.com:443", "cloud.example.com", true},
      {true, "*example*", "cloud.example.com", true},
      {true, "<-loopback>", "127.0.0.1", false},
      {true, "", "x", false},
  };
  for (const Row& row : kRows) {
    EXPECT_EQ(
        row.windows ? BypassListCovers(row.list, row.host) : NoProxyCovers(row.list, row.host),
        row.covered)
        << (row.windows ? "Windows " : "no_proxy ") << row.list << " / " << row.host;
  }
}

TEST(ProxyRules, WindowsSettingNamesAProxyPerScheme) {
  EXPECT_EQ(ProxyForScheme("proxy.corp:8080", "https"), "proxy.corp:8080");
  EXPECT_EQ(ProxyForScheme("a:1;b:2", "http"), "a:1");
  const std::string perScheme = "http=web:80;HTTPS=tls:3128;ftp=f:21";
  EXPECT_EQ(ProxyForScheme(perScheme, "http"), "web:80");
  EXPECT_EQ(ProxyForScheme(perScheme, "https"), "tls:3128");
  EXPECT_EQ(ProxyForScheme("ftp=f:21", "https"), "");
  EXPECT_EQ(ProxyForScheme("http=web:80;socks=s:1080", "https"), "socks4://s:1080");
  EXPECT_EQ(ProxyForScheme("", "https"), "");
}

}  // namespace
}  // namespace rotalis::platform

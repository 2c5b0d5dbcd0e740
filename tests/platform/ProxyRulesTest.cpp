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

struct Coverage {
  const char* list;
  const char* host;
  bool covered;
};

class NoProxyVariable : public ::testing::TestWithParam<Coverage> {};

TEST_P(NoProxyVariable, CoversTheHostsItNames) {
  EXPECT_EQ(NoProxyCovers(GetParam().list, GetParam().host), GetParam().covered)
      << GetParam().list << " / " << GetParam().host;
}

INSTANTIATE_TEST_SUITE_P(Lists, NoProxyVariable,
                         ::testing::Values(Coverage{"example.com", "example.com", true},
                                           Coverage{"example.com", "cloud.EXAMPLE.com", true},
                                           Coverage{".example.com", "example.com", true},
                                           Coverage{"example.com", "badexample.com", false},
                                           Coverage{"localhost, 127.0.0.1", "127.0.0.1", true},
                                           Coverage{"127.0.0.1", "127.0.0.10", false},
                                           Coverage{"10.0.0.0/8,intranet", "10.20.30.40", true},
                                           Coverage{"10.0.0.0/8", "11.0.0.1", false},
                                           Coverage{"0.0.0.0", "intranet.0.0.0.0", true},
                                           Coverage{"[::1]", "::1", true},
                                           Coverage{"*", "anything.at.all", true},
                                           Coverage{"", "example.com", false}));

class WindowsBypassList : public ::testing::TestWithParam<Coverage> {};

TEST_P(WindowsBypassList, CoversTheHostsItNames) {
  EXPECT_EQ(BypassListCovers(GetParam().list, GetParam().host), GetParam().covered)
      << GetParam().list << " / " << GetParam().host;
}

INSTANTIATE_TEST_SUITE_P(
    Lists, WindowsBypassList,
    ::testing::Values(Coverage{"<local>", "erpserver", true},
                      Coverage{"<local>", "erp.corp.local", false},
                      Coverage{"<local>", "127.0.0.1", false},
                      Coverage{"*.corp.local;<local>", "ERP.corp.local", true},
                      Coverage{"*.corp.local", "corp.local", false},
                      Coverage{"10.*; 192.168.1.*", "192.168.1.20", true},
                      Coverage{"10.*", "110.0.0.1", false},
                      Coverage{"https://cloud.example.com:443", "cloud.example.com", true},
                      Coverage{"*example*", "cloud.example.com", true},
                      Coverage{"<-loopback>", "127.0.0.1", false}, Coverage{"", "x", false}));

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

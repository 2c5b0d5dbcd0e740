// Every request through the workstation's proxy, against a real proxy on
// loopback: set the way the system keeps it (Linux: the environment; Windows:
// the user's Internet settings in the registry).

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "net/RESTException.h"
#include "platform/FileSystem.h"
#include "rules/CloudRules.h"
#include "tests/support/cloud/CloudFixtureServer.h"
#include "tests/support/proxy/TestProxy.h"
#include "tests/update/UpdateFixture.h"
#include "update/UpdateDownload.h"
#include "update/UpdateList.h"
#include "update/UpdateServer.h"

namespace rotalis::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::StartsWith;

const std::string kCnpj = "12345678000190";
const std::string kRules = R"([{"classificacao_ibscbs":"000001"}])";

class ProxyTest : public UpdateTest {
 protected:
  ProxyTest() {
    app.Write("KelvaERP.exe", "");
    cloud.SetRules(kCnpj, kRules);
    server.PublishList("kelva", "'{\"qtd\":1,\"nome-1\":\"a.exe\"}'");
    server.PublishFile("kelva", "a.exe", "installer");
  }

  // The CONNECT line a request to the cloud fixture leaves in the proxy's log.
  std::string CloudTunnel() const {
    const std::string url = cloud.Url();
    const auto host = url.find("://") + 3;
    return "CONNECT " + url.substr(host, url.find('/', host) - host);
  }

  // The message of the cloud request's failure; nothing when it succeeded.
  std::optional<std::string> CloudFailure() const {
    try {
      FetchRulesByCnpj(cloud.CloudDeployment(), kCnpj);
      return std::nullopt;
    } catch (const net::ERESTException& error) {
      return error.what();
    }
  }

  CloudFixtureServer cloud;
};

// Addresses on the bypass list go straight to the server.
TEST_F(ProxyTest, CloudRulesListAndDownloadGoThroughTheProxy) {
  const TestProxy proxy;
  for (const char* bypassed : {"127.0.0.1", "erp.example.invalid"}) {
    const SystemProxySetting setting(TestProxy::Address(), {bypassed});
    EXPECT_EQ(FetchRulesByCnpj(cloud.CloudDeployment(), kCnpj), kRules);
    platform::RemoveFile(app / "atualizadores_versao/a.exe");
    DownloadUpdates(ui, here);
    EXPECT_EQ(app.Read("atualizadores_versao/a.exe"), "installer");
  }

  EXPECT_THAT(ui.messages, IsEmpty());
  const std::string base = UpdateServerBase(here.deployment);
  EXPECT_THAT(proxy.Requests(), ElementsAre(CloudTunnel(), "GET " + base + "/arquivos/kelva",
                                            "GET " + base + "/download/kelva/a.exe"));
}

// Whether it asks for credentials it does not get or is not there at all, a
// proxy's refusal is a failed request that says which proxy refused and how;
// no refusal page of the proxy's is taken for the file.
TEST_F(ProxyTest, ARefusingProxyFailsTheRequestAndIsNamed) {
  const SystemProxySetting setting(TestProxy::Address(), {});
  auto proxy = std::make_unique<TestProxy>("rotalis:not-given");
  const std::string named = "the proxy " + TestProxy::Address();

  EXPECT_EQ(CloudFailure(), "REST request failed: " + named +
                                " refused the request with 407 Proxy Authentication Required");
  DownloadUpdateFile(ui, UpdateServerBase(here.deployment), "kelva", "a.exe", app / "cache/");
  EXPECT_THAT(ui.messages, ElementsAre(HasSubstr(named + " refused the request with 407")));
  EXPECT_EQ(app.Read("cache/a.exe"), "");

  proxy.reset();
  EXPECT_THAT(CloudFailure(),
              Optional(AllOf(StartsWith("REST request failed: "),
                             HasSubstr("(through the proxy " + TestProxy::Address() + ")"))));
}

}  // namespace
}  // namespace rotalis::test

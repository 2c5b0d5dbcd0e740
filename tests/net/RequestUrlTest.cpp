// The address a request is sent to, built without a network.

#include <gtest/gtest.h>

#include "net/Request.h"
#include "net/RequestUrl.h"

namespace rotalis::net {
namespace {

TEST(RequestUrl, PlaceholdersComeFromColonPiecesOnly) {
  EXPECT_EQ(MakeURL("http://127.0.0.1:8063").text, "http://127.0.0.1:8063");
  EXPECT_TRUE(MakeURL("https://host:8443/functions/v1/regras-por-cnpj").names.empty());
  const auto rewritten = MakeURL("/clientes/:id/pedidos?de=::desde");
  EXPECT_EQ(rewritten.text, "/clientes/{id}/pedidos?de={desde}");
  EXPECT_EQ(rewritten.names, (std::vector<std::string>{"id", "desde"}));
}

TEST(RequestUrl, JoinsBaseResourceAndQuery) {
  EXPECT_EQ(JoinURL("http://h:8063", "/arquivos/kelva"), "http://h:8063/arquivos/kelva");
  EXPECT_EQ(JoinURL("http://h/", "arquivos"), "http://h/arquivos");
  EXPECT_EQ(JoinURL("http://h", "arquivos"), "http://h/arquivos");
  EXPECT_EQ(JoinURL("http://h", "?a=1"), "http://h?a=1");
  EXPECT_EQ(AppendQuery("http://h/x", {"a=1", "b=2"}), "http://h/x?a=1&b=2");
  EXPECT_EQ(AppendQuery("http://h/x?z=0", {"a=1"}), "http://h/x?z=0&a=1");
  EXPECT_EQ(UrlEncode("12.345.678/0001-90"), "12.345.678%2F0001-90");
  EXPECT_EQ(UrlEncode("a b&c=ç~_"), "a%20b%26c%3D%C3%A7~_");
}

TEST(RequestUrl, SegmentsAndRefusedInput) {
  auto request = TRequest::New();
  request->BaseURL("http://h").Resource("/files/:name").AddParam("name", "a b.exe", pkURLSEGMENT);
  EXPECT_EQ(request->FullURL(), "http://h/files/a%20b.exe");
  request->AddParam("cnpj", " \t").AddParam(" ", "x");  // blank: left out
  EXPECT_EQ(request->FullURL(), "http://h/files/a%20b.exe");
  request->AddParam("raw", "x/y", pkQUERY, {poDoNotEncode}).AddParam("raw", "x/z");
  EXPECT_EQ(request->FullURL(), "http://h/files/a%20b.exe?raw=x%2Fz");  // replaced, encoded again
  EXPECT_THROW(request->AddParam("f", "/tmp/x", pkFILE), Exception);
  EXPECT_THROW(request->Timeout(0), Exception);
  request->AddHeader("X-Evil", "a\r\nHost: elsewhere");
  EXPECT_THROW(request->Prepare(rmGET), Exception);
}

}  // namespace
}  // namespace rotalis::net

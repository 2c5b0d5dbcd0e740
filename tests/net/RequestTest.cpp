// The request builder against the real fixture server, over real sockets.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "net/Request.h"
#include "tests/support/http/HttpFixtureServer.h"

namespace rotalis::net {
namespace {

using test::FixtureReply;
using test::Reply;

class RequestTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { server = new test::HttpFixtureServer(); }
  static void TearDownTestSuite() {
    delete server;
    server = nullptr;
  }

  static inline test::HttpFixtureServer* server = nullptr;
};

// A blank token sends no Authorization at all.
TEST_F(RequestTest, DefaultHeadersOnTheWire) {
  server->SetReply("/arquivos/", Reply(200, "'{\"qtd\":0}'", "text/html"));
  TRequest::New()->BaseURL(server->HttpBase()).Resource("/arquivos/").TokenBearer("").Get();
  const auto sent = server->Requests().back();
  EXPECT_EQ(sent.Header("Authorization"), std::nullopt);
  EXPECT_EQ(sent.Header("Accept-Encoding"), std::nullopt);
}

TEST_F(RequestTest, RedirectsAreFollowed) {
  FixtureReply moved = Reply(302, "", "");
  moved.headers["Location"] = "/new-place";
  server->SetReply("/old-place", moved);
  server->SetReply("/new-place", Reply(200, "arrived", "text/plain"));
  auto response = TRequest::New()->BaseURL(server->HttpBase() + "/old-place").Get();
  EXPECT_EQ(response->StatusCode(), 200);
  EXPECT_EQ(response->Content(), "arrived");
}

// The text is UTF-8 whatever the server's charset, with U+FFFD for what is not
// text (a surrogate and an overlong form included); the bytes as delivered
// stay. TakeContent moves the text out, so a large answer is held once.
TEST_F(RequestTest, BodiesAreDecodedToUtf8AndTheTextCanBeTakenOut) {
  const struct {
    const char* type;
    const char* charset;
    std::string sent;
    std::string text;
  } rows[] = {
      {"text/plain", "windows-1252", "A\xe7\xe3o \x80 \x93x\x94",
       "A\xc3\xa7\xc3\xa3o \xe2\x82\xac \xe2\x80\x9cx\xe2\x80\x9d"},
      {"text/plain", "utf-8", "a\xed\xa0\x80\xc0\xafz",
       "a\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbdz"},
      {"application/json", "", "{\"n\":\"S\xc3\xa3o\"}", "{\"n\":\"S\xc3\xa3o\"}"},
      {"application/json", "",
       "a\xff"
       "b",
       "a\xef\xbf\xbd"
       "b"},
      {"image/png", "", std::string("\x89PNG\0\1", 6), ""},
  };
  int n = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.sent);
    const std::string path = "/body" + std::to_string(++n);
    server->SetReply(path, Reply(200, row.sent, row.type, row.charset));
    auto response = TRequest::New()->BaseURL(server->HttpBase() + path).Get();
    EXPECT_EQ(response->Content(), row.text);
    EXPECT_EQ(response->RawBytes(), row.sent);
    EXPECT_EQ(response->TakeContent(), row.text);
    EXPECT_EQ(response->Content(), "");
  }
}

TEST_F(RequestTest, ATimeOutRaisesRestExceptionNamingTheAddress) {
  FixtureReply silent;
  silent.mode = FixtureReply::Mode::Silent;
  server->SetReply("/silent", silent);
  auto waiting = TRequest::New();
  waiting->BaseURL(server->HttpBase() + "/silent").Timeout(1000);
  EXPECT_THAT([&] { waiting->Get(); },
              ::testing::ThrowsMessage<ERESTException>(
                  "REST request failed: Operation timed out after 1000 milliseconds with no data "
                  "received from " +
                  server->HttpBase() + "/silent"));
}

}  // namespace
}  // namespace rotalis::net

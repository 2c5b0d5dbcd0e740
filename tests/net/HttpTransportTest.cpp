// The transport as the update download and the crash report submission use it.

#include <gtest/gtest.h>

#include "net/HttpTransport.h"
#include "tests/support/http/HttpFixtureServer.h"

namespace rotalis::net {
namespace {

using test::Reply;

class StringSink : public HttpBodySink {
 public:
  void SetLength(std::uint64_t length) override { announced = length; }
  void Add(const char* data, std::size_t size) override {
    if (failAfter != 0 && received.size() + size > failAfter) throw Exception("disk full");
    received.append(data, size);
  }
  std::optional<std::uint64_t> announced;
  std::string received;
  std::size_t failAfter = 0;
};

class HttpTransportTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { shared = new test::HttpFixtureServer(); }
  static void TearDownTestSuite() {
    delete shared;
    shared = nullptr;
  }

  static inline test::HttpFixtureServer* shared = nullptr;
  test::HttpFixtureServer& server = *shared;
  std::unique_ptr<HttpTransport> transport = HttpTransport::Create();
};

// A body of more than 1 KiB goes at once: no "Expect: 100-continue" wait.
TEST_F(HttpTransportTest, PostsABodyWithCustomHeaders) {
  server.SetReply("/soap", Reply(201, "<ok/>"));
  HttpRequest request;
  request.method = "POST";
  request.url = server.HttpBase() + "/soap";
  request.headers = {{"SOAPAction", "\"urn:add\""}};
  request.body = "<envelope>" + std::string(4000, 'r') + "</envelope>";
  const HttpResponse response = transport->Send(request);
  EXPECT_EQ(response.statusCode, 201);
  EXPECT_EQ(response.statusText, "Created");
  EXPECT_EQ(FindHeader(response.headers, "content-length"), "5");

  const auto sent = server.Requests().back();
  EXPECT_EQ(sent.requestLine, "POST /soap HTTP/1.1");
  EXPECT_EQ(sent.Header("SOAPAction"), "\"urn:add\"");
  EXPECT_EQ(sent.Header("Expect"), std::nullopt);
  EXPECT_EQ(sent.body, request.body);
}

TEST_F(HttpTransportTest, ASinkThatFailsEndsTheTransferWithItsError) {
  server.SetReply("/big", Reply(200, std::string(200000, 'b')));
  HttpRequest request;
  request.url = server.HttpBase() + "/big";
  StringSink full;
  full.failAfter = 1000;
  try {
    transport->Send(request, &full);
    FAIL() << "the sink's error was swallowed";
  } catch (const Exception& error) {
    EXPECT_STREQ(error.what(), "disk full");
  }
  EXPECT_EQ(full.announced, 200000u);
}

}  // namespace
}  // namespace rotalis::net

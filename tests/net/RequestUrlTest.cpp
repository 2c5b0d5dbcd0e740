// The address a request is sent to, built without a network.

#include <gtest/gtest.h>

#include "net/Request.h"
#include "net/RequestUrl.h"

namespace rotalis::net {
namespace {

TEST(RequestUrl, JoinsBaseResourceAndQuery) {
  EXPECT_EQ(JoinURL("http://h/", "arquivos"), "http://h/arquivos");
  EXPECT_EQ(JoinURL("http://h", "arquivos"), "http://h/arquivos");
  EXPECT_EQ(JoinURL("http://h", "?a=1"), "http://h?a=1");
  EXPECT_EQ(AppendQuery("http://h/x", {"a=1", "b=2"}), "http://h/x?a=1&b=2");
  EXPECT_EQ(AppendQuery("http://h/x?z=0", {"a=1"}), "http://h/x?z=0&a=1");
  EXPECT_EQ(UrlEncode("a b&c=ç~_"), "a%20b%26c%3D%C3%A7~_");
}

// A header value could otherwise smuggle a header of its own.
TEST(RequestUrl, HeadersWithLineBreaksAreRefused) {
  auto request = TRequest::New();
  request->BaseURL("http://h").AddParam(" ", "x");  // a blank name is left out
  EXPECT_EQ(request->FullURL(), "http://h");
  request->AddHeader("X-Evil", "a\r\nHost: elsewhere");
  EXPECT_THROW(request->Prepare(rmGET), Exception);
}

}  // namespace
}  // namespace rotalis::net

#include "net/BodyDecoding.h"

#include <gtest/gtest.h>

#include <string>

namespace rotalis::net {
namespace {

// "Ação €" as each single-byte charset sends it; € is 0x80 only in Windows-1252.
constexpr const char* kBytes = "A\xE7\xE3o \x80";
constexpr const char* kAsWindows1252 = "A\xC3\xA7\xC3\xA3o \xE2\x82\xAC";
constexpr const char* kAsLatin1 = "A\xC3\xA7\xC3\xA3o \xC2\x80";

// Registered names in any case, quoted or not, with blanks around the "=".
TEST(BodyDecoding, KnowsTheNamesOfTheSingleByteCharsets) {
  for (const char* name : {"ISO-8859-1", "ISO_8859-1:1987", "latin1", "L1", "iso8859-1"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(DecodeBody(kBytes, std::string("text/plain; charset=") + name, "utf-8"), kAsLatin1);
    EXPECT_EQ(DecodeBody(kBytes, std::string("text/plain;CHARSET=\"") + name + "\"", ""),
              kAsLatin1);
  }
  for (const char* name : {"Windows-1252", "cp1252", "x-cp1252"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(DecodeBody(kBytes, std::string("text/plain; charset=") + name, "utf-8"),
              kAsWindows1252);
    EXPECT_EQ(DecodeBody(kBytes, std::string("text/plain; charset = \"") + name + "\" ", "raw"),
              kAsWindows1252);
    EXPECT_FALSE(DecodesToItself(kBytes, std::string("text/plain; charset=") + name, "utf-8"));
    EXPECT_TRUE(DecodesToItself("plain", std::string("text/plain; charset=") + name, "utf-8"));
  }
}

TEST(BodyDecoding, ReadsParametersQuotedOrNot) {
  const struct {
    const char* contentType;
    const char* charset;
  } cases[] = {
      {"text/plain", ""},
      {"text/plain; charset=UTF-8", "utf-8"},
      {"text/plain;charset=\"latin1\";format=flowed", "latin1"},
      // A ";" or an escaped quote inside a quoted value belongs to the value.
      {"text/plain; title=\"a; charset=utf-8\"; charset=cp1252", "cp1252"},
      {"text/plain; title=\"a\\\"; charset=utf-8\"; charset=l1", "l1"},
      {"text/plain; charset=\"x;y\"", "x;y"},
      {"text/plain; flowed; charset=latin1", "latin1"},
      {"text/plain; charset=", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(CharsetOf(c.contentType), c.charset) << c.contentType;
  // The wrong charset never decodes what a quoted parameter only mentions.
  EXPECT_EQ(DecodeBody(kBytes, "text/plain; title=\"x; charset=utf-8\"; charset=latin1", ""),
            kAsLatin1);
}

}  // namespace
}  // namespace rotalis::net

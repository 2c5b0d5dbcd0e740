// UTF-8 checks over texts that are mostly ASCII, with the odd byte at every
// place a word-at-a-time scan could miss it.

#include <gtest/gtest.h>

#include <string>

#include "platform/TextEncoding.h"

namespace rotalis {
namespace {

TEST(TextEncoding, TheOddSequenceCountsWhereverItSits) {
  const std::string ascii(21, 'a');
  for (std::size_t at = 0; at <= ascii.size(); ++at) {
    SCOPED_TRACE("at " + std::to_string(at));
    const auto with = [&](const std::string& piece) {
      return ascii.substr(0, at) + piece + ascii.substr(at);
    };
    EXPECT_TRUE(IsAscii(with("z")));
    EXPECT_TRUE(IsValidUtf8(with("z")));

    const std::string cedilla = with("\xc3\xa7");
    EXPECT_FALSE(IsAscii(cedilla));
    EXPECT_TRUE(IsValidUtf8(cedilla));
    EXPECT_EQ(ReplaceInvalidUtf8(cedilla), cedilla);

    // A stray continuation byte, a lone lead byte and a sequence cut short at the end.
    EXPECT_FALSE(IsValidUtf8(with("\x80")));
    EXPECT_EQ(ReplaceInvalidUtf8(with("\x80")), with("\xef\xbf\xbd"));
    EXPECT_EQ(ReplaceInvalidUtf8(with("\xc3z")), with("\xef\xbf\xbdz"));
    const std::string cut = ascii.substr(0, at) + "\xe2\x82";
    EXPECT_FALSE(IsValidUtf8(cut));
    EXPECT_EQ(ReplaceInvalidUtf8(cut), ascii.substr(0, at) + "\xef\xbf\xbd\xef\xbf\xbd");
  }
  EXPECT_TRUE(IsAscii(""));
  EXPECT_TRUE(IsValidUtf8(""));
}

}  // namespace
}  // namespace rotalis

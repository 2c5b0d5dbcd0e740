// The symbol table Windows builds ship beside each module: what an address
// inside a function, between functions and past the code is named.

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <utility>

#include "platform/Exception.h"
#include "platform/SymbolTable.h"

namespace rotalis::platform {
namespace {

// Two functions of one file; the second opens with a line inlined from a
// header; code past 0x1200 has no line, past 0x1300 no function.
constexpr const char* kTable =
    "rotalis-symbols 1\n"
    "F 1000 _Z5firstv\n"
    "F 1100 _Z6secondv\n"
    "E 1300\n"
    "S 0 /src/app.cpp\n"
    "L 1000 0 10\n"
    "L 1010 0 12\n"
    "S 1 /usr/include/c++/vector\n"
    "L 1100 1 500\n"
    "L 1108 0 31\n"
    "L 1200 - -\n";

// Function, its start, file, line and the line the function starts on. The
// second function starts in a header: its start says nothing of where it lies
// in its own file.
TEST(SymbolTableTest, NamesWhatTheTableKnowsOfEachAddress) {
  const SymbolTable table = SymbolTable::Parse(kTable);
  const std::pair<std::uint64_t, std::string> rows[] = {
      {0x1014, "_Z5firstv@1000 /src/app.cpp:12 from 10"},
      {0x1150, "_Z6secondv@1100 /src/app.cpp:31 from 0"},
      {0xfff, "@0 :0 from 0"},
      {0x1250, "_Z6secondv@1100 :0 from 0"},
      {0x1300, "@0 :0 from 0"},
  };
  for (const auto& [address, expected] : rows) {
    const SymbolPlace place = table.Lookup(address);
    std::ostringstream shown;
    shown << place.function << '@' << std::hex << place.functionStart << std::dec << ' '
          << place.sourceFile << ':' << place.line << " from " << place.functionLine;
    EXPECT_EQ(shown.str(), expected) << std::hex << address;
  }
}

TEST(SymbolTableTest, RefusesWhatIsNoTable) {
  EXPECT_THROW(SymbolTable::Parse("MZ\x90"), Exception);
  EXPECT_THROW(SymbolTable::Parse("rotalis-symbols 1\nL 10 3 4\n"), Exception);
  EXPECT_THROW(SymbolTable::Parse("rotalis-symbols 1\nF zz name\n"), Exception);
}

}  // namespace
}  // namespace rotalis::platform

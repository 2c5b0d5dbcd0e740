// The symbol table Windows builds ship beside each module: what an address
// inside a function, between functions and past the code is named.

#include <gtest/gtest.h>

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

TEST(SymbolTableTest, NamesFunctionLineAndTheLineTheFunctionStartsOn) {
  const SymbolTable table = SymbolTable::Parse(kTable);
  const SymbolPlace inFirst = table.Lookup(0x1014);
  EXPECT_EQ(inFirst.function, "_Z5firstv");
  EXPECT_EQ(inFirst.functionStart, 0x1000u);
  EXPECT_EQ(inFirst.sourceFile, "/src/app.cpp");
  EXPECT_EQ(inFirst.line, 12);
  EXPECT_EQ(inFirst.functionLine, 10);
  // The second function starts in a header: its start says nothing of where
  // it lies in its own file.
  const SymbolPlace inSecond = table.Lookup(0x1150);
  EXPECT_EQ(inSecond.function, "_Z6secondv");
  EXPECT_EQ(inSecond.line, 31);
  EXPECT_EQ(inSecond.functionLine, 0);
}

TEST(SymbolTableTest, KnowsNothingWhereTheTableSaysSo) {
  const SymbolTable table = SymbolTable::Parse(kTable);
  EXPECT_EQ(table.Lookup(0xfff).function, "");
  const SymbolPlace noLine = table.Lookup(0x1250);
  EXPECT_EQ(noLine.function, "_Z6secondv");
  EXPECT_EQ(noLine.sourceFile, "");
  EXPECT_EQ(noLine.line, 0);
  EXPECT_EQ(table.Lookup(0x1300).function, "");
}

TEST(SymbolTableTest, RefusesWhatIsNoTable) {
  EXPECT_THROW(SymbolTable::Parse("MZ\x90"), Exception);
  EXPECT_THROW(SymbolTable::Parse("rotalis-symbols 1\nL 10 3 4\n"), Exception);
  EXPECT_THROW(SymbolTable::Parse("rotalis-symbols 1\nF zz name\n"), Exception);
}

}  // namespace
}  // namespace rotalis::platform

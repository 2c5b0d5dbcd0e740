#pragma once
// The symbol table a Windows build ships beside each program and DLL
// ("rotalis.exe.sym", written at build time by cmake/symbol_table.py): the
// functions and source lines of the module by address relative to its image
// base. The Windows symbolizer reads it; this is only the text and the
// look-up, the same on every system.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace rotalis::platform {

struct SymbolPlace {
  std::string function;  // as the table names it (mangled); empty when unknown
  std::uint64_t functionStart = 0;
  std::string sourceFile;  // empty when unknown
  int line = 0;
  int functionLine = 0;  // the line the function starts on, when in sourceFile; else 0
};

class SymbolTable {
 public:
  // Raises rotalis::Exception for text that is not a table of this format.
  static SymbolTable Parse(std::string_view text);

  // What the table knows of the code at `rva`.
  SymbolPlace Lookup(std::uint64_t rva) const;

 private:
  struct Function {
    std::uint64_t rva;
    std::string name;  // empty: the end of a code section
  };
  struct Row {
    std::uint64_t rva;
    int file;  // index into files_; -1: no line from here on
    int line;
  };
  const Row* RowAt(std::uint64_t rva) const;

  std::vector<Function> functions_;
  std::vector<std::string> files_;
  std::vector<Row> rows_;
};

}  // namespace rotalis::platform

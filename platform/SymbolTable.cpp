#include "platform/SymbolTable.h"

#include <algorithm>
#include <charconv>

#include "platform/Exception.h"

namespace rotalis::platform {
namespace {

constexpr std::string_view kHeader = "rotalis-symbols 1";

// The next word of `line` (up to a blank, or all of it when `rest`).
std::string_view Word(std::string_view& line, bool rest = false) {
  const std::size_t end = rest ? line.size() : std::min(line.find(' '), line.size());
  const std::string_view word = line.substr(0, end);
  line.remove_prefix(std::min(end + 1, line.size()));
  return word;
}

template <typename Number>
Number Parsed(std::string_view word, int base, std::string_view line) {
  Number value{};
  const auto parsed = std::from_chars(word.data(), word.data() + word.size(), value, base);
  if (word.empty() || parsed.ec != std::errc() || parsed.ptr != word.data() + word.size())
    throw Exception("Bad line in a symbol table: " + std::string(line));
  return value;
}

}  // namespace

SymbolTable SymbolTable::Parse(std::string_view text) {
  if (text.substr(0, kHeader.size()) != kHeader) throw Exception("Not a symbol table");
  SymbolTable table;
  std::size_t at = text.find('\n');
  while (at != std::string_view::npos && at + 1 < text.size()) {
    const std::size_t end = std::min(text.find('\n', at + 1), text.size());
    const std::string_view whole = text.substr(at + 1, end - at - 1);
    at = end < text.size() ? end : std::string_view::npos;
    std::string_view line = whole;
    const std::string_view kind = Word(line);
    if (kind == "F" || kind == "E") {
      const auto rva = Parsed<std::uint64_t>(Word(line), 16, whole);
      table.functions_.push_back({rva, kind == "F" ? std::string(Word(line, true)) : ""});
    } else if (kind == "S") {
      if (Parsed<std::size_t>(Word(line), 10, whole) != table.files_.size())
        throw Exception("Source files out of order in a symbol table: " + std::string(whole));
      table.files_.emplace_back(Word(line, true));
    } else if (kind == "L") {
      const auto rva = Parsed<std::uint64_t>(Word(line), 16, whole);
      const std::string_view file = Word(line);
      if (file == "-") {
        table.rows_.push_back({rva, -1, 0});
        continue;
      }
      const int index = Parsed<int>(file, 10, whole);
      if (index < 0 || static_cast<std::size_t>(index) >= table.files_.size())
        throw Exception("Unknown source file in a symbol table: " + std::string(whole));
      table.rows_.push_back({rva, index, Parsed<int>(Word(line), 10, whole)});
    } else if (!kind.empty()) {
      throw Exception("Bad line in a symbol table: " + std::string(whole));
    }
  }
  // The writer sorts; a table sorted by hand or merged must work all the same.
  std::stable_sort(table.functions_.begin(), table.functions_.end(),
                   [](const Function& a, const Function& b) { return a.rva < b.rva; });
  std::stable_sort(table.rows_.begin(), table.rows_.end(),
                   [](const Row& a, const Row& b) { return a.rva < b.rva; });
  return table;
}

const SymbolTable::Row* SymbolTable::RowAt(std::uint64_t rva) const {
  const auto after =
      std::upper_bound(rows_.begin(), rows_.end(), rva,
                       [](std::uint64_t value, const Row& row) { return value < row.rva; });
  if (after == rows_.begin() || std::prev(after)->file < 0) return nullptr;
  return &*std::prev(after);
}

SymbolPlace SymbolTable::Lookup(std::uint64_t rva) const {
  SymbolPlace place;
  const auto after =
      std::upper_bound(functions_.begin(), functions_.end(), rva,
                       [](std::uint64_t value, const Function& f) { return value < f.rva; });
  if (after != functions_.begin() && !std::prev(after)->name.empty()) {
    place.function = std::prev(after)->name;
    place.functionStart = std::prev(after)->rva;
  }
  if (const Row* row = RowAt(rva)) {
    place.sourceFile = files_[static_cast<std::size_t>(row->file)];
    place.line = row->line;
    // Code inlined from a header may open the function; its line says
    // nothing about where the function starts in this file.
    const Row* first = place.function.empty() ? nullptr : RowAt(place.functionStart);
    if (first != nullptr && first->file == row->file) place.functionLine = first->line;
  }
  return place;
}

}  // namespace rotalis::platform

#pragma once
// The statement text of a query, kept as a list of lines.

#include <cstddef>
#include <string>
#include <vector>

namespace rotalis {

class TStringList {
 public:
  // The lines joined with line breaks ("\n"), without a trailing one.
  std::string Text() const;
  // Replaces every line; "\n" and "\r\n" both separate lines.
  void SetText(const std::string& text);
  void Add(const std::string& line);
  void Clear() { lines_.clear(); }
  std::size_t Count() const { return lines_.size(); }
  const std::string& operator[](std::size_t index) const { return lines_.at(index); }

 private:
  std::vector<std::string> lines_;
};

}  // namespace rotalis

#pragma once
// Counting a text's occurrences: how many times a run wrote a marker line or a
// report names a frame is what several process tests check.

#include <cstddef>
#include <string>

namespace rotalis::test {

inline int CountOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

}  // namespace rotalis::test

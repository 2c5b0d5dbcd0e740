#pragma once
// Case folding of the ASCII letters only. File names, INI keys, header names
// and charset names compare this way; the C library's tolower would depend on
// the process locale.

#include <algorithm>
#include <string>
#include <string_view>

namespace rotalis::platform {

constexpr char AsciiLower(char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }

inline std::string AsciiLowered(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), AsciiLower);
  return lower;
}

inline bool EqualsIgnoringAsciiCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return AsciiLower(x) == AsciiLower(y); });
}

}  // namespace rotalis::platform

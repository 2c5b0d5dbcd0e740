#pragma once
// The order in which the platform sorts text for people: case-insensitive and
// aware of the user's locale (accented letters beside their base letters,
// punctuation placed as the platform's collation places it).

#include <string_view>

namespace rotalis::platform {

// Negative, zero or positive as `a` sorts before, with or after `b` (UTF-8)
// under the user's locale, ignoring case. On POSIX the user's locale is the
// one the environment names now (LC_ALL, LC_COLLATE, LANG); where it names
// none that exists, the C.UTF-8 locale orders by code point.
int CompareTextIgnoringCase(std::string_view a, std::string_view b);

}  // namespace rotalis::platform

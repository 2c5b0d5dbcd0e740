#pragma once
// Windows' own reading of a profile (INI) file, the ground truth the
// project's reader is compared with where Windows (or Wine) runs the tests.

#include <string>

namespace rotalis::test {

// GetPrivateProfileStringW of `path` (UTF-8 in and out).
std::string WindowsProfileString(const std::string& path, const std::string& section,
                                 const std::string& key, const std::string& defaultValue);

}  // namespace rotalis::test

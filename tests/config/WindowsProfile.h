#pragma once
// Windows' own reading and writing of a profile (INI) file, the ground truth
// the project's reader and writer are compared with where Windows (or Wine)
// runs the tests.

#include <string>

namespace rotalis::test {

// GetPrivateProfileStringW of `path` (UTF-8 in and out).
std::string WindowsProfileString(const std::string& path, const std::string& section,
                                 const std::string& key, const std::string& defaultValue);

// WritePrivateProfileStringW to `path` (UTF-8 in); false when Windows refuses.
bool WindowsWriteProfileString(const std::string& path, const std::string& section,
                               const std::string& key, const std::string& value);

}  // namespace rotalis::test

#pragma once
// The file version a program file carries: on Windows its version resource, on
// Linux an ELF note of this project's own (see FileVersion_posix.cpp).

#include <cstdint>
#include <optional>
#include <string>

namespace rotalis::platform {

// The two 32-bit words of a fixed file version record:
// ms = major << 16 | minor, ls = release << 16 | build.
struct FileVersionWords {
  std::uint32_t ms = 0;
  std::uint32_t ls = 0;
};

// The version stamped into the file, or nothing when it carries none or cannot
// be read. Never raises.
std::optional<FileVersionWords> ReadFileVersion(const std::string& path);

}  // namespace rotalis::platform

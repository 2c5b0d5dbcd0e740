#pragma once
// Files with a chosen file version stamped in, the way the launcher carries its
// own, so that version reading is tested on real files.

#include <cstdint>
#include <string>

namespace rotalis::test {

// Writes a program file at `path` that carries the version
// major.minor.release.build (each 0..65535): on Linux a minimal ELF file with
// the version note and nothing else, on Windows a tiny program with a version
// resource.
void WriteVersionedFile(const std::string& path, std::uint16_t major, std::uint16_t minor,
                        std::uint16_t release, std::uint16_t build);

}  // namespace rotalis::test

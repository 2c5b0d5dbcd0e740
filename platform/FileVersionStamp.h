#pragma once
// Stamps a file version into the program file that includes this once, where
// FileVersion.h's ReadFileVersion finds it on disk. On Linux the stamp is an
// ELF note (owner "Rotalis", type 0x5256) in its own allocated section, which
// survives strip. The Windows build uses its version resource instead.

#include <cstdint>

#if defined(_WIN32)
#define ROTALIS_STAMP_FILE_VERSION(major, minor, release, build)
#else
namespace rotalis::platform {
struct VersionNote {
  std::uint32_t nameSize;
  std::uint32_t descSize;
  std::uint32_t type;
  char name[8];
  std::uint32_t ms;
  std::uint32_t ls;
};
inline constexpr std::uint32_t kVersionNoteType = 0x5256;
}  // namespace rotalis::platform

#define ROTALIS_STAMP_FILE_VERSION(major, minor, release, build)                 \
  extern "C" __attribute__((section(".note.rotalis.version"), used, aligned(4))) \
  const rotalis::platform::VersionNote rotalis_file_version_note = {             \
      8,                                                                         \
      8,                                                                         \
      rotalis::platform::kVersionNoteType,                                       \
      "Rotalis",                                                                 \
      (std::uint32_t(major) << 16) | std::uint32_t(minor),                       \
      (std::uint32_t(release) << 16) | std::uint32_t(build)}
#endif

#include "platform/FileVersion.h"

#include <elf.h>

#include <cstring>
#include <fstream>
#include <vector>

#include "platform/FileVersionStamp.h"

namespace rotalis::platform {
namespace {

// Reads exactly `size` bytes at `offset`; false when the file is shorter.
bool ReadAt(std::ifstream& file, std::uint64_t offset, void* out, std::size_t size) {
  file.seekg(static_cast<std::streamoff>(offset));
  file.read(static_cast<char*>(out), static_cast<std::streamsize>(size));
  return file.gcount() == static_cast<std::streamsize>(size);
}

std::optional<FileVersionWords> FindInNotes(const std::vector<char>& notes) {
  std::size_t pos = 0;
  auto align4 = [](std::size_t n) { return (n + 3) & ~std::size_t{3}; };
  while (pos + 12 <= notes.size()) {
    std::uint32_t header[3];
    std::memcpy(header, notes.data() + pos, sizeof header);
    const std::size_t nameAt = pos + 12;
    const std::size_t descAt = nameAt + align4(header[0]);
    const std::size_t next = descAt + align4(header[1]);
    if (next > notes.size() || next <= pos) return std::nullopt;
    if (header[0] == 8 && header[1] == 8 && header[2] == kVersionNoteType &&
        std::memcmp(notes.data() + nameAt, "Rotalis", 8) == 0) {
      FileVersionWords words;
      std::memcpy(&words.ms, notes.data() + descAt, 4);
      std::memcpy(&words.ls, notes.data() + descAt + 4, 4);
      return words;
    }
    pos = next;
  }
  return std::nullopt;
}

template <typename Ehdr, typename Shdr>
std::optional<FileVersionWords> ScanSections(std::ifstream& file) {
  Ehdr header{};
  if (!ReadAt(file, 0, &header, sizeof header)) return std::nullopt;
  if (header.e_shentsize != sizeof(Shdr) || header.e_shnum == 0) return std::nullopt;
  for (unsigned i = 0; i < header.e_shnum; ++i) {
    Shdr section{};
    if (!ReadAt(file, header.e_shoff + std::uint64_t(i) * sizeof(Shdr), &section, sizeof section))
      return std::nullopt;
    if (section.sh_type != SHT_NOTE || section.sh_size == 0 || section.sh_size > (1u << 20))
      continue;
    std::vector<char> notes(section.sh_size);
    if (!ReadAt(file, section.sh_offset, notes.data(), notes.size())) return std::nullopt;
    if (auto words = FindInNotes(notes)) return words;
  }
  return std::nullopt;
}

}  // namespace

std::optional<FileVersionWords> ReadFileVersion(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  unsigned char ident[EI_NIDENT] = {};
  if (!ReadAt(file, 0, ident, sizeof ident)) return std::nullopt;
  if (std::memcmp(ident, ELFMAG, SELFMAG) != 0 || ident[EI_DATA] != ELFDATA2LSB)
    return std::nullopt;
  if (ident[EI_CLASS] == ELFCLASS64) return ScanSections<Elf64_Ehdr, Elf64_Shdr>(file);
  if (ident[EI_CLASS] == ELFCLASS32) return ScanSections<Elf32_Ehdr, Elf32_Shdr>(file);
  return std::nullopt;
}

}  // namespace rotalis::platform

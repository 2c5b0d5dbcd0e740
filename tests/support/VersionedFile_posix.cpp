#include "tests/support/VersionedFile.h"

#include <elf.h>

#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>

#include "platform/FileVersionStamp.h"

namespace rotalis::test {

void WriteVersionedFile(const std::string& path, std::uint16_t major, std::uint16_t minor,
                        std::uint16_t release, std::uint16_t build) {
  const platform::VersionNote note{8,
                                   8,
                                   platform::kVersionNoteType,
                                   "Rotalis",
                                   (std::uint32_t(major) << 16) | minor,
                                   (std::uint32_t(release) << 16) | build};
  const char names[] = "\0.shstrtab\0.note.rotalis.version";
  const std::size_t noteOffset = sizeof(Elf64_Ehdr);
  const std::size_t namesOffset = noteOffset + sizeof note;
  const std::size_t headersOffset = (namesOffset + sizeof names + 7) & ~std::size_t{7};

  Elf64_Ehdr header{};
  std::memcpy(header.e_ident, ELFMAG, SELFMAG);
  header.e_ident[EI_CLASS] = ELFCLASS64;
  header.e_ident[EI_DATA] = ELFDATA2LSB;
  header.e_ident[EI_VERSION] = EV_CURRENT;
  header.e_type = ET_REL;
  header.e_machine = EM_X86_64;
  header.e_version = EV_CURRENT;
  header.e_ehsize = sizeof(Elf64_Ehdr);
  header.e_shoff = headersOffset;
  header.e_shentsize = sizeof(Elf64_Shdr);
  header.e_shnum = 3;
  header.e_shstrndx = 2;

  Elf64_Shdr sections[3] = {};
  sections[1].sh_name = 11;  // ".note.rotalis.version"
  sections[1].sh_type = SHT_NOTE;
  sections[1].sh_flags = SHF_ALLOC;
  sections[1].sh_offset = noteOffset;
  sections[1].sh_size = sizeof note;
  sections[1].sh_addralign = 4;
  sections[2].sh_name = 1;  // ".shstrtab"
  sections[2].sh_type = SHT_STRTAB;
  sections[2].sh_offset = namesOffset;
  sections[2].sh_size = sizeof names;
  sections[2].sh_addralign = 1;

  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(&header), sizeof header);
  out.write(reinterpret_cast<const char*>(&note), sizeof note);
  out.write(names, sizeof names);
  const std::string padding(headersOffset - namesOffset - sizeof names, '\0');
  out.write(padding.data(), static_cast<std::streamsize>(padding.size()));
  out.write(reinterpret_cast<const char*>(sections), sizeof sections);
  if (!out) throw std::runtime_error("cannot write " + path);
}

}  // namespace rotalis::test

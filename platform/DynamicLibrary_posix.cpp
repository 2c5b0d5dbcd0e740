#include "platform/DynamicLibrary.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gelf.h>
#include <libelf.h>
#include <unistd.h>

#include <memory>
#include <set>
#include <vector>

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ScopedFd_posix.h"

namespace rotalis::platform {
namespace {

struct ElfEnder {
  void operator()(Elf* elf) const { elf_end(elf); }
};

// The libraries an ELF object names as needed (DT_NEEDED); empty for a file
// that is none.
std::vector<std::string> NeededLibraries(const std::string& path) {
  std::vector<std::string> names;
  const ScopedFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0 || elf_version(EV_CURRENT) == EV_NONE) return names;
  const std::unique_ptr<Elf, ElfEnder> elf(elf_begin(fd.get(), ELF_C_READ, nullptr));
  if (!elf) return names;
  for (Elf_Scn* section = elf_nextscn(elf.get(), nullptr); section != nullptr;
       section = elf_nextscn(elf.get(), section)) {
    GElf_Shdr header;
    if (gelf_getshdr(section, &header) == nullptr || header.sh_type != SHT_DYNAMIC ||
        header.sh_entsize == 0)
      continue;
    Elf_Data* data = elf_getdata(section, nullptr);
    for (std::size_t i = 0; data != nullptr && i < header.sh_size / header.sh_entsize; ++i) {
      GElf_Dyn entry;
      if (gelf_getdyn(data, static_cast<int>(i), &entry) == nullptr) break;
      if (entry.d_tag != DT_NEEDED) continue;
      if (const char* name = elf_strptr(elf.get(), header.sh_link, entry.d_un.d_val))
        names.emplace_back(name);
    }
  }
  return names;
}

// The loader reads its search path once, at process start, so the folders the
// start-up put in PATH mean nothing to it. Every needed library found in
// those folders is therefore loaded first, by full path and its own needs
// before it; the loader then finds it among the loaded objects by name when
// the package asks for it. Libraries found nowhere there (the system's own)
// are left to the loader, as is one already loaded.
void LoadDependencies(const std::string& path, const std::vector<std::string>& folders,
                      std::set<std::string>& seen) {
  for (const std::string& name : NeededLibraries(path)) {
    if (name.find('/') != std::string::npos || !seen.insert(name).second) continue;
    if (void* loaded = dlopen(name.c_str(), RTLD_NOW | RTLD_NOLOAD)) {
      dlclose(loaded);
      continue;
    }
    for (const std::string& folder : folders) {
      const std::string candidate = JoinPath(folder, name);
      if (!FileExists(candidate)) continue;
      LoadDependencies(candidate, folders, seen);
      dlerror();
      // Never closed, like the package that needs it.
      if (dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr) {
        const char* reason = dlerror();
        throw Exception("Cannot load " + candidate + ": " +
                        (reason ? reason : "unknown loader error"));
      }
      break;
    }
  }
}

}  // namespace

// RTLD_NOW: a missing symbol fails the load now, with the loader's message,
// not later in the middle of the package's work. RTLD_LOCAL: the package's
// symbols do not leak into the libraries loaded after it.
LoadedLibrary LoadedLibrary::LoadForProcess(const std::string& path,
                                            const std::vector<std::string>& dependencyFolders) {
  std::set<std::string> seen;
  LoadDependencies(path, dependencyFolders, seen);
  dlerror();
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* reason = dlerror();
    throw Exception("Cannot load " + path + ": " + (reason ? reason : "unknown loader error"));
  }
  return LoadedLibrary(handle, path);
}

void* LoadedLibrary::Export(const std::string& name) const {
  dlerror();
  return dlsym(handle_, name.c_str());
}

}  // namespace rotalis::platform

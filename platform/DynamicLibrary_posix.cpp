#include "platform/DynamicLibrary.h"

#include <dlfcn.h>

#include "platform/Exception.h"

namespace rotalis::platform {

// RTLD_NOW: a missing symbol fails the load now, with the loader's message,
// not later in the middle of the package's work. RTLD_LOCAL: the package's
// symbols do not leak into the libraries loaded after it.
LoadedLibrary LoadedLibrary::LoadForProcess(const std::string& path) {
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

#include "platform/DynamicLibrary.h"

#include <windows.h>

#include "platform/Exception.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {

// The loader finds the library's own dependencies through PATH, which the
// start-up has just set to the installation's folders. A missing dependency
// must come back as an error for the crash reporter, not as the system's own
// error box, hence the thread's error mode around the load.
LoadedLibrary LoadedLibrary::LoadForProcess(const std::string& path) {
  DWORD previousMode = 0;
  SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &previousMode);
  HMODULE module = LoadLibraryW(WideFromUtf8(path).c_str());
  const DWORD error = GetLastError();
  SetThreadErrorMode(previousMode, nullptr);
  if (module == nullptr) throw Exception("Cannot load " + path + ": " + WindowsErrorMessage(error));
  return LoadedLibrary(module, path);
}

void* LoadedLibrary::Export(const std::string& name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name.c_str()));
}

}  // namespace rotalis::platform

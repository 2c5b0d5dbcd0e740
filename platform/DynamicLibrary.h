#pragma once
// Shared libraries (DLLs on Windows) loaded at run time by full path.

#include <string>
#include <utility>
#include <vector>

namespace rotalis::platform {

// A library loaded for the rest of the process. It is deliberately never
// unloaded, so whatever it handed out (code, data, objects of its own) stays
// valid until the process ends; hence the handle is not closed by anyone.
class LoadedLibrary {
 public:
  // Loads the library at `path` and runs its initialisation; raises
  // rotalis::Exception with the loader's own message when that fails. The
  // library's own needs are looked for in `dependencyFolders`, in order, as
  // the Windows loader looks for a DLL's through the program's folder and
  // PATH (on Windows the loader does that itself and the list is not read).
  static LoadedLibrary LoadForProcess(const std::string& path,
                                      const std::vector<std::string>& dependencyFolders);

  // The address of the export of exactly this name (case included), or
  // nullptr when the library has none.
  void* Export(const std::string& name) const;

  const std::string& Path() const { return path_; }

 private:
  LoadedLibrary(void* handle, std::string path) : handle_(handle), path_(std::move(path)) {}

  void* handle_;
  std::string path_;
};

}  // namespace rotalis::platform

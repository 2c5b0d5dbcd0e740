#include "platform/Symbolizer.h"

#include <windows.h>

#include <string>

#include "platform/Exception.h"
#include "platform/ModuleFileName_win.h"
#include "platform/Paths.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// Modules and offsets only: names of functions and source lines need the
// program's debug information, which is not read here.
class ModuleSymbolizer : public Symbolizer {
 public:
  StackFrame Describe(std::uintptr_t address, bool exact) override {
    StackFrame frame;
    frame.address = address;
    // A return address follows its call, and the call is what is asked about:
    // after a call that never returns it may already lie past the module.
    const std::uintptr_t lookup = exact || address == 0 ? address : address - 1;
    // A null address would name the program itself.
    if (lookup == 0) return frame;
    HMODULE module = nullptr;
    // Without a new reference there is nothing to release; the module may be
    // unloaded meanwhile, and then its name is only missing.
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(lookup), &module)) {
      return frame;
    }
    const std::string path = Utf8FromWide(ModuleFileName(module));
    frame.module = path.substr(FolderOf(path).size());
    // A module's handle is the address it is loaded at.
    frame.moduleOffset = address - reinterpret_cast<std::uintptr_t>(module);
    return frame;
  }
};

}  // namespace

std::unique_ptr<Symbolizer> Symbolizer::ForProcess(int pid) {
  if (pid != 0 && static_cast<DWORD>(pid) != GetCurrentProcessId()) {
    throw Exception("Cannot read the modules of process " + std::to_string(pid) +
                    ": inspecting another process is not supported on Windows yet");
  }
  return std::make_unique<ModuleSymbolizer>();
}

}  // namespace rotalis::platform

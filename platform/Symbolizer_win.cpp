#include "platform/Symbolizer.h"

#include <windows.h>
// After windows.h, whose types it uses.
#include <psapi.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ScopedHandle_win.h"
#include "platform/SymbolTable.h"
#include "platform/WideText_win.h"

// A mingw build's debug information is DWARF in PE sections, which neither
// the system's symbol API nor libdw reads here; each module ships a symbol
// table made from it at build time instead ("<module>.sym" beside the file).
namespace rotalis::platform {
namespace {

constexpr const char* kSymbolTableSuffix = ".sym";

struct Module {
  std::uintptr_t base = 0;
  std::uintptr_t size = 0;
  std::string path;
  bool tableRead = false;
  std::optional<SymbolTable> table;  // nothing when the module ships none
};

std::string ModulePath(HANDLE process, HMODULE module) {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        GetModuleFileNameExW(process, module, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0) return {};
    // Cut short without saying so when the buffer is too small.
    if (length < path.size() - 1) {
      path.resize(length);
      return Utf8FromWide(path);
    }
    path.resize(path.size() * 2);
  }
}

// The modules of the process as they are loaded now.
std::vector<Module> LoadedModules(HANDLE process) {
  std::vector<HMODULE> handles(256);
  for (;;) {
    DWORD needed = 0;
    if (!EnumProcessModules(process, handles.data(),
                            static_cast<DWORD>(handles.size() * sizeof(HMODULE)), &needed))
      RaiseLastError("Cannot list the modules of the crashed process");
    if (needed <= handles.size() * sizeof(HMODULE)) {
      handles.resize(needed / sizeof(HMODULE));
      break;
    }
    handles.resize(needed / sizeof(HMODULE));
  }
  std::vector<Module> modules;
  for (HMODULE handle : handles) {
    MODULEINFO info{};
    if (!GetModuleInformation(process, handle, &info, sizeof info)) continue;
    Module module;
    module.base = reinterpret_cast<std::uintptr_t>(info.lpBaseOfDll);
    module.size = info.SizeOfImage;
    module.path = ModulePath(process, handle);
    modules.push_back(std::move(module));
  }
  return modules;
}

class TableSymbolizer : public Symbolizer {
 public:
  explicit TableSymbolizer(std::vector<Module> modules) : modules_(std::move(modules)) {}

  StackFrame Describe(std::uintptr_t address, bool exact) override {
    StackFrame frame;
    frame.address = address;
    // A return address follows its call, and the call is what is asked about:
    // after a call that never returns it may already lie past the function.
    const std::uintptr_t lookup = exact || address == 0 ? address : address - 1;
    Module* module = ModuleAt(lookup);
    if (module == nullptr) return frame;
    frame.module = module->path.substr(FolderOf(module->path).size());
    frame.moduleOffset = address - module->base;
    const SymbolTable* table = TableOf(*module);
    if (table == nullptr) return frame;
    const SymbolPlace place = table->Lookup(lookup - module->base);
    if (!place.function.empty()) {
      frame.function = DemangledName(place.function.c_str());
      frame.functionOffset = address - (module->base + place.functionStart);
    }
    frame.sourceFile = place.sourceFile;
    frame.line = place.line;
    frame.functionLine = place.functionLine;
    return frame;
  }

 private:
  Module* ModuleAt(std::uintptr_t address) {
    for (Module& module : modules_) {
      if (address >= module.base && address - module.base < module.size) return &module;
    }
    return nullptr;
  }

  // Read on first use: most modules of a stack (the system's) have none.
  static const SymbolTable* TableOf(Module& module) {
    if (!module.tableRead) {
      module.tableRead = true;
      const std::string path = module.path + kSymbolTableSuffix;
      try {
        if (!module.path.empty() && FileExists(path))
          module.table = SymbolTable::Parse(ReadFileBytes(path));
      } catch (const Exception&) {
        // A damaged table names nothing; the module and offset still do.
      }
    }
    return module.table ? &*module.table : nullptr;
  }

  std::vector<Module> modules_;
};

}  // namespace

std::unique_ptr<Symbolizer> Symbolizer::ForProcess(int pid) {
  const DWORD id = pid == 0 ? GetCurrentProcessId() : static_cast<DWORD>(pid);
  const ScopedHandle process(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, id));
  if (!process.valid()) RaiseLastError("Cannot inspect process " + std::to_string(id));
  return std::make_unique<TableSymbolizer>(LoadedModules(process.get()));
}

}  // namespace rotalis::platform

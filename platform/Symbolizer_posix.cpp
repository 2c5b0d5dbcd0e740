#include "platform/Symbolizer.h"

#include <dwarf.h>
#include <elfutils/libdw.h>
#include <elfutils/libdwfl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/Exception.h"

namespace rotalis::platform {
namespace {

std::string BaseName(const char* path) {
  if (path == nullptr) return {};
  std::string text(path);
  const auto slash = text.find_last_of('/');
  return slash == std::string::npos ? text : text.substr(slash + 1);
}

// The compile unit that holds the address. Not every compiler writes the
// address index (.debug_aranges) that the quick lookup uses, so without it
// every unit's ranges are asked.
Dwarf_Die* CompileUnitOf(Dwfl_Module* module, Dwarf_Addr address, Dwarf_Addr& bias) {
  if (Dwarf_Die* unit = dwfl_module_addrdie(module, address, &bias)) return unit;
  Dwarf_Die* unit = nullptr;
  while ((unit = dwfl_module_nextcu(module, unit, &bias)) != nullptr) {
    if (dwarf_haspc(unit, address - bias) == 1) return unit;
  }
  return nullptr;
}

// The source line of the address, and the declaration line of the innermost
// function or inlined function that contains it, with that function's name
// when it was inlined (its code then sits inside the symbol's function).
void DescribeSource(Dwfl_Module* module, Dwarf_Addr address, StackFrame& frame) {
  Dwarf_Addr bias = 0;
  Dwarf_Die* unit = CompileUnitOf(module, address, bias);
  if (unit == nullptr) return;
  if (Dwarf_Line* line = dwarf_getsrc_die(unit, address - bias)) {
    if (const char* source = dwarf_linesrc(line, nullptr, nullptr)) frame.sourceFile = source;
    dwarf_lineno(line, &frame.line);
  }
  Dwarf_Die* scopes = nullptr;
  const int count = dwarf_getscopes(unit, address - bias, &scopes);
  for (int i = 0; i < count; ++i) {
    const int tag = dwarf_tag(&scopes[i]);
    if (tag != DW_TAG_subprogram && tag != DW_TAG_inlined_subroutine) continue;
    int line = 0;
    if (dwarf_decl_line(&scopes[i], &line) == 0) frame.functionLine = line;
    if (tag == DW_TAG_inlined_subroutine) {
      Dwarf_Attribute attribute;
      const char* linkage =
          dwarf_formstring(dwarf_attr_integrate(&scopes[i], DW_AT_linkage_name, &attribute));
      const char* name = linkage != nullptr ? linkage : dwarf_diename(&scopes[i]);
      if (name != nullptr) frame.function += " [inlined: " + DemangledName(name) + "]";
    }
    break;
  }
  std::free(scopes);
  if (frame.functionLine == 0) {
    // Some compilers' units do not let the scopes be walked from the unit
    // down; the unit's list of functions still knows each one's range.
    struct Search {
      Dwarf_Addr address;
      int line;
    } search{address - bias, 0};
    dwarf_getfuncs(
        unit,
        [](Dwarf_Die* function, void* arg) -> int {
          auto* wanted = static_cast<Search*>(arg);
          if (dwarf_haspc(function, wanted->address) != 1) return DWARF_CB_OK;
          dwarf_decl_line(function, &wanted->line);
          return DWARF_CB_ABORT;
        },
        &search, 0);
    frame.functionLine = search.line;
  }
}

class DwflSymbolizer : public Symbolizer {
 public:
  explicit DwflSymbolizer(int pid) {
    dwfl_ = dwfl_begin(&kCallbacks);
    if (dwfl_ == nullptr) throw Exception(std::string("libdw: ") + dwfl_errmsg(-1));
    const int result = dwfl_linux_proc_report(dwfl_, pid == 0 ? getpid() : pid);
    dwfl_report_end(dwfl_, nullptr, nullptr);
    if (result != 0) {
      dwfl_end(dwfl_);
      throw Exception("Cannot read the modules of process " + std::to_string(pid));
    }
  }
  ~DwflSymbolizer() override { dwfl_end(dwfl_); }
  DwflSymbolizer(const DwflSymbolizer&) = delete;
  DwflSymbolizer& operator=(const DwflSymbolizer&) = delete;

  StackFrame Describe(std::uintptr_t address, bool exact) override {
    StackFrame frame;
    frame.address = address;
    const Dwarf_Addr lookup = exact || address == 0 ? address : address - 1;
    Dwfl_Module* module = dwfl_addrmodule(dwfl_, lookup);
    if (module == nullptr) return frame;
    Dwarf_Addr start = 0;
    const char* mainFile = nullptr;
    const char* name =
        dwfl_module_info(module, nullptr, &start, nullptr, nullptr, nullptr, &mainFile, nullptr);
    frame.module = BaseName(mainFile != nullptr ? mainFile : name);
    frame.moduleOffset = address - start;

    GElf_Off offset = 0;
    GElf_Sym symbol;
    const char* symbolName =
        dwfl_module_addrinfo(module, lookup, &offset, &symbol, nullptr, nullptr, nullptr);
    if (symbolName != nullptr) {
      frame.function = DemangledName(symbolName);
      frame.functionOffset = address - (lookup - offset);
    }
    DescribeSource(module, lookup, frame);
    return frame;
  }

 private:
  static char* debugInfoPath_;
  static const Dwfl_Callbacks kCallbacks;
  Dwfl* dwfl_ = nullptr;
};

char* DwflSymbolizer::debugInfoPath_ = nullptr;
const Dwfl_Callbacks DwflSymbolizer::kCallbacks = {
    dwfl_linux_proc_find_elf, dwfl_standard_find_debuginfo, nullptr, &debugInfoPath_};

}  // namespace

std::unique_ptr<Symbolizer> Symbolizer::ForProcess(int pid) {
  return std::make_unique<DwflSymbolizer>(pid);
}

}  // namespace rotalis::platform

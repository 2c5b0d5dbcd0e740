#pragma once
// Names for raw stack addresses of a running process, from the debug
// information of its modules (the program ships with it, or with a separate
// debug file found by its debug link or build id).

#include <cstdint>
#include <memory>
#include <string>

namespace rotalis::platform {

struct StackFrame {
  std::uintptr_t address = 0;
  std::string module;  // file name of the module, without folder; empty when unknown
  std::uintptr_t moduleOffset = 0;
  std::string function;               // demangled; empty when unknown
  std::uintptr_t functionOffset = 0;  // address - start of the function
  std::string sourceFile;             // as the debug information names it
  int line = 0;                       // 0 when unknown
  int functionLine = 0;               // the line the function is declared on; 0 when unknown
};

// A symbol or type name as the compiler's ABI mangles it, made readable; the
// name unchanged when it is not mangled.
std::string DemangledName(const char* name);

class Symbolizer {
 public:
  virtual ~Symbolizer() = default;

  // `exact` is false for return addresses: their call instruction lies just
  // before them, and that is the line to name.
  virtual StackFrame Describe(std::uintptr_t address, bool exact) = 0;

  // The modules of that process as they are mapped now (this process when pid
  // is 0). Raises rotalis::Exception when the process cannot be inspected.
  static std::unique_ptr<Symbolizer> ForProcess(int pid = 0);
};

}  // namespace rotalis::platform

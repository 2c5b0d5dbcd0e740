#include <cxxabi.h>

#include <cstdlib>
#include <string>

#include "platform/Symbolizer.h"

namespace rotalis::platform {

// GCC and Clang mangle alike on every system the program is built for (the
// Itanium C++ ABI, mingw-w64 included), so one demangler serves them all.
std::string DemangledName(const char* name) {
  if (name == nullptr) return {};
  int status = 0;
  char* demangled = abi::__cxa_demangle(name, nullptr, nullptr, &status);
  if (status != 0 || demangled == nullptr) return name;
  std::string result(demangled);
  std::free(demangled);
  return result;
}

}  // namespace rotalis::platform

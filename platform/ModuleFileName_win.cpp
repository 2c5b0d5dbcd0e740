#include "platform/ModuleFileName_win.h"

namespace rotalis::platform {

std::wstring ModuleFileName(HMODULE module) {
  // The call truncates silently when the buffer is short; only a result
  // shorter than the buffer is known to be whole.
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0) return {};
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

}  // namespace rotalis::platform

#include "platform/StackTrace.h"

#include <windows.h>

#include <algorithm>
#include <typeinfo>

#include "platform/RecordedThrows.h"
#include "platform/StackUnwind.h"

namespace rotalis::platform {

// The unwinder reads the tables every x64 module carries (.pdata), so it
// needs no symbols and no frame pointers.
std::size_t UnwindStack(std::uintptr_t* frames, std::size_t capacity, std::size_t skip) {
  const std::size_t count =
      RtlCaptureStackBackTrace(static_cast<DWORD>(skip + 1), static_cast<DWORD>(capacity),
                               reinterpret_cast<void**>(frames), nullptr);
  // Wine ends the walk with a zero past the thread's first function.
  return static_cast<std::size_t>(std::find(frames, frames + count, 0) - frames);
}

void PrepareStackCapture() {
  // The first walk finds the unwinder and reads the tables of this module.
  std::uintptr_t frames[4];
  UnwindStack(frames, 4, 0);
}

}  // namespace rotalis::platform

// The runtime is linked in statically, so its __cxa_throw cannot be replaced
// by a definition of the same name as a shared runtime can; the linker sends
// every call of it here instead (-Wl,--wrap=__cxa_throw), so the stack is
// recorded while the throwing function is still on it.
extern "C" [[noreturn]] void __real___cxa_throw(void* object, std::type_info* type,
                                                void (*destructor)(void*));

extern "C" [[noreturn]] void __wrap___cxa_throw(void* object, std::type_info* type,
                                                void (*destructor)(void*)) {
  using namespace rotalis::platform;
  recorded_throws::RecordedThrow& slot = recorded_throws::Claim(object);
  // Skips this function.
  slot.count = UnwindStack(slot.frames, kMaxStackFrames, 1);
  __real___cxa_throw(object, type, destructor);
}

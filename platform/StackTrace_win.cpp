#include "platform/StackTrace.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <typeinfo>

#include "platform/RecordedThrows.h"

namespace rotalis::platform {
namespace {

// `skip` counts the frames above the caller; this function's own is never
// listed. The unwinder reads the tables every x64 module carries (.pdata), so
// it needs no symbols and no frame pointers.
[[gnu::noinline]] std::size_t Unwind(std::uintptr_t* frames, std::size_t capacity,
                                     std::size_t skip) {
  const std::size_t count =
      RtlCaptureStackBackTrace(static_cast<DWORD>(skip + 1), static_cast<DWORD>(capacity),
                               reinterpret_cast<void**>(frames), nullptr);
  // Wine ends the walk with a zero past the thread's first function.
  return static_cast<std::size_t>(std::find(frames, frames + count, 0) - frames);
}

}  // namespace

StackAddresses CaptureStack() {
  StackAddresses frames(kMaxStackFrames);
  // Skips CaptureStack itself.
  frames.resize(Unwind(frames.data(), frames.size(), 1));
  return frames;
}

StackAddresses ThrowStackOf(const std::exception_ptr& error) {
  return recorded_throws::StackOf(error);
}

void PrepareStackCapture() {
  // The first walk finds the unwinder and reads the tables of this module.
  std::uintptr_t frames[4];
  Unwind(frames, 4, 0);
}

std::size_t CaptureStackInSignalHandler(std::uintptr_t interruptedPc, std::uintptr_t* frames,
                                        std::size_t capacity) {
  std::size_t count = Unwind(frames, capacity, 0);
  // The walk passes through the system's exception dispatch back into the
  // faulting function; the stack starts where the program was interrupted.
  if (interruptedPc != 0) {
    for (std::size_t i = 0; i < count; ++i) {
      if (frames[i] == interruptedPc) {
        std::memmove(frames, frames + i, (count - i) * sizeof *frames);
        return count - i;
      }
    }
    if (capacity == 0) return 0;
    frames[0] = interruptedPc;
    return 1;
  }
  return count;
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
  slot.count = Unwind(slot.frames, kMaxStackFrames, 1);
  __real___cxa_throw(object, type, destructor);
}

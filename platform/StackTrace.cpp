#include "platform/StackTrace.h"

#include <cstring>

#include "platform/RecordedThrows.h"
#include "platform/StackUnwind.h"

// What is the same on every system; the walk itself and the hook on the
// runtime's throw are the system's (StackTrace_posix.cpp, StackTrace_win.cpp).
namespace rotalis::platform {

StackAddresses CaptureStack() {
  StackAddresses frames(kMaxStackFrames);
  // Skips CaptureStack itself.
  frames.resize(UnwindStack(frames.data(), frames.size(), 1));
  return frames;
}

StackAddresses ThrowStackOf(const std::exception_ptr& error) {
  if (!error) return {};
  // A rethrow is no new throw: nothing is recorded for it.
  try {
    std::rethrow_exception(error);
  } catch (const CarriedStack& carried) {
    return carried.Stack();
  } catch (...) {
  }
  return recorded_throws::StackOf(error);
}

std::size_t CaptureStackInSignalHandler(std::uintptr_t interruptedPc, std::uintptr_t* frames,
                                        std::size_t capacity) {
  const std::size_t count = UnwindStack(frames, capacity, 0);
  // The walk passes through the handler's own frames and the system's signal
  // or exception dispatch: the stack starts where the program was interrupted.
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

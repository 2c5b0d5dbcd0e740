#pragma once
// Raw call stacks: return addresses of one thread, innermost first. Turning
// them into names is Symbolizer.h's job.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <utility>
#include <vector>

namespace rotalis::platform {

using StackAddresses = std::vector<std::uintptr_t>;

// The deepest stack any capture records.
inline constexpr std::size_t kMaxStackFrames = 64;

// The calling thread's stack, starting at the caller of this function.
StackAddresses CaptureStack();

// Mixed into an error that is kept and raised again later, away from the place
// that failed (a module package's failure is raised by the message loop once
// the package's handler has returned): it carries that place's stack, which
// the few throws recorded per thread could have forgotten by then.
class CarriedStack {
 public:
  explicit CarriedStack(StackAddresses stack) : stack_(std::move(stack)) {}
  const StackAddresses& Stack() const { return stack_; }

 private:
  StackAddresses stack_;
};

// The stack of the thread that threw `error`, recorded at the moment it was
// thrown (whatever module threw it), so that it names the throwing function and
// not the place that caught it; for a CarriedStack, the stack it carries. Only
// exceptions thrown by the current thread are found; empty when the throw was
// not recorded.
StackAddresses ThrowStackOf(const std::exception_ptr& error);

// Loads what capturing needs, so that the first capture inside a signal
// handler allocates nothing.
void PrepareStackCapture();

// Async-signal-safe capture for fatal signal handlers: up to `capacity`
// addresses into `frames`, starting at the frame that was interrupted by the
// signal (`interruptedPc`; 0 when unknown). Returns how many were written.
std::size_t CaptureStackInSignalHandler(std::uintptr_t interruptedPc, std::uintptr_t* frames,
                                        std::size_t capacity);

}  // namespace rotalis::platform

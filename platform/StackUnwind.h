#pragma once
// The one walk of the calling thread's stack each system does its own way
// (StackTrace_posix.cpp, StackTrace_win.cpp); StackTrace.cpp builds the rest
// on it. For the StackTrace files only.

#include <cstddef>
#include <cstdint>

namespace rotalis::platform {

// Up to `capacity` return addresses into `frames`, innermost first, leaving
// out this function's own frame and `skip` more above the caller. Safe inside
// a fatal-signal handler once PrepareStackCapture has run. Never inlined, so
// that the frames it leaves out are the ones counted.
[[gnu::noinline]] std::size_t UnwindStack(std::uintptr_t* frames, std::size_t capacity,
                                          std::size_t skip);

}  // namespace rotalis::platform

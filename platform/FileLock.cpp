#include "platform/FileLock.h"

#include <thread>

namespace rotalis::platform {

bool FileLock::LockWithin(std::chrono::milliseconds timeout) {
  constexpr std::chrono::milliseconds kRetry(20);
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!TryLock()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(kRetry);
  }
  return true;
}

}  // namespace rotalis::platform

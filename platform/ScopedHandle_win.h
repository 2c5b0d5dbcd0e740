#pragma once
// Owns a Windows kernel handle and closes it when it goes. For the _win.cpp
// files of this folder only.

#include <windows.h>

#include <utility>

namespace rotalis::platform {

class ScopedHandle {
 public:
  explicit ScopedHandle(HANDLE handle = nullptr) : handle_(handle) {}
  ~ScopedHandle() {
    if (valid()) CloseHandle(handle_);
  }
  ScopedHandle(ScopedHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  ScopedHandle& operator=(ScopedHandle&&) = delete;
  ScopedHandle(const ScopedHandle&) = delete;
  ScopedHandle& operator=(const ScopedHandle&) = delete;

  HANDLE get() const { return handle_; }
  // Some calls fail with null, others with INVALID_HANDLE_VALUE.
  bool valid() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
  HANDLE release() { return std::exchange(handle_, nullptr); }

 private:
  HANDLE handle_;
};

}  // namespace rotalis::platform

#include <windows.h>

#include <stdexcept>

#include "platform/WideText_win.h"
#include "tests/support/HeldFile.h"

namespace rotalis::test {

HeldFile::HeldFile(const std::string& path)
    : handle_(CreateFileW(platform::WideFromUtf8(path).c_str(), GENERIC_READ, FILE_SHARE_READ,
                          nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)) {
  if (handle_ == INVALID_HANDLE_VALUE)
    throw std::runtime_error("cannot hold " + path + ": " +
                             platform::WindowsErrorMessage(GetLastError()));
}

HeldFile::~HeldFile() {
  if (releaser_.joinable())
    releaser_.join();
  else
    CloseHandle(static_cast<HANDLE>(handle_));
}

void HeldFile::ReleaseAfter(std::chrono::milliseconds delay) {
  releaser_ = std::jthread([handle = handle_, delay] {
    std::this_thread::sleep_for(delay);
    CloseHandle(static_cast<HANDLE>(handle));
  });
}

}  // namespace rotalis::test

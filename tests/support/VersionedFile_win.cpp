// A Windows program file with a version resource, as the launcher carries its
// own: a copy of a tiny program of the build with the resource written in.

#include <windows.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/WideText_win.h"
#include "tests/support/HostShell.h"
#include "tests/support/VersionedFile.h"

namespace rotalis::test {
namespace {

void Append(std::vector<unsigned char>& blob, const void* data, std::size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  blob.insert(blob.end(), bytes, bytes + size);
}

void AlignTo32Bits(std::vector<unsigned char>& blob) {
  while (blob.size() % 4 != 0) blob.push_back(0);
}

// VS_VERSIONINFO: its header and key, the fixed record, and no children.
std::vector<unsigned char> VersionInfo(DWORD ms, DWORD ls) {
  VS_FIXEDFILEINFO fixed{};
  fixed.dwSignature = 0xFEEF04BD;
  fixed.dwStrucVersion = 0x00010000;
  fixed.dwFileVersionMS = fixed.dwProductVersionMS = ms;
  fixed.dwFileVersionLS = fixed.dwProductVersionLS = ls;
  fixed.dwFileFlagsMask = VS_FFI_FILEFLAGSMASK;
  fixed.dwFileOS = VOS_NT_WINDOWS32;
  fixed.dwFileType = VFT_APP;

  static constexpr wchar_t kKey[] = L"VS_VERSION_INFO";
  const WORD header[3] = {0, static_cast<WORD>(sizeof fixed), 0};  // length, value length, binary
  std::vector<unsigned char> blob;
  Append(blob, header, sizeof header);
  Append(blob, kKey, sizeof kKey);
  AlignTo32Bits(blob);
  Append(blob, &fixed, sizeof fixed);
  const auto length = static_cast<WORD>(blob.size());
  std::memcpy(blob.data(), &length, sizeof length);
  return blob;
}

// An update that is discarded unless committed.
class ResourceUpdate {
 public:
  explicit ResourceUpdate(const std::wstring& file)
      : handle_(BeginUpdateResourceW(file.c_str(), TRUE)) {
    if (handle_ == nullptr) Fail("BeginUpdateResourceW");
  }
  ~ResourceUpdate() {
    if (handle_ != nullptr) EndUpdateResourceW(handle_, TRUE);
  }
  ResourceUpdate(const ResourceUpdate&) = delete;
  ResourceUpdate& operator=(const ResourceUpdate&) = delete;

  void SetVersion(std::vector<unsigned char>& blob) {
    if (!UpdateResourceW(handle_, MAKEINTRESOURCEW(16) /* RT_VERSION */, MAKEINTRESOURCEW(1),
                         MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL), blob.data(),
                         static_cast<DWORD>(blob.size())))
      Fail("UpdateResourceW");
  }
  void Commit() {
    const HANDLE handle = handle_;
    handle_ = nullptr;
    if (!EndUpdateResourceW(handle, FALSE)) Fail("EndUpdateResourceW");
  }

 private:
  [[noreturn]] static void Fail(const char* what) {
    throw std::runtime_error(std::string(what) + ": " +
                             platform::WindowsErrorMessage(GetLastError()));
  }
  HANDLE handle_;
};

}  // namespace

void WriteVersionedFile(const std::string& path, std::uint16_t major, std::uint16_t minor,
                        std::uint16_t release, std::uint16_t build) {
  const std::wstring target = platform::WideFromUtf8(path);
  // The program lies in the build folder, a host path.
  const std::wstring carrier = platform::WideFromUtf8(LocalPath(ROTALIS_VERSION_CARRIER));
  if (!CopyFileW(carrier.c_str(), target.c_str(), FALSE))
    throw std::runtime_error("cannot copy the version carrier to " + path + ": " +
                             platform::WindowsErrorMessage(GetLastError()));
  std::vector<unsigned char> blob =
      VersionInfo((DWORD{major} << 16) | minor, (DWORD{release} << 16) | build);
  ResourceUpdate update(target);
  update.SetVersion(blob);
  update.Commit();
}

}  // namespace rotalis::test

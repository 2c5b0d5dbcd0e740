#include <windows.h>

#include <cstdint>
#include <optional>
#include <stdexcept>

#include "tests/support/proxy/TestProxy.h"

namespace rotalis::test {
namespace {

const wchar_t kConnections[] =
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings\\Connections";
const wchar_t kValue[] = L"DefaultConnectionSettings";

void AddDword(std::string& blob, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) blob += static_cast<char>((value >> (8 * i)) & 0xFF);
}

void AddText(std::string& blob, const std::string& text) {
  AddDword(blob, static_cast<std::uint32_t>(text.size()));
  blob += text;
}

class Key {
 public:
  Key() {
    if (RegCreateKeyExW(HKEY_CURRENT_USER, kConnections, 0, nullptr, 0, KEY_READ | KEY_WRITE,
                        nullptr, &key_, nullptr) != ERROR_SUCCESS)
      throw std::runtime_error("cannot open the Internet settings key");
  }
  ~Key() { RegCloseKey(key_); }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  HKEY get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

}  // namespace

struct SystemProxySetting::Saved {
  std::optional<std::string> value;
};

// Layout as the Settings app writes it: version 0x46, a change counter, the
// flags (1 direct, 2 fixed proxy), the proxy, the bypass list and the script
// address, each with its length before it, then padding.
SystemProxySetting::SystemProxySetting(const std::string& proxy,
                                       const std::vector<std::string>& bypassHosts)
    : saved_(std::make_unique<Saved>()) {
  const Key key;
  DWORD size = 0;
  if (RegQueryValueExW(key.get(), kValue, nullptr, nullptr, nullptr, &size) == ERROR_SUCCESS) {
    std::string old(size, '\0');
    if (RegQueryValueExW(key.get(), kValue, nullptr, nullptr, reinterpret_cast<BYTE*>(old.data()),
                         &size) == ERROR_SUCCESS) {
      old.resize(size);
      saved_->value = old;
    }
  }
  std::string bypass;
  for (const auto& host : bypassHosts) bypass += host + ";";
  bypass += "<local>";
  std::string blob;
  AddDword(blob, 0x46);
  AddDword(blob, 1);
  AddDword(blob, 0x1 | 0x2);
  AddText(blob, proxy);
  AddText(blob, bypass);
  AddText(blob, "");
  blob.append(28, '\0');
  if (RegSetValueExW(key.get(), kValue, 0, REG_BINARY, reinterpret_cast<const BYTE*>(blob.data()),
                     static_cast<DWORD>(blob.size())) != ERROR_SUCCESS)
    throw std::runtime_error("cannot write the Internet settings");
}

SystemProxySetting::~SystemProxySetting() {
  const Key key;
  if (saved_->value) {
    RegSetValueExW(key.get(), kValue, 0, REG_BINARY,
                   reinterpret_cast<const BYTE*>(saved_->value->data()),
                   static_cast<DWORD>(saved_->value->size()));
  } else {
    RegDeleteValueW(key.get(), kValue);
  }
}

}  // namespace rotalis::test

#pragma once
// A real HTTP proxy on loopback for the tests: Debian's tinyproxy as a private
// instance on 127.0.0.1:13128 (tests/fixtures/proxy/tinyproxy.sh), logging
// every request it takes. It stops when the object goes, and also when the
// test program dies (the script watches its standard input). The port is
// fixed: one instance at a time.

#include <memory>
#include <string>
#include <vector>

#include "tests/support/HostShell.h"
#include "tests/support/TempFolder.h"

namespace rotalis::test {

class TestProxy {
 public:
  // With `credentials` ("user:password") every request without them is
  // answered 407.
  explicit TestProxy(const std::string& credentials = "");
  ~TestProxy();
  TestProxy(const TestProxy&) = delete;
  TestProxy& operator=(const TestProxy&) = delete;

  // "127.0.0.1:13128"
  static std::string Address();

  // The requests it took, oldest first, as their method and target:
  // "CONNECT 127.0.0.1:8443", "GET http://127.0.0.1:8063/arquivos/kelva".
  std::vector<std::string> Requests() const;

 private:
  TempFolder folder_;
  std::unique_ptr<HostProcess> process_;
};

// Points the system's proxy settings at a proxy while the object lives, and
// puts back what was there when it goes: on Linux the proxy variables of this
// process's environment, on Windows the user's Internet settings (the
// "DefaultConnectionSettings" value the Settings app writes), with the local
// addresses bypassed as its check box sets them.
class SystemProxySetting {
 public:
  SystemProxySetting(const std::string& proxy, const std::vector<std::string>& bypassHosts);
  ~SystemProxySetting();
  SystemProxySetting(const SystemProxySetting&) = delete;
  SystemProxySetting& operator=(const SystemProxySetting&) = delete;

  struct Saved;

 private:
  std::unique_ptr<Saved> saved_;
};

}  // namespace rotalis::test

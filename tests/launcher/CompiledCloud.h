#pragma once
// The cloud rules fixture (tests/fixtures/cloud/cloud_server.py) where the
// launcher binary was built to look for it: on the port of the compiled URL,
// answering to the compiled token, with a server certificate signed by the
// CA in the compiled CA file. That CA is made with the fixture's openssl
// recipe when it is missing or about to expire, so a fresh build folder
// needs nothing prepared. The port is fixed: one instance at a time (CTest
// resource lock "port8443"). The server stops when the object goes, and also
// when the test program dies (it watches its standard input).

#include <memory>
#include <string>

#include "tests/support/HostShell.h"
#include "tests/support/TempFolder.h"

namespace rotalis::test {

class CompiledCloud {
 public:
  // Throws std::runtime_error naming the CMake setting when the compiled
  // deployment is not one a test can serve (not https on 127.0.0.1, no CA file).
  CompiledCloud();
  ~CompiledCloud();
  CompiledCloud(const CompiledCloud&) = delete;
  CompiledCloud& operator=(const CompiledCloud&) = delete;

  // The body answered for the CNPJ from now on (a JSON array of rule records,
  // or anything else the service might send). The CNPJ must be digits only:
  // the fixture names rule files after it.
  void SetRules(const std::string& cnpj, const std::string& body) const;

 private:
  TempFolder folder_;
  std::unique_ptr<HostProcess> process_;
};

// The instance of this test program, started on first use and stopped when
// the program ends.
CompiledCloud& SharedCloud();
// Stops that instance now, as when the service goes away; the next
// SharedCloud() starts a fresh one, which has forgotten every body set.
void StopSharedCloud();

}  // namespace rotalis::test

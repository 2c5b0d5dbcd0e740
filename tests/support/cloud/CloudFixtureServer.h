#pragma once
// The cloud rules service played on loopback over HTTPS
// (tests/fixtures/cloud/cloud_server.py) for one test or benchmark: answers
// GET /functions/v1/regras-por-cnpj from rule bodies set per CNPJ, refuses a
// wrong bearer token with 401, and logs every request. It gets a CA and server
// certificate of its own, and stops when the object goes or the program dies.
//
// The launcher's tests run it where the launcher binary was built to look for
// it (AtCompiledAddress, SharedCloud).

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/Deployment.h"
#include "tests/support/HostShell.h"
#include "tests/support/TempFolder.h"

namespace rotalis::test {

struct CloudRequest {
  std::string method;
  std::string target;               // path and query as sent
  std::optional<std::string> cnpj;  // the decoded "cnpj" value; nullopt when absent
  std::optional<std::string> authorization;
  std::optional<std::string> accept;
  int status = 0;  // what the fixture answered
};

class CloudFixtureServer {
 public:
  explicit CloudFixtureServer(std::string token = "fixture-anon-key");
  // On the port of the compiled URL, answering to the compiled token, with a
  // server certificate signed by the CA in the compiled CA file. That CA is
  // made with the HTTP fixture's openssl recipe when it is missing or about to
  // expire, so a fresh build folder needs nothing prepared. Throws
  // std::runtime_error naming the CMake setting when the compiled deployment
  // is not one a test can serve (not https on 127.0.0.1, no CA file). The port
  // is fixed: one instance at a time (CTest resource lock "port8443").
  static std::unique_ptr<CloudFixtureServer> AtCompiledAddress();
  ~CloudFixtureServer();
  CloudFixtureServer(const CloudFixtureServer&) = delete;
  CloudFixtureServer& operator=(const CloudFixtureServer&) = delete;

  // "https://127.0.0.1:<port>/functions/v1/regras-por-cnpj"
  std::string Url() const;
  const std::string& CaFile() const { return caFile_; }
  const std::string& Token() const { return token_; }
  // A deployment whose cloud constants point here (and nothing else set).
  Deployment CloudDeployment() const;

  // The body answered for a CNPJ from now on; nullopt stands for a request
  // without "cnpj". A CNPJ without a body gets 404 {"error":"No records found"}.
  void SetRules(const std::optional<std::string>& cnpj, const std::string& body);
  void RemoveRules(const std::optional<std::string>& cnpj);
  // The file a CNPJ's body is kept in (for bodies too large to hold twice).
  std::string RuleFile(const std::optional<std::string>& cnpj) const;

  // Every request received so far, oldest first.
  std::vector<CloudRequest> Requests() const;

 private:
  CloudFixtureServer(std::string token, const std::string& options);

  TempFolder folder_;
  std::string token_;
  std::string caFile_;
  std::unique_ptr<HostProcess> process_;
  int port_ = 0;
};

// The instance at the compiled address this test program shares, started on
// first use and stopped when the program ends.
CloudFixtureServer& SharedCloud();
// Stops that instance now, as when the service goes away; the next
// SharedCloud() starts a fresh one, which has forgotten every body set.
void StopSharedCloud();

}  // namespace rotalis::test

#pragma once
// The cloud rules service played on loopback over HTTPS
// (tests/fixtures/cloud/cloud_server.py) for one test or benchmark: answers
// GET /functions/v1/regras-por-cnpj from rule bodies set per CNPJ, refuses a
// wrong bearer token with 401, and logs every request. It gets a CA and server
// certificate of its own, and stops when the object goes or the program dies.

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
  ~CloudFixtureServer();
  CloudFixtureServer(const CloudFixtureServer&) = delete;
  CloudFixtureServer& operator=(const CloudFixtureServer&) = delete;

  // "https://127.0.0.1:<port>/functions/v1/regras-por-cnpj"
  std::string Url() const;
  std::string CaFile() const;
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
  TempFolder folder_;
  std::string token_;
  std::unique_ptr<HostProcess> process_;
  int port_ = 0;
};

}  // namespace rotalis::test

#pragma once
// The company's rules from the cloud rules service: one HTTPS GET by CNPJ, and
// the rule list cut out of its answer.

#include <optional>
#include <string>
#include <vector>

#include "config/Deployment.h"
#include "rules/RuleAnswer.h"

namespace rotalis {

// The exact answer by which the service says it holds no rules for the company.
inline constexpr const char* kNoRecordsFound = R"({"error":"No records found"})";

// What the service answered: its status and the body FetchRulesByCnpj hands on.
struct CloudAnswer {
  int status = 0;
  std::string statusText;  // the reason phrase, e.g. "Service Unavailable"
  std::string body;        // empty text for exactly kNoRecordsFound
  bool noRecords = false;  // the body was exactly kNoRecordsFound
};

// GET deployment.cloudUrl?cnpj=<cnpj> with the deployment's bearer token and
// "Accept: application/json". The CNPJ goes as it stands (a blank one sends no
// "cnpj" at all). Transport failures raise net::ERESTException; an HTTP status
// never raises.
CloudAnswer FetchCloudAnswer(const Deployment& deployment, const std::string& cnpj);

// The body of FetchCloudAnswer: the HTTP status is not looked at, only the
// body counts.
std::string FetchRulesByCnpj(const Deployment& deployment, const std::string& cnpj);

// The rule array of a body that is either an array of records or an object
// holding one under `member` ("rows" when member is empty). Nothing when the
// object has no "rows", or when the value found is no array at all. Raises
// "JSON inválido" when the body is not JSON, and net::JsonValueNotFound when a
// member that was named explicitly is missing, or net::JsonConversionError when
// it is no array. The elements are taken one by one as the parser meets them:
// the whole answer is never a tree.
std::optional<RuleList> ExtractRuleList(const std::string& body, const std::string& member = "");

}  // namespace rotalis

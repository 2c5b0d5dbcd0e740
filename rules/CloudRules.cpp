#include "rules/CloudRules.h"

#include "net/JsonText.h"
#include "net/Request.h"
#include "platform/Exception.h"

namespace rotalis {

CloudAnswer FetchCloudAnswer(const Deployment& deployment, const std::string& cnpj) {
  auto request = net::TRequest::New();
  request->BaseURL(deployment.cloudUrl)
      .AddParam("cnpj", cnpj, net::pkQUERY, {})
      .TokenBearer(deployment.cloudToken)
      .AddHeader("Accept", "application/json", {})
      .CaFile(deployment.cloudCaFile);
  auto response = request->Get();
  CloudAnswer answer{response->StatusCode(), response->StatusText(), {}};
  // Compared as it came, byte for byte: the service marks "no rules" with
  // this one body, and any other text, even the same JSON spaced differently,
  // is an answer to parse.
  answer.noRecords = response->Content() == kNoRecordsFound;
  if (answer.noRecords) return answer;
  // Moved out rather than copied: a large answer is held once.
  answer.body = response->TakeContent();
  return answer;
}

std::string FetchRulesByCnpj(const Deployment& deployment, const std::string& cnpj) {
  return FetchCloudAnswer(deployment, cnpj).body;
}

std::optional<RuleList> ExtractRuleList(const std::string& body, const std::string& member) {
  const std::string key = member.empty() ? "rows" : member;
  std::optional<RuleAnswer> answer = ReadRuleAnswer(body, key);
  if (!answer) throw Exception("JSON inválido");
  switch (answer->shape) {
    case RuleAnswer::Shape::Array:
      return std::move(answer->records);
    case RuleAnswer::Shape::Other:
      return std::nullopt;
    case RuleAnswer::Shape::Object:
      break;
  }
  if (answer->member == RuleRecord::Kind::Array) return std::move(answer->records);
  // Named explicitly, a missing or non-array member is the caller's error.
  if (!member.empty()) {
    if (answer->member == RuleRecord::Kind::Missing) net::RaiseValueNotFound(key);
    net::RaiseConversionError(RuleRecord::KindName(answer->member), key, "array");
  }
  return std::nullopt;
}

}  // namespace rotalis

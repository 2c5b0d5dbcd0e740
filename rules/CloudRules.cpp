#include "rules/CloudRules.h"

#include <utility>

#include "net/Request.h"
#include "platform/Exception.h"

namespace rotalis {

std::string FetchRulesByCnpj(const Deployment& deployment, const std::string& cnpj) {
  auto request = net::TRequest::New();
  request->BaseURL(deployment.cloudUrl)
      .AddParam("cnpj", cnpj, net::pkQUERY, {})
      .TokenBearer(deployment.cloudToken)
      .AddHeader("Accept", "application/json", {})
      .CaFile(deployment.cloudCaFile);
  auto response = request->Get();
  // Compared as it came, byte for byte: the service marks "no rules" with
  // this one body, and any other text, even the same JSON spaced differently,
  // is an answer to parse.
  if (response->Content() == kNoRecordsFound) return {};
  return response->Content();
}

std::optional<RuleList> ExtractRuleList(const std::string& body, const std::string& member) {
  net::Json value = net::Json::parse(body, nullptr, /*allow_exceptions=*/false);
  if (value.is_discarded()) throw Exception("JSON inválido");

  if (value.is_array()) return std::move(value.get_ref<net::Json::array_t&>());
  if (!value.is_object()) return std::nullopt;
  const std::string key = member.empty() ? "rows" : member;
  if (!member.empty()) {
    // Named explicitly, a missing or non-array member is the caller's error.
    net::GetArray(value, key);
  } else {
    const net::Json* rows = nullptr;
    if (!net::TryGetValue(value, key, rows)) return std::nullopt;
  }
  // The parsed value dies here, so its array can move out instead of being copied.
  return std::move(value[key].get_ref<net::Json::array_t&>());
}

}  // namespace rotalis

#include "rules/CloudRules.h"

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
  const std::string key = member.empty() ? "rows" : member;
  RuleList records;
  // While inside the rule array: the depth at which its elements end.
  int elementDepth = 0;
  bool atKey = false;
  const net::Json::parser_callback_t take = [&](int depth, net::Json::parse_event_t event,
                                                net::Json& parsed) {
    using Event = net::Json::parse_event_t;
    if (elementDepth != 0) {
      if (depth == elementDepth &&
          (event == Event::object_end || event == Event::array_end || event == Event::value)) {
        records.emplace_back(parsed);
        return false;  // dropped from the tree, which never holds more than one rule
      }
      if (depth == elementDepth - 1 && event == Event::array_end) elementDepth = 0;
      return true;
    }
    if (depth == 1 && event == Event::key) atKey = parsed == key;
    if (event == Event::array_start && (depth == 0 || (depth == 1 && atKey))) {
      // A later member of the same name replaces an earlier one, as in the tree.
      records.clear();
      elementDepth = depth + 1;
    }
    return true;
  };
  const net::Json value = net::Json::parse(body, take, /*allow_exceptions=*/false);
  if (value.is_discarded()) throw Exception("JSON inválido");

  if (value.is_array()) return records;
  if (!value.is_object()) return std::nullopt;
  if (!member.empty()) {
    // Named explicitly, a missing or non-array member is the caller's error.
    net::GetArray(value, key);
  } else {
    const net::Json* rows = nullptr;
    if (!net::TryGetValue(value, key, rows)) return std::nullopt;
  }
  return records;
}

}  // namespace rotalis

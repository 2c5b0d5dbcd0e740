// The one-pass rule answer reader against the tree: for any text, the same
// verdict (JSON or not), the same shape, the same kind of the asked member,
// and, where the import takes records, the same records, read member by
// member with the same values and the same errors as net::GetValue gives on
// the parsed element.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <string>

#include "net/JsonText.h"
#include "rules/RuleAnswer.h"

namespace {

using rotalis::RuleAnswer;
using rotalis::RuleRecord;
using rotalis::net::Json;

void Check(bool condition) {
  if (!condition) std::abort();
}

RuleRecord::Kind KindOf(const Json& value) {
  switch (value.type()) {
    case Json::value_t::null:
      return RuleRecord::Kind::Null;
    case Json::value_t::boolean:
      return RuleRecord::Kind::Boolean;
    case Json::value_t::number_integer:
      return RuleRecord::Kind::Integer;
    case Json::value_t::number_unsigned:
      return RuleRecord::Kind::Unsigned;
    case Json::value_t::number_float:
      return RuleRecord::Kind::Float;
    case Json::value_t::string:
      return RuleRecord::Kind::String;
    case Json::value_t::object:
      return RuleRecord::Kind::Object;
    case Json::value_t::array:
      return RuleRecord::Kind::Array;
    default:
      std::abort();
  }
}

// What a read gives: its value as text, or its error message.
template <typename Read>
std::string Outcome(Read read) {
  try {
    if constexpr (std::is_same_v<decltype(read()), std::string>) {
      return "value " + read();
    } else {
      return "value " + std::to_string(read());
    }
  } catch (const std::exception& error) {
    return std::string("error ") + error.what();
  }
}

void CheckRecords(const rotalis::RuleList& records, const Json& array) {
  Check(records.size() == array.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    const Json& element = array[i];
    Check(records[i] == RuleRecord(element));
    if (!element.is_object()) continue;
    for (std::size_t m = 0; m < rotalis::kRuleMemberCount; ++m) {
      const auto member = static_cast<rotalis::RuleMember>(m);
      const std::string name = rotalis::RuleMemberName(member);
      Check(Outcome([&] { return records[i].Text(member); }) ==
            Outcome([&] { return rotalis::net::GetValue<std::string>(element, name); }));
      Check(Outcome([&] { return records[i].Integer(member); }) ==
            Outcome([&] { return rotalis::net::GetValue<int>(element, name); }));
      Check(Outcome([&] { return records[i].Number(member); }) ==
            Outcome([&] { return rotalis::net::GetValue<double>(element, name); }));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // The first byte picks the member asked for, the rest is the answer.
  const std::string member = data[0] % 2 ? "rows" : "regras";
  const std::string body(reinterpret_cast<const char*>(data + 1), size - 1);
  const auto answer = rotalis::ReadRuleAnswer(body, member);
  const Json tree = Json::parse(body, nullptr, false);
  Check(answer.has_value() == !tree.is_discarded());
  if (!answer) return 0;
  if (tree.is_array()) {
    Check(answer->shape == RuleAnswer::Shape::Array);
    CheckRecords(answer->records, tree);
  } else if (tree.is_object()) {
    Check(answer->shape == RuleAnswer::Shape::Object);
    const auto found = tree.find(member);
    Check(answer->member == (found == tree.end() ? RuleRecord::Kind::Missing : KindOf(*found)));
    if (answer->member == RuleRecord::Kind::Array) CheckRecords(answer->records, *found);
  } else {
    Check(answer->shape == RuleAnswer::Shape::Other);
  }
  return 0;
}

#include "rules/RuleRecord.h"

#include <cstring>
#include <limits>
#include <unordered_map>

#include "platform/Exception.h"

namespace rotalis {
namespace {

constexpr std::array<const char*, kRuleMemberCount> kMemberNames = {
    "classificacao_ibscbs",
    "regime_id",
    "identificacao",
    "cfop_interno",
    "icm_interno",
    "cfop_externo",
    "icm_externo",
    "reducao_base_aliquota",
    "cst_icm_csosn",
    "cst_ipi",
    "cst_pis",
    "pis_aliquota",
    "cst_cofins",
    "cofins_aliquota",
    "classificacao_is",
    "cst_ibscbs",
    "classificacao_cpresumido",
    "ibs_aliquota_estadual",
    "ibs_aliquota_municipal",
    "data_inicio",
    "data_fim",
    "cbs_aliquota",
    "reducao_cbs",
    "reducao_ibs",
};

}  // namespace

const char* RuleMemberName(RuleMember member) {
  return kMemberNames[static_cast<std::size_t>(member)];
}

std::optional<RuleMember> RuleMemberNamed(std::string_view name) {
  // Asked for every member of every rule: a hash lookup, built once.
  static const std::unordered_map<std::string_view, RuleMember> kByName = [] {
    std::unordered_map<std::string_view, RuleMember> byName;
    for (std::size_t i = 0; i < kMemberNames.size(); ++i)
      byName.emplace(kMemberNames[i], static_cast<RuleMember>(i));
    return byName;
  }();
  const auto found = kByName.find(name);
  if (found == kByName.end()) return std::nullopt;
  return found->second;
}

RuleRecord::RuleRecord() = default;

RuleRecord::RuleRecord(const net::Json& value) {
  if (!value.is_object()) return;
  for (const auto& [name, member] : value.items()) {
    const auto slot = RuleMemberNamed(name);
    if (!slot) continue;
    switch (member.type()) {
      case net::Json::value_t::null:
        SetNull(*slot);
        break;
      case net::Json::value_t::boolean:
        SetBoolean(*slot);
        break;
      case net::Json::value_t::number_integer:
        SetInteger(*slot, member.get<std::int64_t>());
        break;
      case net::Json::value_t::number_unsigned:
        SetUnsigned(*slot, member.get<std::uint64_t>());
        break;
      case net::Json::value_t::number_float:
        SetFloat(*slot, member.get<double>());
        break;
      case net::Json::value_t::string:
        SetString(*slot, member.get_ref<const std::string&>());
        break;
      case net::Json::value_t::object:
        SetNested(*slot, Kind::Object);
        break;
      default:
        // Arrays, and binary values, which JSON text never holds.
        SetNested(*slot, Kind::Array);
        break;
    }
  }
  texts_.shrink_to_fit();
}

void RuleRecord::SetInteger(RuleMember member, std::int64_t value) {
  // Whole numbers from zero up are one kind, however they were written.
  if (value >= 0) return SetUnsigned(member, static_cast<std::uint64_t>(value));
  kinds_[Slot(member)] = Kind::Integer;
  values_[Slot(member)].integer = value;
}

void RuleRecord::SetUnsigned(RuleMember member, std::uint64_t value) {
  kinds_[Slot(member)] = Kind::Unsigned;
  values_[Slot(member)].whole = value;
}

void RuleRecord::SetFloat(RuleMember member, double value) {
  kinds_[Slot(member)] = Kind::Float;
  values_[Slot(member)].number = value;
}

void RuleRecord::SetString(RuleMember member, std::string_view value) {
  constexpr std::size_t kLimit = std::numeric_limits<std::uint32_t>::max();
  if (value.size() > kLimit - texts_.size())
    throw Exception(std::string("The rule's texts are too long at member '") +
                    RuleMemberName(member) + "'");
  kinds_[Slot(member)] = Kind::String;
  values_[Slot(member)].text = {static_cast<std::uint32_t>(texts_.size()),
                                static_cast<std::uint32_t>(value.size())};
  texts_.append(value);
}

std::string_view RuleRecord::TextOf(std::size_t slot) const {
  const Piece piece = values_[slot].text;
  return std::string_view(texts_).substr(piece.offset, piece.length);
}

const char* RuleRecord::KindName(Kind kind) {
  switch (kind) {
    case Kind::Null:
      return "null";
    case Kind::Boolean:
      return "boolean";
    case Kind::Integer:
    case Kind::Unsigned:
    case Kind::Float:
      return "number";
    case Kind::String:
      return "string";
    case Kind::Object:
      return "object";
    case Kind::Array:
      return "array";
    case Kind::Missing:
      break;
  }
  return "discarded";
}

void RuleRecord::Refuse(RuleMember member, const char* type) const {
  const Kind kind = kinds_[Slot(member)];
  if (kind == Kind::Missing) net::RaiseValueNotFound(RuleMemberName(member));
  net::RaiseConversionError(KindName(kind), RuleMemberName(member), type);
}

std::string RuleRecord::Text(RuleMember member) const {
  switch (kinds_[Slot(member)]) {
    case Kind::Null:
      return {};
    case Kind::String:
      return std::string(TextOf(Slot(member)));
    default:
      Refuse(member, "string");
  }
}

int RuleRecord::Integer(RuleMember member) const {
  const Value value = values_[Slot(member)];
  switch (kinds_[Slot(member)]) {
    case Kind::Integer:
      if (value.integer >= std::numeric_limits<std::int32_t>::min())
        return static_cast<int>(value.integer);
      break;
    case Kind::Unsigned:
      if (value.whole <= static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max()))
        return static_cast<int>(value.whole);
      break;
    default:
      break;
  }
  Refuse(member, "Integer");
}

double RuleRecord::Number(RuleMember member) const {
  const Value value = values_[Slot(member)];
  switch (kinds_[Slot(member)]) {
    case Kind::Integer:
      return static_cast<double>(value.integer);
    case Kind::Unsigned:
      return static_cast<double>(value.whole);
    case Kind::Float:
      return value.number;
    default:
      Refuse(member, "Double");
  }
}

bool operator==(const RuleRecord& a, const RuleRecord& b) {
  if (a.kinds_ != b.kinds_) return false;
  for (std::size_t slot = 0; slot < kRuleMemberCount; ++slot) {
    const RuleRecord::Value x = a.values_[slot], y = b.values_[slot];
    switch (a.kinds_[slot]) {
      case RuleRecord::Kind::Integer:
        if (x.integer != y.integer) return false;
        break;
      case RuleRecord::Kind::Unsigned:
        if (x.whole != y.whole) return false;
        break;
      case RuleRecord::Kind::Float:
        // Bit for bit: the record is what was sent, not a number to compare.
        if (std::memcmp(&x.number, &y.number, sizeof x.number) != 0) return false;
        break;
      case RuleRecord::Kind::String:
        if (a.TextOf(slot) != b.TextOf(slot)) return false;
        break;
      default:
        break;
    }
  }
  return true;
}

}  // namespace rotalis

#pragma once
// One rule of the cloud's answer, held as the members the import reads and
// nothing else: their kinds and values side by side, texts in one buffer. A
// hundred thousand rules take about a third of the answer's size this way,
// and the import never parses JSON again.
//
// A record reads exactly as the parsed JSON object it was taken from would
// through net::GetValue: the same values, and for a missing member or one of
// another kind, the same error. Errors are raised when the import reads the
// member, not when the answer is parsed, so that the rules before a bad one
// are written first.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "net/JsonText.h"

namespace rotalis {

// The members of a rule that the import reads.
enum class RuleMember : std::uint8_t {
  classificacao_ibscbs,
  regime_id,
  identificacao,
  cfop_interno,
  icm_interno,
  cfop_externo,
  icm_externo,
  reducao_base_aliquota,
  cst_icm_csosn,
  cst_ipi,
  cst_pis,
  pis_aliquota,
  cst_cofins,
  cofins_aliquota,
  classificacao_is,
  cst_ibscbs,
  classificacao_cpresumido,
  ibs_aliquota_estadual,
  ibs_aliquota_municipal,
  data_inicio,
  data_fim,
  cbs_aliquota,
  reducao_cbs,
  reducao_ibs,
};
inline constexpr std::size_t kRuleMemberCount = 24;

// The member's name in the cloud's answer.
const char* RuleMemberName(RuleMember member);
// The member of that name; nothing for a name the import does not read.
std::optional<RuleMember> RuleMemberNamed(std::string_view name);

class RuleRecord {
 public:
  // What a member held, as far as the reads tell kinds apart.
  enum class Kind : std::uint8_t {
    Missing,
    Null,
    Boolean,
    Integer,   // a negative whole number
    Unsigned,  // a whole number from zero up
    Float,
    String,
    Object,
    Array,
  };

  // A record of no object: every member missing.
  RuleRecord();
  // The record of a JSON value, as the answer's parser would take it.
  RuleRecord(const net::Json& value);  // NOLINT(google-explicit-constructor)

  // The reads of net::GetValue<std::string>, <int> and <double>.
  std::string Text(RuleMember member) const;
  int Integer(RuleMember member) const;
  double Number(RuleMember member) const;

  Kind KindOf(RuleMember member) const { return kinds_[Slot(member)]; }
  // The JSON library's name of the kind ("null", "number", ...), as its errors give it.
  static const char* KindName(Kind kind);

  // --- used by the answer's parser; a member given twice keeps the last ---
  void SetNull(RuleMember member) { kinds_[Slot(member)] = Kind::Null; }
  void SetNested(RuleMember member, Kind kind) { kinds_[Slot(member)] = kind; }
  void SetBoolean(RuleMember member) { kinds_[Slot(member)] = Kind::Boolean; }
  void SetInteger(RuleMember member, std::int64_t value);
  void SetUnsigned(RuleMember member, std::uint64_t value);
  void SetFloat(RuleMember member, double value);
  void SetString(RuleMember member, std::string_view value);
  // Every member missing again; the buffer of texts keeps its room, so that
  // one record can be filled rule after rule and copied out at its size.
  void Clear() {
    kinds_.fill(Kind::Missing);
    texts_.clear();
  }

  friend bool operator==(const RuleRecord& a, const RuleRecord& b);

 private:
  // A text is a piece of texts_.
  struct Piece {
    std::uint32_t offset;
    std::uint32_t length;
  };
  union Value {
    std::int64_t integer;
    std::uint64_t whole;
    double number;
    Piece text;
  };

  static std::size_t Slot(RuleMember member) { return static_cast<std::size_t>(member); }
  std::string_view TextOf(std::size_t slot) const;
  [[noreturn]] void Refuse(RuleMember member, const char* type) const;

  std::array<Kind, kRuleMemberCount> kinds_{};
  std::array<Value, kRuleMemberCount> values_{};
  std::string texts_;
};

}  // namespace rotalis

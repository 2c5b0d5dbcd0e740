#include "rules/RuleAnswer.h"

#include "net/JsonText.h"

namespace rotalis {
namespace {

using Kind = RuleRecord::Kind;

// The parser's events, turned into records without building any part of the
// tree. Depth counts the containers open around an event.
class RuleAnswerReader {
 public:
  using Json = net::Json;

  RuleAnswerReader(const std::string& member, RuleAnswer& answer)
      : member_(member), answer_(answer) {}

  bool null() {
    return Scalar(Kind::Null, [](RuleRecord& record, RuleMember slot) { record.SetNull(slot); });
  }
  bool boolean(bool) {
    return Scalar(Kind::Boolean,
                  [](RuleRecord& record, RuleMember slot) { record.SetBoolean(slot); });
  }
  bool number_integer(Json::number_integer_t value) {
    return Scalar(Kind::Integer,
                  [value](RuleRecord& record, RuleMember slot) { record.SetInteger(slot, value); });
  }
  bool number_unsigned(Json::number_unsigned_t value) {
    return Scalar(Kind::Unsigned, [value](RuleRecord& record, RuleMember slot) {
      record.SetUnsigned(slot, value);
    });
  }
  bool number_float(Json::number_float_t value, const Json::string_t&) {
    return Scalar(Kind::Float,
                  [value](RuleRecord& record, RuleMember slot) { record.SetFloat(slot, value); });
  }
  bool string(Json::string_t& value) {
    return Scalar(Kind::String,
                  [&value](RuleRecord& record, RuleMember slot) { record.SetString(slot, value); });
  }
  bool binary(Json::binary_t&) { return true; }  // JSON text holds none

  bool start_object(std::size_t) { return Open(Kind::Object); }
  bool end_object() { return Close(); }
  bool start_array(std::size_t) { return Open(Kind::Array); }
  bool end_array() { return Close(); }

  bool key(Json::string_t& name) {
    if (InRecordMember()) {
      // The service sends the members in one order: the one after the last
      // is tried before the lookup by name.
      const auto expected =
          static_cast<RuleMember>(slot_ ? (Index(*slot_) + 1) % kRuleMemberCount : 0);
      slot_ = name == RuleMemberName(expected) ? std::optional(expected) : RuleMemberNamed(name);
    } else if (depth_ == 1 && answer_.shape == RuleAnswer::Shape::Object) {
      atMember_ = name == member_;
    }
    return true;
  }

  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) {
    return false;
  }

 private:
  static std::size_t Index(RuleMember member) { return static_cast<std::size_t>(member); }

  // Directly inside the object of the rule being read.
  bool InRecordMember() const { return inRecord_ && depth_ == elements_ + 1; }
  // Where the elements of the rule array sit.
  bool AtElement() const { return elements_ != 0 && depth_ == elements_; }
  bool AtAnswerMember() const {
    return depth_ == 1 && answer_.shape == RuleAnswer::Shape::Object && atMember_;
  }

  template <typename Set>
  bool Scalar(Kind kind, Set set) {
    if (AtElement()) {
      answer_.records.emplace_back();  // a rule that is no object: every member missing
    } else if (InRecordMember()) {
      if (slot_) set(record_, *slot_);
    } else if (depth_ == 0) {
      answer_.shape = RuleAnswer::Shape::Other;
    } else if (AtAnswerMember()) {
      answer_.member = kind;
    }
    return true;
  }

  bool Open(Kind kind) {
    if (AtElement()) {
      if (kind == Kind::Object) {
        inRecord_ = true;
        record_.Clear();
        slot_.reset();
      } else {
        answer_.records.emplace_back();
      }
    } else if (InRecordMember()) {
      if (slot_) record_.SetNested(*slot_, kind);
    } else if (depth_ == 0) {
      answer_.shape = kind == Kind::Array ? RuleAnswer::Shape::Array : RuleAnswer::Shape::Object;
      if (kind == Kind::Array) elements_ = 1;
    } else if (AtAnswerMember()) {
      answer_.member = kind;
      if (kind == Kind::Array) {
        // A later member of the same name replaces an earlier one, as in a tree.
        answer_.records.clear();
        elements_ = 2;
      }
    }
    ++depth_;
    return true;
  }

  bool Close() {
    --depth_;
    if (inRecord_ && depth_ == elements_) {
      answer_.records.push_back(record_);  // a copy holds its texts at their size
      inRecord_ = false;
    } else if (elements_ != 0 && depth_ == elements_ - 1) {
      elements_ = 0;
    }
    return true;
  }

  const std::string& member_;
  RuleAnswer& answer_;
  std::size_t depth_ = 0;
  std::size_t elements_ = 0;  // the depth of the rule array's elements; 0 outside it
  bool atMember_ = false;     // the top-level object's current member is the one asked for
  bool inRecord_ = false;
  RuleRecord record_;
  std::optional<RuleMember> slot_;  // the rule member whose value comes next
};

}  // namespace

std::optional<RuleAnswer> ReadRuleAnswer(const std::string& body, const std::string& member) {
  RuleAnswer answer;
  RuleAnswerReader reader(member, answer);
  if (!net::Json::sax_parse(body, &reader)) return std::nullopt;
  return answer;
}

}  // namespace rotalis

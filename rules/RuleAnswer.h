#pragma once
// The cloud's answer read in one pass, rule by rule as the parser meets them:
// the answer is never a tree, and each rule is kept as a compact record.

#include <optional>
#include <string>
#include <vector>

#include "rules/RuleRecord.h"

namespace rotalis {

// One RuleRecord per element of the rule array.
using RuleList = std::vector<RuleRecord>;

struct RuleAnswer {
  enum class Shape { Array, Object, Other };
  Shape shape = Shape::Other;
  // For an object: the kind of its last member named as asked (Missing when
  // there is none); the records are those of that member when it is an array.
  RuleRecord::Kind member = RuleRecord::Kind::Missing;
  RuleList records;
};

// The answer's shape and its rule records: the elements of the top-level array,
// or of the array under `member` of a top-level object (of the last such
// member). Nothing when the text is not JSON.
std::optional<RuleAnswer> ReadRuleAnswer(const std::string& body, const std::string& member);

}  // namespace rotalis

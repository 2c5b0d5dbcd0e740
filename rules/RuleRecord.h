#pragma once
// One rule of the cloud's answer, kept as its compact JSON text until the
// import reads it. A hundred thousand rules held as parsed trees take about
// ten times the answer's size; as text they take about its size, and the
// import parses one small object at a time.

#include <string>

#include "net/JsonText.h"

namespace rotalis {

class RuleRecord {
 public:
  // Implicit: a record is the JSON value it was made from.
  RuleRecord(const net::Json& value)
      : text_(value.dump()) {}  // NOLINT(google-explicit-constructor)

  net::Json Parsed() const { return net::Json::parse(text_); }
  const std::string& Text() const { return text_; }

  friend bool operator==(const RuleRecord&, const RuleRecord&) = default;

 private:
  std::string text_;
};

}  // namespace rotalis

#pragma once
// One rule import per database at a time. Every workstation of an office
// starts the module at the start of the day: imports that overlap would each
// insert the keys the others are inserting. A server-side named lock lets the
// later one read the table after the earlier one finished.

#include <chrono>

#include "db/TDbConnection.h"

namespace rotalis {

// How long an import waits for the one before it: long enough for a large
// first import, short enough that a stuck session does not keep the module
// closed for the day.
inline constexpr std::chrono::seconds kRuleImportLockWait(180);

class RuleImportLock {
 public:
  // Takes the database's rule-import lock on the connection's session,
  // waiting up to `wait`. Not getting it (time-out, a failed statement) is not
  // an error: the import then goes on unlocked, as it always could.
  RuleImportLock(TDbConnection& connection, std::chrono::seconds wait);
  // Releases the lock if held; a session that is gone released it already.
  ~RuleImportLock();
  RuleImportLock(const RuleImportLock&) = delete;
  RuleImportLock& operator=(const RuleImportLock&) = delete;

  bool Held() const { return held_; }

 private:
  TDbConnection& connection_;
  bool held_ = false;
};

}  // namespace rotalis

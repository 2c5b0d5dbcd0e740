#include "rules/RuleImportLock.h"

#include <exception>
#include <string>

#include "db/TDbQuery.h"

namespace rotalis {
namespace {

// One name per database of the server; the server takes at most 64
// characters, and a longer database name sharing its first ones with another
// only makes the two wait for each other.
constexpr const char* kLockName = "LEFT(CONCAT('rotalis.nrt.', DATABASE()), 64)";

}  // namespace

RuleImportLock::RuleImportLock(TDbConnection& connection, std::chrono::seconds wait)
    : connection_(connection) {
  try {
    TDbQuery query(connection_);
    query.SQL().SetText("SELECT GET_LOCK(" + std::string(kLockName) + ", " +
                        std::to_string(wait.count()) + ") AS obtido");
    query.Open();
    held_ = !query.Eof() && !query.FieldByName("obtido").IsNull() &&
            query.FieldByName("obtido").AsInteger() == 1;
  } catch (const std::exception&) {
    // The import's own statements meet the same fault and report it.
  }
}

RuleImportLock::~RuleImportLock() {
  if (!held_ || !connection_.Connected()) return;
  try {
    TDbQuery query(connection_);
    query.SQL().SetText("SELECT RELEASE_LOCK(" + std::string(kLockName) + ") AS liberado");
    query.Open();
  } catch (const std::exception&) {
    // Ending the session releases it as well.
  }
}

}  // namespace rotalis

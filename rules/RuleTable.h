#pragma once
// Table nrt, where the company's tax rules are kept: created when missing and
// its COFINS column brought into shape before rules are written. Both work on
// one statement of the session and let every database error through.

#include <string>

namespace rotalis {

class TDbQuery;

// The table's definition as it is created.
extern const char* const kRuleTableCreateSql;

// Creates nrt in the connection's current database when the catalogue does not
// list it there; sends no CREATE when it exists.
void EnsureRuleTable(TDbQuery& query);

// The same for any table of the launcher's: `createSql` runs only when the
// catalogue does not list `name` in the current database.
void EnsureTable(TDbQuery& query, const std::string& name, const char* createSql);

// Renames csFcodigo to csfcodigo and declares it VARCHAR(5) NOT NULL; harmless
// on a table that already has that shape.
void MigrateRuleTable(TDbQuery& query);

}  // namespace rotalis

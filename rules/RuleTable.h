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

// Renames csFcodigo to csfcodigo and declares it VARCHAR(5) NOT NULL; harmless
// on a table that already has that shape.
void MigrateRuleTable(TDbQuery& query);

}  // namespace rotalis

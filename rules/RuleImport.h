#pragma once
// Writing cloud rule records into table nrt, row by row, by their key.

#include "db/TDbQuery.h"
#include "rules/CloudRules.h"

namespace rotalis {

// Every column of nrt that the import writes, the key first. The statement
// reads the whole table: rows are located client side.
extern const char* const kRuleSelect;

// Writes each record of the list, in order, through a query opened on
// kRuleSelect: the row whose nrtcodigo equals the record's
// "classificacao_ibscbs" (exact, case-sensitive) is edited, else a new row is
// appended, and the row is posted at once. A second record with the same key
// finds the row the first one wrote and overwrites it. A key that another
// session inserted after the query was opened is read again and its row
// updated. Stops at the first failure (missing member, wrong type, bad date,
// database error, a key the row set held already in other letter case): rows
// posted before it stay, the failing row is not written.
// A located row that already holds exactly what the record would write
// (stored bytes, not the collation's equality) is left alone: no statement
// is sent for it, and the table ends as if it had been written.
enum class UnchangedRows { Skip, Write };

void ImportRules(TDbQuery& rules, const RuleList& list,
                 UnchangedRows unchanged = UnchangedRows::Skip);

}  // namespace rotalis

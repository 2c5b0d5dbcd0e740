#pragma once
// Whole rows of nrt as text, for tests that compare rows. The columns come
// from the catalogue, so that a column the table gains is compared too.

#include <string>

#include "tests/support/mariadb/MariaDbServer.h"

namespace rotalis::test {

// An SQL expression of one row of nrt in `database`: every column in table
// order, joined by '|', SQL NULL as "NULL".
inline std::string RuleRowExpression(const MariaDbServer& server, const std::string& database) {
  return "CONCAT_WS('|', " +
         server
             .QueryValue(
                 "SELECT GROUP_CONCAT(CONCAT('IFNULL(', column_name, ', ''NULL'')') ORDER "
                 "BY ordinal_position) FROM information_schema.columns WHERE "
                 "table_schema = '" +
                 database + "' AND table_name = 'nrt'")
             .value() +
         ")";
}

}  // namespace rotalis::test

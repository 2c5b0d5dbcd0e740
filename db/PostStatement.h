#pragma once
// Builds the INSERT or UPDATE that posting a row sends, appended to one text
// that the query keeps from row to row. Names arrive quoted (once per result
// set); values are quoted here, by the session's escaping (which may
// connect it), straight into the text.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace rotalis {
class TDbConnection;
}

namespace rotalis::db {

struct ColumnValue {
  std::string_view name;                    // a quoted identifier
  const std::optional<std::string>* value;  // nullopt: SQL NULL
};

// INSERT INTO `db`.`table` (`a`, `b`) VALUES ('1', NULL), in two parts: the
// head, which depends on the columns alone and so serves row after row, and
// the values.
void BuildInsertHead(std::string& sql, std::string_view table,
                     const std::vector<ColumnValue>& assigned);
void AppendInsertValues(std::string& sql, const std::vector<ColumnValue>& assigned,
                        TDbConnection& connection);

// UPDATE `db`.`table` SET `a` = '1' WHERE `key` = 'old' [AND ...]
void BuildUpdate(std::string& sql, std::string_view table, const std::vector<ColumnValue>& assigned,
                 const std::vector<ColumnValue>& key, TDbConnection& connection);

}  // namespace rotalis::db

#pragma once
// Builds the INSERT or UPDATE that posting a row sends. Values arrive already
// quoted as literals (by the session's escaping); names are quoted here.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace rotalis::db {

struct ColumnValue {
  std::string name;
  std::optional<std::string> value;  // nullopt: SQL NULL
};

using QuoteFunction = std::function<std::string(std::string_view)>;

// INSERT INTO `db`.`table` (`a`, `b`) VALUES ('1', NULL)
std::string BuildInsert(const std::string& database, const std::string& table,
                        const std::vector<ColumnValue>& assigned, const QuoteFunction& quote);

// UPDATE `db`.`table` SET `a` = '1' WHERE `key` = 'old' [AND ...]
std::string BuildUpdate(const std::string& database, const std::string& table,
                        const std::vector<ColumnValue>& assigned,
                        const std::vector<ColumnValue>& key, const QuoteFunction& quote);

}  // namespace rotalis::db

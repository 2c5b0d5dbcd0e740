#include "db/PostStatement.h"

#include "db/TDbConnection.h"

namespace rotalis::db {
namespace {

void AppendValue(std::string& sql, const std::optional<std::string>& value,
                 TDbConnection& connection) {
  if (value) {
    connection.AppendQuoted(sql, *value);
  } else {
    sql += "NULL";
  }
}

}  // namespace

void BuildInsertHead(std::string& sql, std::string_view table,
                     const std::vector<ColumnValue>& assigned) {
  sql += "INSERT INTO ";
  sql += table;
  sql += " (";
  for (std::size_t i = 0; i < assigned.size(); ++i) {
    if (i > 0) sql += ", ";
    sql += assigned[i].name;
  }
  sql += ") VALUES (";
}

void AppendInsertValues(std::string& sql, const std::vector<ColumnValue>& assigned,
                        TDbConnection& connection) {
  for (std::size_t i = 0; i < assigned.size(); ++i) {
    if (i > 0) sql += ", ";
    AppendValue(sql, *assigned[i].value, connection);
  }
  sql += ')';
}

void BuildUpdate(std::string& sql, std::string_view table, const std::vector<ColumnValue>& assigned,
                 const std::vector<ColumnValue>& key, TDbConnection& connection) {
  sql += "UPDATE ";
  sql += table;
  sql += " SET ";
  for (std::size_t i = 0; i < assigned.size(); ++i) {
    if (i > 0) sql += ", ";
    sql += assigned[i].name;
    sql += " = ";
    AppendValue(sql, *assigned[i].value, connection);
  }
  sql += " WHERE ";
  for (std::size_t i = 0; i < key.size(); ++i) {
    if (i > 0) sql += " AND ";
    sql += key[i].name;
    if (*key[i].value) {
      sql += " = ";
      connection.AppendQuoted(sql, **key[i].value);
    } else {
      sql += " IS NULL";
    }
  }
}

}  // namespace rotalis::db

#include "db/PostStatement.h"

#include "db/TDbConnection.h"

namespace rotalis::db {
namespace {

std::string TableName(const std::string& database, const std::string& table) {
  const std::string name = TDbConnection::QuoteName(table);
  return database.empty() ? name : TDbConnection::QuoteName(database) + "." + name;
}

std::string Literal(const std::optional<std::string>& value, const QuoteFunction& quote) {
  return value ? quote(*value) : "NULL";
}

}  // namespace

std::string BuildInsert(const std::string& database, const std::string& table,
                        const std::vector<ColumnValue>& assigned, const QuoteFunction& quote) {
  std::string names, values;
  for (const ColumnValue& column : assigned) {
    if (!names.empty()) {
      names += ", ";
      values += ", ";
    }
    names += TDbConnection::QuoteName(column.name);
    values += Literal(column.value, quote);
  }
  return "INSERT INTO " + TableName(database, table) + " (" + names + ") VALUES (" + values + ")";
}

std::string BuildUpdate(const std::string& database, const std::string& table,
                        const std::vector<ColumnValue>& assigned,
                        const std::vector<ColumnValue>& key, const QuoteFunction& quote) {
  std::string sql = "UPDATE " + TableName(database, table) + " SET ";
  for (std::size_t i = 0; i < assigned.size(); ++i) {
    if (i > 0) sql += ", ";
    sql += TDbConnection::QuoteName(assigned[i].name) + " = " + Literal(assigned[i].value, quote);
  }
  sql += " WHERE ";
  for (std::size_t i = 0; i < key.size(); ++i) {
    if (i > 0) sql += " AND ";
    sql += TDbConnection::QuoteName(key[i].name);
    sql += key[i].value ? " = " + quote(*key[i].value) : " IS NULL";
  }
  return sql;
}

}  // namespace rotalis::db

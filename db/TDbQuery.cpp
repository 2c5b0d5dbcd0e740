// TDbQuery: opening a statement's result set, its columns and moving through its rows.

#include "db/TDbQuery.h"

#include <mysql.h>

#include <algorithm>

#include "db/DbError.h"
#include "db/TDbConnection.h"
#include "platform/AsciiCase.h"

namespace rotalis {
namespace {

FieldKind KindOf(const MYSQL_FIELD& field) {
  switch (field.type) {
    case MYSQL_TYPE_TINY:
    case MYSQL_TYPE_SHORT:
    case MYSQL_TYPE_LONG:
    case MYSQL_TYPE_LONGLONG:
    case MYSQL_TYPE_INT24:
    case MYSQL_TYPE_YEAR:
      return FieldKind::Integer;
    case MYSQL_TYPE_DECIMAL:
    case MYSQL_TYPE_NEWDECIMAL:
    case MYSQL_TYPE_FLOAT:
    case MYSQL_TYPE_DOUBLE:
      return FieldKind::Float;
    case MYSQL_TYPE_DATE:
    case MYSQL_TYPE_NEWDATE:
      return FieldKind::Date;
    case MYSQL_TYPE_VARCHAR:
    case MYSQL_TYPE_VAR_STRING:
    case MYSQL_TYPE_STRING:
    case MYSQL_TYPE_TINY_BLOB:
    case MYSQL_TYPE_MEDIUM_BLOB:
    case MYSQL_TYPE_LONG_BLOB:
    case MYSQL_TYPE_BLOB:
    case MYSQL_TYPE_ENUM:
    case MYSQL_TYPE_SET:
      return FieldKind::Text;
    default:
      return FieldKind::Other;
  }
}

db::ColumnStorage StorageOf(const MYSQL_FIELD& field) {
  using Kind = db::ColumnStorage::Kind;
  switch (KindOf(field)) {
    case FieldKind::Integer:
      // Zero-filled integers and years read back padded: not the text written.
      if ((field.flags & ZEROFILL_FLAG) != 0 || field.type == MYSQL_TYPE_YEAR) return {};
      return {Kind::Exact, 0};
    case FieldKind::Date:
      return {Kind::Exact, 0};
    case FieldKind::Float:
      // Floating point columns round in binary.
      if (field.type != MYSQL_TYPE_NEWDECIMAL) return {};
      return {Kind::Decimal, field.decimals};
    case FieldKind::Text:
      // CHAR drops trailing blanks; ENUM and SET keep a member of their list.
      if (field.type == MYSQL_TYPE_STRING || field.type == MYSQL_TYPE_ENUM ||
          field.type == MYSQL_TYPE_SET)
        return {};
      return {Kind::Text, 0};
    default:
      return {};
  }
}

std::string Text(const char* text, unsigned int length) {
  return text == nullptr ? std::string() : std::string(text, length);
}

}  // namespace

TDbQuery::TDbQuery() = default;
TDbQuery::TDbQuery(TDbConnection& connection) : connection_(&connection) {}
TDbQuery::~TDbQuery() = default;

TDbConnection& TDbQuery::RequireConnection() {
  if (connection_ == nullptr) throw Exception("The query has no connection");
  return *connection_;
}

void TDbQuery::RequireBrowsing(const char* operation) const {
  if (state_ == State::Inactive) {
    throw Exception(std::string("Cannot ") + operation + ": the query is not open");
  }
  if (state_ != State::Browse) {
    throw Exception(std::string("Cannot ") + operation + ": a row is being edited");
  }
}

void TDbQuery::Open() {
  TDbConnection& connection = RequireConnection();
  Close();
  db::MySqlResult result = connection.Execute(sql_.Text());
  if (!result) throw EDatabaseError("The statement returned no result set");
  ReadColumns(result);
  rows_.Reset(std::move(result), columns_.size());
  current_ = 0;
  state_ = State::Browse;
}

void TDbQuery::ReadColumns(db::MySqlResult& result) {
  const unsigned int count = mysql_num_fields(result.get());
  const MYSQL_FIELD* fields = mysql_fetch_fields(result.get());
  for (unsigned int i = 0; i < count; ++i) {
    const MYSQL_FIELD& field = fields[i];
    ColumnInfo column;
    column.name = Text(field.name, field.name_length);
    column.originalName = Text(field.org_name, field.org_name_length);
    column.table = Text(field.org_table, field.org_table_length);
    column.database = Text(field.db, field.db_length);
    column.quotedName = TDbConnection::QuoteName(column.originalName);
    column.quotedTable = TDbConnection::QuoteName(column.table);
    if (!column.database.empty())
      column.quotedTable = TDbConnection::QuoteName(column.database) + "." + column.quotedTable;
    column.primaryKey = (field.flags & PRI_KEY_FLAG) != 0;
    column.autoIncrement = (field.flags & AUTO_INCREMENT_FLAG) != 0;
    column.storage = StorageOf(field);
    fields_.push_back(std::make_unique<TField>(*this, i, column.name, KindOf(field)));
    // The first of two equally named columns wins, as the server lists them.
    fieldIndex_.emplace(platform::AsciiLowered(column.name), i);
    columns_.push_back(std::move(column));
  }
  oneTable_ = !columns_.empty() && std::ranges::all_of(columns_, [this](const ColumnInfo& column) {
    return !column.table.empty() && column.table == columns_.front().table &&
           column.database == columns_.front().database;
  });
}

void TDbQuery::Close() {
  // Rows posted for later and never sent go with their row set.
  pendingCount_ = 0;
  rows_.Clear();
  columns_.clear();
  fields_.clear();
  fieldIndex_.clear();
  buffer_.clear();
  assigned_.clear();
  // The next result set may name other columns or another table.
  post_.insertHeads.clear();
  current_.reset();
  state_ = State::Inactive;
}

void TDbQuery::ExecSQL() {
  TDbConnection& connection = RequireConnection();
  Close();
  connection.Execute(sql_.Text());
  rowsAffected_ = connection.AffectedRows();
}

TField* TDbQuery::FindField(const std::string& name) {
  const auto found = fieldIndex_.find(platform::AsciiLowered(name));
  return found == fieldIndex_.end() ? nullptr : fields_[found->second].get();
}

TField& TDbQuery::FieldByName(const std::string& name) {
  TField* field = FindField(name);
  if (field == nullptr) throw Exception("Field '" + name + "' not found");
  return *field;
}

void TDbQuery::First() {
  RequireBrowsing("move");
  current_ = 0;
}

void TDbQuery::Next() {
  RequireBrowsing("move");
  if (*current_ < rows_.RowCount()) ++*current_;
}

bool TDbQuery::Locate(const std::string& keyField, const std::string& keyValue) {
  RequireBrowsing("locate");
  const auto column = fieldIndex_.find(platform::AsciiLowered(keyField));
  if (column == fieldIndex_.end()) throw Exception("Field '" + keyField + "' not found");
  const auto row = rows_.Find(column->second, keyValue);
  if (!row) return false;
  current_ = *row;
  return true;
}

std::optional<std::string_view> TDbQuery::CellValue(std::size_t column) const {
  if (state_ == State::Edit || state_ == State::Insert) {
    const auto& value = buffer_.at(column);
    if (!value) return std::nullopt;
    return std::string_view(*value);
  }
  if (Eof()) return std::nullopt;
  return rows_.Value(*current_, column);
}

}  // namespace rotalis

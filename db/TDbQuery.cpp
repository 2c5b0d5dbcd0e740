#include "db/TDbQuery.h"

#include <mysql.h>

#include <algorithm>

#include "db/DbError.h"
#include "db/PostStatement.h"
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

void TDbQuery::Edit() {
  RequireBrowsing("edit");
  if (Eof()) throw Exception("Cannot edit: there is no current row");
  buffer_ = rows_.Row(*current_);
  assigned_.assign(columns_.size(), false);
  state_ = State::Edit;
}

void TDbQuery::Append() {
  RequireBrowsing("append");
  buffer_.assign(columns_.size(), std::nullopt);
  assigned_.assign(columns_.size(), false);
  state_ = State::Insert;
}

void TDbQuery::Cancel() {
  if (state_ != State::Edit && state_ != State::Insert) return;
  buffer_.clear();
  assigned_.clear();
  state_ = State::Browse;
}

bool TDbQuery::EditChangesNothing() const {
  if (state_ != State::Edit) return false;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!assigned_[i]) continue;
    const auto stored = rows_.Value(*current_, i);
    const auto& written = buffer_[i];
    if (!stored || !written) {
      if (stored.has_value() != written.has_value()) return false;
      continue;
    }
    const auto kept = db::AsStored(columns_[i].storage, *written);
    if (!kept || *kept != *stored) return false;
  }
  return true;
}

void TDbQuery::AdoptRow(db::RowValues values) {
  RequireBrowsing("adopt a row");
  // Unsent rows are taken back newest first, should their statements fail.
  if (pendingCount_ != 0) throw Exception("Cannot adopt a row while posted rows wait to be sent");
  if (values.size() != columns_.size())
    throw Exception("Cannot adopt a row of " + std::to_string(values.size()) +
                    " columns into a result set of " + std::to_string(columns_.size()));
  current_ = rows_.AppendRow(values);
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

void TDbQuery::AssignCell(std::size_t column, std::optional<std::string>&& value) {
  if (state_ != State::Edit && state_ != State::Insert) {
    throw Exception("Cannot modify field '" + columns_.at(column).name +
                    "': the query is not editing or appending a row");
  }
  buffer_.at(column) = std::move(value);
  assigned_.at(column) = true;
}

const TDbQuery::ColumnInfo* TDbQuery::PostTable() const {
  const ColumnInfo* first = nullptr;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!assigned_[i] && !columns_[i].primaryKey) continue;
    // The usual case, told once per result set rather than once per row.
    if (oneTable_) return &columns_[i];
    const ColumnInfo& column = columns_[i];
    if (column.table.empty()) {
      throw Exception("Cannot post: column '" + column.name + "' does not belong to a table");
    }
    if (first == nullptr) {
      first = &column;
    } else if (column.table != first->table || column.database != first->database) {
      throw Exception("Cannot post: the columns come from more than one table");
    }
  }
  return first;
}

const std::string& TDbQuery::InsertHead(const ColumnInfo& table) {
  for (const auto& [columns, head] : post_.insertHeads)
    if (columns == assigned_) return head;
  // Rows differ in few ways (an end date given or not): a handful of heads serve them all.
  constexpr std::size_t kHeads = 4;
  if (post_.insertHeads.size() == kHeads) post_.insertHeads.erase(post_.insertHeads.begin());
  auto& [columns, head] = post_.insertHeads.emplace_back(assigned_, std::string());
  db::BuildInsertHead(head, table.quotedTable, post_.assigned);
  return head;
}

bool TDbQuery::BuildPost(std::string& sql) {
  if (state_ != State::Edit && state_ != State::Insert) {
    throw Exception("Cannot post: the query is not editing or appending a row");
  }
  TDbConnection& connection = RequireConnection();
  // Kept from row to row: a large import builds its statements without
  // allocating anew each time.
  post_.assigned.clear();
  post_.key.clear();
  post_.keyValues.clear();
  post_.keyValues.reserve(columns_.size());  // post_.key points into it
  sql.clear();
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (assigned_[i]) post_.assigned.push_back({columns_[i].quotedName, &buffer_[i]});
    if (columns_[i].primaryKey && state_ == State::Edit) {
      // The row is identified by the key it had when it was read.
      const auto original = rows_.Value(*current_, i);
      post_.keyValues.push_back(original ? std::optional<std::string>(*original) : std::nullopt);
      post_.key.push_back({columns_[i].quotedName, &post_.keyValues.back()});
    }
  }
  if (state_ == State::Edit && post_.assigned.empty()) {
    Cancel();
    return false;
  }
  const ColumnInfo* table = PostTable();
  if (table == nullptr) throw Exception("Cannot post: no column of the row belongs to a table");
  if (state_ == State::Edit && post_.key.empty()) {
    throw Exception("Cannot post: the result set holds no primary-key column of table '" +
                    table->table + "'");
  }
  if (state_ == State::Insert) {
    sql = InsertHead(*table);
    db::AppendInsertValues(sql, post_.assigned, connection);
  } else {
    db::BuildUpdate(sql, table->quotedTable, post_.assigned, post_.key, connection);
  }
  return true;
}

void TDbQuery::SendPost(const std::string& sql, TDbConnection& connection) {
  connection.Execute(sql);
  rowsAffected_ = connection.AffectedRows();
  if (rowsAffected_ != 1) {
    throw EDatabaseError("Update failed. Found " + std::to_string(rowsAffected_) + " records");
  }
}

void TDbQuery::Post() {
  const bool built = BuildPost(post_.sql);
  // Rows posted for later reach the table first.
  SendPosted();
  if (!built) return;
  TDbConnection& connection = RequireConnection();
  SendPost(post_.sql, connection);
  if (state_ == State::Insert) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i].autoIncrement && !assigned_[i] && connection.LastInsertId() != 0) {
        buffer_[i] = std::to_string(connection.LastInsertId());
      }
    }
    current_ = rows_.AppendRow(buffer_);
  } else {
    rows_.ReplaceRow(*current_, buffer_);
  }
  buffer_.clear();
  assigned_.clear();
  state_ = State::Browse;
}

void TDbQuery::PostLater() {
  if (state_ == State::Insert) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i].autoIncrement && !assigned_[i])
        throw Exception("Cannot post for later: column '" + columns_[i].name +
                        "' takes its value from the server");
    }
  }
  if (pendingCount_ == pending_.size()) pending_.emplace_back();
  PendingPost& pending = pending_[pendingCount_];
  if (!BuildPost(pending.sql)) return;
  pending.state = state_;
  pending.current = current_;
  pending.assigned = assigned_;
  if (state_ == State::Insert) {
    current_ = rows_.AppendRow(buffer_);
  } else {
    pending.before = rows_.ReplaceRow(*current_, buffer_);
  }
  pending.row = *current_;
  ++pendingCount_;
  buffer_.clear();
  assigned_.clear();
  state_ = State::Browse;
}

void TDbQuery::SendPosted() {
  postsSent_ = 0;
  if (pendingCount_ == 0) return;
  try {
    TDbConnection& connection = RequireConnection();
    for (; postsSent_ < pendingCount_; ++postsSent_) SendPost(pending_[postsSent_].sql, connection);
  } catch (...) {
    TakeBackUnsent();
    throw;
  }
  pendingCount_ = 0;
}

void TDbQuery::TakeBackUnsent() {
  const std::size_t failed = postsSent_;
  for (std::size_t i = pendingCount_; i-- > failed;) {
    PendingPost& pending = pending_[i];
    if (i == failed) {
      // As a failed Post leaves it: still editing the row that failed.
      buffer_ = rows_.Row(pending.row);
      assigned_ = pending.assigned;
      state_ = pending.state;
      current_ = pending.current;
    }
    if (pending.state == State::Insert) {
      rows_.RemoveLastRow();
    } else {
      rows_.UndoReplace(pending.row, pending.before);
    }
  }
  pendingCount_ = 0;
}

}  // namespace rotalis

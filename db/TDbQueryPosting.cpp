// TDbQuery: turning an edited or appended row into its statement, and sending
// it at once or with the rows posted for later.

#include "db/TDbQuery.h"

#include "db/DbError.h"
#include "db/PostStatement.h"
#include "db/TDbConnection.h"

namespace rotalis {

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

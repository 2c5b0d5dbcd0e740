#pragma once
// One statement on a session, with its client-side result set and editing state.
//
// States: inactive -> Open -> browsing; Edit / Append -> editing / inserting;
// Post -> browsing; Close -> inactive. Open and ExecSQL connect the session
// implicitly when it is not connected. Post turns the row into one INSERT or
// UPDATE on the table the result set's columns come from, identified by its
// primary-key columns, and checks that exactly one row matched ("Update
// failed. Found %d records"). Statement failures raise EDatabaseError with the
// server's text and leave the query as it was (a failed Post keeps editing).

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "db/PostStatement.h"
#include "db/RowSet.h"
#include "db/StoredValue.h"
#include "db/TField.h"
#include "db/TStringList.h"

namespace rotalis {

class TDbConnection;

class TDbQuery {
 public:
  enum class State { Inactive, Browse, Edit, Insert };

  TDbQuery();
  explicit TDbQuery(TDbConnection& connection);
  ~TDbQuery();
  TDbQuery(const TDbQuery&) = delete;
  TDbQuery& operator=(const TDbQuery&) = delete;

  void SetConnection(TDbConnection* connection) { connection_ = connection; }
  TDbConnection* Connection() const { return connection_; }

  TStringList& SQL() { return sql_; }
  const TStringList& SQL() const { return sql_; }

  // Runs SQL().Text() (which must return rows) and positions on the first row.
  void Open();
  void Close();
  // Runs SQL().Text() as a statement without rows; the query stays inactive.
  void ExecSQL();
  bool Active() const { return state_ != State::Inactive; }
  State GetState() const { return state_; }
  // Rows matched by the last ExecSQL or posted statement.
  std::uint64_t RowsAffected() const { return rowsAffected_; }

  // Column names match without regard to case; raises "Field '<name>' not found".
  TField& FieldByName(const std::string& name);
  TField* FindField(const std::string& name);
  std::size_t FieldCount() const { return fields_.size(); }

  std::size_t RecordCount() const { return rows_.RowCount(); }
  bool Eof() const { return !current_ || *current_ >= rows_.RowCount(); }
  void First();
  void Next();

  // Moves to the first row whose keyField equals keyValue exactly (whole value,
  // case-sensitive); leaves the position unchanged and returns false otherwise.
  bool Locate(const std::string& keyField, const std::string& keyValue);
  void Edit();
  // Starts a new, empty row at the end of the result set.
  void Append();
  // Sends the rows posted for later first.
  void Post();
  // Posting a run of rows, for a large import: PostLater builds the row's
  // statement and writes the row into the result set as a successful Post
  // would, but sends nothing; SendPosted sends what was built, oldest first.
  // Building the next rows then never runs between two of the server's
  // statements, where it costs more of the server's time than it takes. A
  // row whose auto-increment value the server would give is refused; Close
  // and Open drop rows that still wait.
  void PostLater();
  // When a statement fails, the rows of it and of those after it leave the
  // result set again, the query is left editing the failed row as a failed
  // Post leaves it, and the error is raised. PostsSent tells how many went
  // through before it.
  void SendPosted();
  std::size_t PostsSent() const { return postsSent_; }
  // Drops the pending changes and returns to browsing.
  void Cancel();
  // True while editing when every assigned column would read back exactly
  // the bytes it holds now, once written: posting would change nothing. False
  // whenever that is not certain.
  bool EditChangesNothing() const;
  // Adds a row that another query of the same columns has just read from the
  // table, as if the result set had held it from the start, and makes it the
  // current row: a row another session wrote after Open can then be edited.
  void AdoptRow(db::RowValues values);

  // --- used by TField ---
  std::optional<std::string_view> CellValue(std::size_t column) const;
  void AssignCell(std::size_t column, std::optional<std::string>&& value);

 private:
  struct ColumnInfo {
    std::string name;
    std::string originalName;
    std::string table;
    std::string database;
    std::string quotedName;   // as posted statements name it
    std::string quotedTable;  // `database`.`table`
    bool primaryKey = false;
    bool autoIncrement = false;
    db::ColumnStorage storage;
  };

  TDbConnection& RequireConnection();
  void RequireBrowsing(const char* operation) const;
  void ReadColumns(db::MySqlResult& result);
  // The first column the posted row names, which names its table; raises when
  // the row's columns belong to no table or to several.
  const ColumnInfo* PostTable() const;
  // "INSERT INTO `db`.`table` (`a`, ...) VALUES (" for the assigned columns.
  const std::string& InsertHead(const ColumnInfo& table);
  // The statement posting the row sends; false when an edit assigned nothing
  // and was cancelled.
  bool BuildPost(std::string& sql);
  // Sends a posted row's statement; raises unless it wrote exactly one row.
  void SendPost(const std::string& sql, TDbConnection& connection);
  void TakeBackUnsent();

  TDbConnection* connection_ = nullptr;
  TStringList sql_;
  State state_ = State::Inactive;
  std::vector<ColumnInfo> columns_;
  std::vector<std::unique_ptr<TField>> fields_;
  std::unordered_map<std::string, std::size_t> fieldIndex_;
  db::RowSet rows_;
  std::optional<std::size_t> current_;
  db::RowValues buffer_;
  std::vector<bool> assigned_;
  bool oneTable_ = false;  // every column belongs to one and the same table
  struct {
    std::vector<db::ColumnValue> assigned, key;
    std::vector<std::optional<std::string>> keyValues;
    std::string sql;
    // INSERT heads, each with the assigned columns it names.
    std::vector<std::pair<std::vector<bool>, std::string>> insertHeads;
  } post_;
  std::uint64_t rowsAffected_ = 0;
  // Rows posted for later: each statement, with what takes the row back.
  struct PendingPost {
    std::string sql;
    State state = State::Insert;
    std::optional<std::size_t> current;  // before the row was posted
    std::vector<bool> assigned;
    std::size_t row = 0;
    db::RowSet::Before before;  // an edited row's cells
  };
  std::vector<PendingPost> pending_;  // the first pendingCount_ are waiting
  std::size_t pendingCount_ = 0;
  std::size_t postsSent_ = 0;
};

}  // namespace rotalis

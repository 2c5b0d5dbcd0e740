#pragma once
// The rows of a result set, held client side: the rows the server sent stay in
// the client library's buffer, rows written later are kept beside them. Lookups
// by value go through a per-column hash index built on first use, so locating a
// key stays fast on large result sets.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "db/MySqlHandles.h"

namespace rotalis::db {

using RowValues = std::vector<std::optional<std::string>>;

class RowSet {
 public:
  // Takes over a stored result and reads every row of it.
  void Reset(MySqlResult result, std::size_t columnCount);
  void Clear();

  std::size_t RowCount() const { return rows_.size(); }
  // The value of one cell; nullopt for SQL NULL.
  std::optional<std::string_view> Value(std::size_t row, std::size_t column) const;
  RowValues Row(std::size_t row) const;

  // What a row held before ReplaceRow changed it, for UndoReplace.
  class Before;

  // Both copy the values: the caller's buffer keeps its room for the next row.
  Before ReplaceRow(std::size_t row, const RowValues& values);
  std::size_t AppendRow(const RowValues& values);

  // Take back the latest ReplaceRow or AppendRow, newest first: a change may
  // only be undone once every later one has been.
  void UndoReplace(std::size_t row, const Before& before);
  void RemoveLastRow();

  // The first row whose column holds exactly this value (byte comparison).
  std::optional<std::size_t> Find(std::size_t column, std::string_view value);

 private:
  struct RowRef {
    const char* const* cells;
    const std::uint32_t* lengths;
  };
  // A row written after the result set was read lives in one block of its
  // own: the cell pointers, their lengths, then the cells' bytes side by side.
  using OwnedRow = std::unique_ptr<char[]>;
  using Index = std::unordered_map<std::string, std::size_t>;

  RowRef Own(const RowValues& values);
  // Frees the block of a row that no longer is in the set, when it is the
  // newest one; an older one stays until Clear.
  void Disown(const RowRef& row);
  static std::optional<std::string_view> CellOf(const RowRef& row, std::size_t column);
  // Keeps the indexes right after `row` changed from `before` (null: a new row).
  void IndexChanged(std::size_t row, const RowRef* before);

  MySqlResult result_;
  std::size_t columnCount_ = 0;
  std::vector<std::uint32_t> resultLengths_;
  std::deque<OwnedRow> owned_;
  std::vector<RowRef> rows_;
  std::unordered_map<std::size_t, Index> indexes_;
};

class RowSet::Before {
  friend class RowSet;
  RowRef row_{};
};

}  // namespace rotalis::db

#include "db/RowSet.h"

#include <mysql.h>

#include <algorithm>
#include <stdexcept>

namespace rotalis::db {

void RowSet::Reset(MySqlResult result, std::size_t columnCount) {
  Clear();
  result_ = std::move(result);
  columnCount_ = columnCount;
  if (!result_) return;
  const auto rowCount = static_cast<std::size_t>(mysql_num_rows(result_.get()));
  // Reserved once: rows_ points into this buffer.
  resultLengths_.resize(rowCount * columnCount_);
  rows_.reserve(rowCount);
  while (MYSQL_ROW row = mysql_fetch_row(result_.get())) {
    const unsigned long* lengths = mysql_fetch_lengths(result_.get());
    std::uint32_t* copied = resultLengths_.data() + rows_.size() * columnCount_;
    for (std::size_t c = 0; c < columnCount_; ++c)
      copied[c] = static_cast<std::uint32_t>(lengths[c]);
    rows_.push_back({row, copied});
  }
}

void RowSet::Clear() {
  rows_.clear();
  indexes_.clear();
  owned_.clear();
  resultLengths_.clear();
  result_.reset();
  columnCount_ = 0;
}

std::optional<std::string_view> RowSet::CellOf(const RowRef& row, std::size_t column) {
  if (row.cells[column] == nullptr) return std::nullopt;
  return std::string_view(row.cells[column], row.lengths[column]);
}

std::optional<std::string_view> RowSet::Value(std::size_t row, std::size_t column) const {
  const RowRef& ref = rows_.at(row);
  if (column >= columnCount_) throw std::out_of_range("column index");
  return CellOf(ref, column);
}

RowValues RowSet::Row(std::size_t row) const {
  RowValues values(columnCount_);
  for (std::size_t c = 0; c < columnCount_; ++c) {
    if (const auto value = Value(row, c)) values[c] = std::string(*value);
  }
  return values;
}

RowSet::RowRef RowSet::Own(const RowValues& values) {
  // Cells the values do not reach are NULL.
  const std::size_t given = std::min(values.size(), columnCount_);
  std::size_t total = 0;
  for (std::size_t c = 0; c < given; ++c)
    if (values[c]) total += values[c]->size();
  const std::size_t pointers = columnCount_ * sizeof(const char*);
  const std::size_t lengths = columnCount_ * sizeof(std::uint32_t);
  OwnedRow& block = owned_.emplace_back(new char[pointers + lengths + total]);
  auto* cells = reinterpret_cast<const char**>(block.get());
  auto* sizes = reinterpret_cast<std::uint32_t*>(block.get() + pointers);
  char* bytes = block.get() + pointers + lengths;
  for (std::size_t c = 0; c < columnCount_; ++c) {
    cells[c] = nullptr;
    sizes[c] = 0;
    if (c >= given || !values[c]) continue;
    cells[c] = bytes;
    sizes[c] = static_cast<std::uint32_t>(values[c]->size());
    bytes = std::copy(values[c]->begin(), values[c]->end(), bytes);
  }
  return {cells, sizes};
}

RowSet::Before RowSet::ReplaceRow(std::size_t row, const RowValues& values) {
  // The cells the row had stay where they are until Clear.
  const RowRef before = rows_.at(row);
  rows_.at(row) = Own(values);
  IndexChanged(row, &before);
  Before kept;
  kept.row_ = before;
  return kept;
}

std::size_t RowSet::AppendRow(const RowValues& values) {
  rows_.push_back(Own(values));
  const std::size_t row = rows_.size() - 1;
  IndexChanged(row, nullptr);
  return row;
}

void RowSet::UndoReplace(std::size_t row, const Before& before) {
  const RowRef replaced = rows_.at(row);
  rows_[row] = before.row_;
  IndexChanged(row, &replaced);
  Disown(replaced);
}

void RowSet::RemoveLastRow() {
  if (rows_.empty()) throw std::out_of_range("no row to remove");
  const std::size_t row = rows_.size() - 1;
  const RowRef last = rows_.back();
  // An index names the first row of each value: only entries naming this row go.
  for (auto& [column, index] : indexes_) {
    const auto cell = CellOf(last, column);
    if (!cell) continue;
    const auto found = index.find(std::string(*cell));
    if (found != index.end() && found->second == row) index.erase(found);
  }
  rows_.pop_back();
  Disown(last);
}

void RowSet::Disown(const RowRef& row) {
  if (!owned_.empty() && reinterpret_cast<const char* const*>(owned_.back().get()) == row.cells)
    owned_.pop_back();
}

void RowSet::IndexChanged(std::size_t row, const RowRef* before) {
  for (auto it = indexes_.begin(); it != indexes_.end();) {
    const std::size_t column = it->first;
    Index& index = it->second;
    const auto old = before == nullptr ? std::nullopt : CellOf(*before, column);
    const auto now = Value(row, column);
    if (old == now) {
      ++it;
      continue;
    }
    if (old) {
      const auto found = index.find(std::string(*old));
      if (found != index.end() && found->second == row) {
        // Another row may hold the old value too; finding it again means a
        // scan, which the next lookup does when it rebuilds the index.
        it = indexes_.erase(it);
        continue;
      }
    }
    if (now) {
      const auto [entry, inserted] = index.emplace(std::string(*now), row);
      if (!inserted && entry->second > row) entry->second = row;
    }
    ++it;
  }
}

std::optional<std::size_t> RowSet::Find(std::size_t column, std::string_view value) {
  if (column >= columnCount_) throw std::out_of_range("column index");
  auto [it, created] = indexes_.try_emplace(column);
  Index& index = it->second;
  if (created) {
    index.reserve(rows_.size());
    for (std::size_t row = 0; row < rows_.size(); ++row) {
      if (const auto cell = Value(row, column)) index.emplace(std::string(*cell), row);
    }
  }
  const auto found = index.find(std::string(value));
  if (found == index.end()) return std::nullopt;
  return found->second;
}

}  // namespace rotalis::db

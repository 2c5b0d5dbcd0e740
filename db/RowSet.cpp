#include "db/RowSet.h"

#include <mysql.h>

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

std::optional<std::string_view> RowSet::Value(std::size_t row, std::size_t column) const {
  const RowRef& ref = rows_.at(row);
  if (column >= columnCount_) throw std::out_of_range("column index");
  if (ref.cells[column] == nullptr) return std::nullopt;
  return std::string_view(ref.cells[column], ref.lengths[column]);
}

RowValues RowSet::Row(std::size_t row) const {
  RowValues values(columnCount_);
  for (std::size_t c = 0; c < columnCount_; ++c) {
    if (const auto value = Value(row, c)) values[c] = std::string(*value);
  }
  return values;
}

RowSet::RowRef RowSet::Own(RowValues values) {
  OwnedRow& owned = owned_.emplace_back();
  owned.values = std::move(values);
  owned.values.resize(columnCount_);
  for (const auto& value : owned.values) {
    owned.cells.push_back(value ? value->data() : nullptr);
    owned.lengths.push_back(value ? static_cast<std::uint32_t>(value->size()) : 0);
  }
  return {owned.cells.data(), owned.lengths.data()};
}

void RowSet::ReplaceRow(std::size_t row, RowValues values) {
  const RowValues before = Row(row);
  rows_.at(row) = Own(std::move(values));
  IndexChanged(row, before, Row(row));
}

std::size_t RowSet::AppendRow(RowValues values) {
  rows_.push_back(Own(std::move(values)));
  const std::size_t row = rows_.size() - 1;
  IndexChanged(row, RowValues(columnCount_), Row(row));
  return row;
}

void RowSet::IndexChanged(std::size_t row, const RowValues& before, const RowValues& after) {
  for (auto it = indexes_.begin(); it != indexes_.end();) {
    const std::size_t column = it->first;
    Index& index = it->second;
    if (before[column] == after[column]) {
      ++it;
      continue;
    }
    if (before[column]) {
      const auto old = index.find(*before[column]);
      if (old != index.end() && old->second == row) {
        // Another row may hold the old value too; finding it again means a
        // scan, which the next lookup does when it rebuilds the index.
        it = indexes_.erase(it);
        continue;
      }
    }
    if (after[column]) {
      const auto [entry, inserted] = index.emplace(*after[column], row);
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

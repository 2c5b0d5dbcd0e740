// TDbQuery: the row being edited or appended, before it is posted.

#include "db/TDbQuery.h"

#include "platform/Exception.h"

namespace rotalis {

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
void TDbQuery::AssignCell(std::size_t column, std::optional<std::string>&& value) {
  if (state_ != State::Edit && state_ != State::Insert) {
    throw Exception("Cannot modify field '" + columns_.at(column).name +
                    "': the query is not editing or appending a row");
  }
  buffer_.at(column) = std::move(value);
  assigned_.at(column) = true;
}

}  // namespace rotalis

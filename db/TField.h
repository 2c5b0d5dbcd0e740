#pragma once
// One column of a query's result set, read and written in the current row.
//
// Reads of SQL NULL give "", 0 and 0.0. Writes are only allowed while the
// query edits or appends a row. Text written into a date column is parsed in
// the short date format (day/month/year); dates read as text come back in it.
// Numbers travel as locale-independent text. A field belongs to the result set
// of one Open: Close or the next Open ends it.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace rotalis {

class TDbQuery;

enum class FieldKind { Text, Integer, Float, Date, Other };

class TField {
 public:
  TField(TDbQuery& query, std::size_t index, std::string name, FieldKind kind);

  const std::string& FieldName() const { return name_; }
  FieldKind Kind() const { return kind_; }
  bool IsNull() const;

  std::string AsString() const;
  void SetAsString(const std::string& value);
  // Raises "'<text>' is not a valid integer value" when the value is not one.
  std::int32_t AsInteger() const;
  void SetAsInteger(std::int32_t value);
  // Raises "'<text>' is not a valid floating point value" when not a number.
  double AsFloat() const;
  void SetAsFloat(double value);
  void Clear();  // SQL NULL

  // The cell each write above would store (nullopt: SQL NULL), worked out
  // without storing it, with the same failures: the cells of several rows can
  // be made ready at once and assigned later. Assign stores such a cell.
  std::optional<std::string> CellForString(std::string value) const;
  std::string CellForInteger(std::int32_t value) const;
  std::string CellForFloat(double value) const;
  void Assign(std::optional<std::string>&& cell);

 private:
  TDbQuery& query_;
  std::size_t index_;
  std::string name_;
  FieldKind kind_;
};

}  // namespace rotalis

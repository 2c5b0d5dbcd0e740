#include "db/TField.h"

#include <cmath>
#include <limits>

#include "db/DbConvert.h"
#include "db/TDbQuery.h"
#include "platform/Exception.h"

namespace rotalis {

TField::TField(TDbQuery& query, std::size_t index, std::string name, FieldKind kind)
    : query_(query), index_(index), name_(std::move(name)), kind_(kind) {}

bool TField::IsNull() const { return !query_.CellValue(index_).has_value(); }

std::string TField::AsString() const {
  const auto value = query_.CellValue(index_);
  if (!value) return {};
  return kind_ == FieldKind::Date ? db::SqlDateToShort(*value) : std::string(*value);
}

void TField::SetAsString(const std::string& value) { Assign(CellForString(value)); }

std::optional<std::string> TField::CellForString(std::string value) const {
  if (kind_ == FieldKind::Date) {
    if (value.empty()) return std::nullopt;
    return db::ShortDateToSql(value);
  }
  return std::optional<std::string>(std::move(value));
}

void TField::Assign(std::optional<std::string>&& cell) {
  query_.AssignCell(index_, std::move(cell));
}

std::int32_t TField::AsInteger() const {
  const auto value = query_.CellValue(index_);
  if (!value) return 0;
  if (kind_ == FieldKind::Float) {
    double number = 0;
    if (db::ParseFloat(*value, number) && std::fabs(number) < 2147483648.0) {
      return static_cast<std::int32_t>(std::lround(number));
    }
  }
  return StrToInt(std::string(*value));
}

void TField::SetAsInteger(std::int32_t value) { Assign(CellForInteger(value)); }

std::string TField::CellForInteger(std::int32_t value) const { return std::to_string(value); }

double TField::AsFloat() const {
  const auto value = query_.CellValue(index_);
  if (!value) return 0;
  double number = 0;
  if (!db::ParseFloat(*value, number)) {
    throw Exception("'" + std::string(*value) + "' is not a valid floating point value");
  }
  return number;
}

void TField::SetAsFloat(double value) { Assign(CellForFloat(value)); }

std::string TField::CellForFloat(double value) const {
  if (kind_ == FieldKind::Integer) {
    // Integer columns take the rounded value rather than a fraction that strict
    // mode would reject.
    if (!std::isfinite(value) || std::fabs(value) >= 9.2e18) {
      throw Exception("Invalid floating point value");
    }
    return std::to_string(std::llround(value));
  }
  return db::FormatFloat(value);
}

void TField::Clear() { query_.AssignCell(index_, std::nullopt); }

}  // namespace rotalis

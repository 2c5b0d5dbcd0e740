#include "db/StoredValue.h"

#include <algorithm>

#include "platform/TextEncoding.h"

namespace rotalis::db {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Adds one to a text of decimal digits; "999" becomes "1000".
void Increment(std::string& digits) {
  for (auto at = digits.rbegin(); at != digits.rend(); ++at) {
    if (*at != '9') {
      ++*at;
      return;
    }
    *at = '0';
  }
  digits.insert(digits.begin(), '1');
}

}  // namespace

std::optional<std::string> DecimalAsStored(std::string_view literal, unsigned scale) {
  const bool negative = !literal.empty() && literal.front() == '-';
  if (negative) literal.remove_prefix(1);
  const auto point = literal.find('.');
  std::string_view whole = literal.substr(0, point);
  std::string_view fraction =
      point == std::string_view::npos ? std::string_view() : literal.substr(point + 1);
  if (whole.empty() && fraction.empty()) return std::nullopt;
  for (const std::string_view part : {whole, fraction})
    for (char c : part)
      if (!IsDigit(c)) return std::nullopt;

  // Whole and kept places as one number, then the first dropped digit decides.
  std::string digits(whole);
  std::string kept(fraction.substr(0, std::min<std::size_t>(fraction.size(), scale)));
  kept.resize(scale, '0');
  digits += kept;
  if (fraction.size() > scale && fraction[scale] >= '5') Increment(digits);

  if (digits.size() < scale + 1) digits.insert(0, scale + 1 - digits.size(), '0');
  std::string integer = digits.substr(0, digits.size() - scale);
  integer.erase(0, std::min(integer.find_first_not_of('0'), integer.size() - 1));
  std::string text = integer;
  if (scale > 0) text += "." + digits.substr(digits.size() - scale);
  if (negative) {
    if (text.find_first_not_of("0.") == std::string::npos) return std::nullopt;
    text.insert(0, "-");
  }
  return text;
}

std::optional<std::string> AsStored(const ColumnStorage& column, std::string_view written) {
  switch (column.kind) {
    case ColumnStorage::Kind::Exact:
      return std::string(written);
    case ColumnStorage::Kind::Decimal:
      return DecimalAsStored(written, column.scale);
    case ColumnStorage::Kind::Text:
      // What the session sends for the text (see TDbConnection::QuoteValue).
      return FitToWindows1252(written);
    case ColumnStorage::Kind::Unknown:
      break;
  }
  return std::nullopt;
}

}  // namespace rotalis::db

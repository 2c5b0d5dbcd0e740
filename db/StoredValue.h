#pragma once
// What a column holds after a statement writes a value into it, told on the
// client side, so that a row which would not change need not be written. Only
// certainty counts: where the outcome depends on anything not known here
// (another type, an exponent, a sign on zero), there is no answer and the row
// is written as always.

#include <optional>
#include <string>
#include <string_view>

namespace rotalis::db {

struct ColumnStorage {
  enum class Kind {
    Unknown,
    Exact,    // integers and dates: the canonical text the program writes reads back as is
    Decimal,  // DECIMAL(p, scale): rounded half away from zero to its scale
    Text,     // VARCHAR and BLOB kinds: kept byte for byte, trailing blanks included
  };
  Kind kind = Kind::Unknown;
  unsigned scale = 0;
};

// The text the column returns after `written` (the text a statement sends,
// before quoting) is stored in it; nullopt when that cannot be told for certain.
std::optional<std::string> AsStored(const ColumnStorage& column, std::string_view written);

// A plain decimal literal ("-12.3456") rounded to `scale` places as DECIMAL
// does; nullopt for anything else (exponents, blanks, negative zero results).
std::optional<std::string> DecimalAsStored(std::string_view literal, unsigned scale);

}  // namespace rotalis::db

#pragma once
// Conversions between values and the text that travels to and from the server.
// None of them depends on the process locale: a decimal comma or a grouping
// separator must never reach SQL.

#include <cstdint>
#include <string>
#include <string_view>

namespace rotalis {

// The process's short date format: the Brazilian day/month/year.
inline constexpr const char* kShortDateFormat = "dd/mm/yyyy";

// A whole decimal number in the 32-bit range (surrounding blanks allowed);
// anything else raises "'<text>' is not a valid integer value".
std::int32_t StrToInt(const std::string& text);

// The configured port text as a port number: empty text means "3306"; text that
// is not a whole number raises before any connection is attempted.
std::int32_t PortFromSetting(const std::string& text);

namespace db {

// Shortest text that reads back as the same double, with a '.' decimal point.
std::string FormatFloat(double value);
// Parses text written with a '.' decimal point; false when it is not a number.
bool ParseFloat(std::string_view text, double& value);
// Parses a whole number that fits 64 bits; false otherwise.
bool ParseInt64(std::string_view text, std::int64_t& value);

// `value` (0 or more) in decimal, zero-padded to `width` digits. Dates are
// written for every rule of an import: printf's formatting costs more than
// the rest of a row's conversions together.
void AppendZeroPadded(std::string& out, int value, int width);

// "31/12/2026" (day and month may have one digit) -> "2026-12-31"; raises
// "'<text>' is not a valid date" for anything that is not a calendar date.
std::string ShortDateToSql(const std::string& text);
// "2026-12-31" -> "31/12/2026"; text of another shape is returned unchanged.
std::string SqlDateToShort(std::string_view text);

}  // namespace db
}  // namespace rotalis

#include "db/DbConvert.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "platform/Exception.h"

namespace rotalis {
namespace {

std::string_view Trim(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

bool ParseDigits(std::string_view text, int& value) {
  if (text.empty()) return false;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value >= 0;
}

bool IsLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysInMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

}  // namespace

std::int32_t StrToInt(const std::string& text) {
  std::int64_t value = 0;
  std::string_view digits = Trim(text);
  if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
  if (!db::ParseInt64(digits, value) || value < std::numeric_limits<std::int32_t>::min() ||
      value > std::numeric_limits<std::int32_t>::max()) {
    throw Exception("'" + text + "' is not a valid integer value");
  }
  return static_cast<std::int32_t>(value);
}

std::int32_t PortFromSetting(const std::string& text) {
  return StrToInt(text.empty() ? "3306" : text);
}

namespace db {

std::string FormatFloat(double value) {
  if (!std::isfinite(value)) throw Exception("Invalid floating point value");
  char buffer[64];
  const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  if (error != std::errc()) throw Exception("Invalid floating point value");
  return std::string(buffer, end);
}

bool ParseFloat(std::string_view text, double& value) {
  text = Trim(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return false;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

bool ParseInt64(std::string_view text, std::int64_t& value) {
  if (text.empty()) return false;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

std::string ShortDateToSql(const std::string& text) {
  const std::string_view date = Trim(text);
  const auto first = date.find('/');
  const auto second = first == std::string_view::npos ? first : date.find('/', first + 1);
  int day = 0, month = 0, year = 0;
  const bool parsed = second != std::string_view::npos && first >= 1 && first <= 2 &&
                      second - first - 1 >= 1 && second - first - 1 <= 2 &&
                      date.size() - second - 1 == 4 && ParseDigits(date.substr(0, first), day) &&
                      ParseDigits(date.substr(first + 1, second - first - 1), month) &&
                      ParseDigits(date.substr(second + 1), year);
  if (!parsed || year < 1 || month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month)) {
    throw Exception("'" + text + "' is not a valid date");
  }
  std::string sql;
  sql.reserve(10);
  AppendZeroPadded(sql, year, 4);
  sql += '-';
  AppendZeroPadded(sql, month, 2);
  sql += '-';
  AppendZeroPadded(sql, day, 2);
  return sql;
}

void AppendZeroPadded(std::string& out, int value, int width) {
  char digits[16];
  char* end = std::to_chars(digits, digits + sizeof digits, value).ptr;
  const auto count = static_cast<int>(end - digits);
  if (count < width) out.append(static_cast<std::size_t>(width - count), '0');
  out.append(digits, end);
}

std::string SqlDateToShort(std::string_view text) {
  int day = 0, month = 0, year = 0;
  if (text.size() != 10 || text[4] != '-' || text[7] != '-' ||
      !ParseDigits(text.substr(0, 4), year) || !ParseDigits(text.substr(5, 2), month) ||
      !ParseDigits(text.substr(8, 2), day)) {
    return std::string(text);
  }
  return std::string(text.substr(8, 2)) + "/" + std::string(text.substr(5, 2)) + "/" +
         std::string(text.substr(0, 4));
}

}  // namespace db
}  // namespace rotalis

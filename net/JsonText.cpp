#include "net/JsonText.h"

namespace rotalis::net {
namespace {

const Json* Find(const Json& value, const std::string& path) {
  if (!value.is_object()) return nullptr;
  const auto found = value.find(path);
  return found == value.end() ? nullptr : &*found;
}

const Json& Require(const Json& value, const std::string& path) {
  const Json* found = Find(value, path);
  if (found == nullptr) RaiseValueNotFound(path);
  return *found;
}

[[noreturn]] void Refuse(const Json& found, const std::string& path, const char* type) {
  RaiseConversionError(found.type_name(), path, type);
}

}  // namespace

void RaiseValueNotFound(const std::string& path) {
  throw JsonValueNotFound("Value '" + path + "' not found");
}

void RaiseConversionError(const char* found, const std::string& path, const char* type) {
  throw JsonConversionError("Conversion from JSON " + std::string(found) + " to " + type +
                            " is not supported (value '" + path + "')");
}

Json ExtractJsonObject(const std::string& text) {
  std::string work = text;
  if (work.size() >= 2 && work.front() == '\'' && work.back() == '\'') {
    work = work.substr(1, work.size() - 2);
  }
  const auto start = work.find('{');
  if (start == std::string::npos) throw Exception("Não foi encontrado um objeto JSON na string.");

  int depth = 0;
  bool inString = false;
  char previous = '\0';
  bool havePrevious = false;
  for (std::size_t i = start; i < work.size(); ++i) {
    const char c = work[i];
    if (c == '"' && !(havePrevious && previous == '\\')) inString = !inString;
    if (!inString) {
      if (c == '{') {
        ++depth;
      } else if (c == '}' && --depth == 0) {
        work = work.substr(start, i - start + 1);
        break;
      }
    }
    previous = c;
    havePrevious = true;
  }
  if (depth != 0 || work.empty() || work.front() != '{') {
    throw Exception("Objeto JSON incompleto ou inválido.");
  }

  Json parsed = Json::parse(work, nullptr, /*allow_exceptions=*/false);
  if (parsed.is_discarded()) throw Exception("Falha ao parsear o objeto JSON.");
  return parsed;
}

template <>
int GetValue<int>(const Json& value, const std::string& path) {
  const Json& found = Require(value, path);
  // Unsigned first: the library counts unsigned numbers as integers too, and
  // read as signed, 18446744073709551615 would pass for -1.
  if (found.is_number_unsigned()) {
    const auto number = found.get<std::uint64_t>();
    if (number <= INT32_MAX) return static_cast<int>(number);
  } else if (found.is_number_integer()) {
    const auto number = found.get<std::int64_t>();
    if (number >= INT32_MIN && number <= INT32_MAX) return static_cast<int>(number);
  }
  Refuse(found, path, "Integer");
}

template <>
double GetValue<double>(const Json& value, const std::string& path) {
  const Json& found = Require(value, path);
  if (!found.is_number()) Refuse(found, path, "Double");
  return found.get<double>();
}

template <>
std::string GetValue<std::string>(const Json& value, const std::string& path) {
  const Json& found = Require(value, path);
  if (found.is_null()) return {};
  if (!found.is_string()) Refuse(found, path, "string");
  return found.get<std::string>();
}

const Json& GetArray(const Json& value, const std::string& path) {
  const Json& found = Require(value, path);
  if (!found.is_array()) Refuse(found, path, "array");
  return found;
}

bool TryGetValue(const Json& value, const std::string& path, const Json*& out) {
  const Json* found = Find(value, path);
  if (found == nullptr || !found->is_array()) return false;
  out = found;
  return true;
}

}  // namespace rotalis::net

#pragma once
// Cutting a JSON object out of a reply text, and the typed getters through
// which the program reads parsed JSON.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "platform/Exception.h"

namespace rotalis::net {

using Json = nlohmann::json;

// The first complete JSON object of the text, parsed. The text may be wrapped in
// one pair of apostrophes and carry anything before and after the object.
// Braces are counted outside strings only, and a quote preceded by a backslash
// does not end a string (one character back, no more: a string ending in an
// escaped backslash keeps the scan inside it). Raises Exception with
// "Não foi encontrado um objeto JSON na string." (no "{"),
// "Objeto JSON incompleto ou inválido." (braces never close) or
// "Falha ao parsear o objeto JSON." (the cut text is not JSON).
Json ExtractJsonObject(const std::string& text);

// The getters raise JsonValueNotFound when the path is absent and
// JsonConversionError when the value found is of another kind; both messages
// name the path, the kind found and the type asked for.
class JsonValueNotFound : public Exception {
 public:
  using Exception::Exception;
};
class JsonConversionError : public Exception {
 public:
  using Exception::Exception;
};

// The getters' errors, for values read from another form of the same JSON.
[[noreturn]] void RaiseValueNotFound(const std::string& path);
// `found` is the JSON kind met ("null", "string", "number", ...), `type` the
// one asked for ("Integer", "Double", "string", "array").
[[noreturn]] void RaiseConversionError(const char* found, const std::string& path,
                                       const char* type);

// The path is a member name of the object given (no dots, no indexes).
// Conversions: a JSON integer to int (refused outside 32 bits); any JSON number
// to double; a JSON string to string, and a JSON null to the empty string (the
// cloud sends null for an empty text member) while null is refused for numbers;
// an array to the array getter. Nothing else converts.
template <typename T>
T GetValue(const Json& value, const std::string& path);
template <>
int GetValue<int>(const Json& value, const std::string& path);
template <>
double GetValue<double>(const Json& value, const std::string& path);
template <>
std::string GetValue<std::string>(const Json& value, const std::string& path);

// The array held inside the value (not a copy; it lives as long as the value).
const Json& GetArray(const Json& value, const std::string& path);

// True, with out pointing at the array, when the path holds an array; false,
// with out untouched, otherwise. Never raises.
bool TryGetValue(const Json& value, const std::string& path, const Json*& out);

}  // namespace rotalis::net

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "net/JsonText.h"

namespace rotalis::net {
namespace {

std::string ExtractError(const std::string& text) {
  try {
    ExtractJsonObject(text);
  } catch (const Exception& error) {
    return error.what();
  }
  return "(no error)";
}

constexpr char kNotFound[] = "Não foi encontrado um objeto JSON na string.";
constexpr char kIncomplete[] = "Objeto JSON incompleto ou inválido.";
constexpr char kUnparsable[] = "Falha ao parsear o objeto JSON.";

TEST(ExtractJsonObject, CutsTheFirstObjectOutOfItsWrapping) {
  EXPECT_EQ(ExtractJsonObject(R"('{"a":1}')"), Json::parse(R"({"a":1})"));
  // A brace inside a string is not counted; text after the object is dropped.
  EXPECT_EQ(ExtractJsonObject(R"(x{"a":{"b":"}"}}tail)"), Json::parse(R"({"a":{"b":"}"}})"));
  // Only braces count, so an array of objects gives its first element.
  EXPECT_EQ(ExtractJsonObject(R"([{"a":1},{"a":2}])"), Json::parse(R"({"a":1})"));
  // An escaped quote does not end the string.
  EXPECT_EQ(ExtractJsonObject(R"({"a":"say \"}\""})"), Json::parse(R"({"a":"say \"}\""})"));
  // Only one pair of apostrophes goes; double quotes are no wrapping.
  EXPECT_EQ(ExtractJsonObject(R"(''{"a":1}'')"), Json::parse(R"({"a":1})"));
  EXPECT_EQ(ExtractJsonObject(R"(   {"qtd":2,"nome-1":"a.exe"}  )")["nome-1"], "a.exe");
}

// Each way a text fails has its own message, which the user sees.
TEST(ExtractJsonObject, SaysWhyATextHoldsNoObject) {
  const struct {
    const char* text;
    const char* message;
  } rows[] = {
      {"", kNotFound},
      {"''", kNotFound},
      {"[1,2]", kNotFound},
      {R"({"a":1)", kIncomplete},
      {R"('{"a":1)", kIncomplete},  // not stripped: no closing apostrophe
      {R"({"a":"}")", kIncomplete},
      // Valid JSON, but the one-character escape test keeps the scan inside the
      // string after the escaped backslash, so the closing brace is never seen.
      {R"({"a":"x\\"})", kIncomplete},
      {R"({"a":})", kUnparsable},
      {"{a:1}", kUnparsable},
      {R"({"a":[1,}tail)", kUnparsable},
      {R"({"a":tru})", kUnparsable},
  };
  for (const auto& row : rows) EXPECT_EQ(ExtractError(row.text), row.message) << row.text;
}

// What the update list reads: a value, or the error naming what went wrong.
template <typename T>
std::string Read(const char* path) {
  const Json value =
      Json::parse(R"({"qtd":3,"nome-1":"a.exe","icm":18.5,"regime":1,"big":4294967296,"neg":-7,)"
                  R"("empty":null,"text":"12","huge":18446744073709551615})");
  try {
    std::ostringstream text;
    text << GetValue<T>(value, path);
    return text.str();
  } catch (const JsonValueNotFound& error) {
    return std::string("not found: ") + error.what();
  } catch (const JsonConversionError& error) {
    return std::string("conversion: ") + error.what();
  }
}

TEST(GetValue, ReadsOnlyTheKindAskedForAndNamesTheValueItCannotRead) {
  EXPECT_EQ(Read<int>("qtd"), "3");
  EXPECT_EQ(Read<int>("neg"), "-7");
  EXPECT_EQ(Read<std::string>("nome-1"), "a.exe");
  EXPECT_EQ(Read<double>("icm"), "18.5");
  EXPECT_EQ(Read<double>("regime"), "1");
  EXPECT_EQ(Read<std::string>("empty"), "");  // null reads as empty text
  EXPECT_EQ(Read<int>("nome-2"), "not found: Value 'nome-2' not found");
  const std::string conversion = "conversion: Conversion from JSON ";
  EXPECT_EQ(Read<int>("nome-1"),
            conversion + "string to Integer is not supported (value 'nome-1')");
  EXPECT_EQ(Read<int>("icm"), conversion + "number to Integer is not supported (value 'icm')");
  EXPECT_EQ(Read<int>("big"), conversion + "number to Integer is not supported (value 'big')");
  // The largest unsigned number is no -1.
  EXPECT_EQ(Read<int>("huge"), conversion + "number to Integer is not supported (value 'huge')");
  EXPECT_EQ(Read<int>("empty"), conversion + "null to Integer is not supported (value 'empty')");
  EXPECT_EQ(Read<double>("text"), conversion + "string to Double is not supported (value 'text')");
  EXPECT_EQ(Read<std::string>("qtd"),
            conversion + "number to string is not supported (value 'qtd')");
  EXPECT_THROW(GetValue<int>(Json::parse("[1]"), "qtd"), JsonValueNotFound);
}

}  // namespace
}  // namespace rotalis::net

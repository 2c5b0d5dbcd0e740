#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "net/JsonText.h"

namespace rotalis::net {
namespace {

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

TEST(ExtractJsonObject, SaysWhyATextHoldsNoObject) {
  const struct {
    const char* text;
    const char* message;
  } rows[] = {
      {"", kNotFound},
      {"[1,2]", kNotFound},
      {R"({"a":1)", kIncomplete},
      {R"('{"a":1)", kIncomplete},  // not stripped: no closing apostrophe
      {R"({"a":"}")", kIncomplete},
      {R"({"a":})", kUnparsable},
      {R"({"a":[1,}tail)", kUnparsable},
  };
  for (const auto& row : rows) {
    EXPECT_THAT([&] { ExtractJsonObject(row.text); },
                ::testing::ThrowsMessage<Exception>(row.message))
        << row.text;
  }
}

}  // namespace
}  // namespace rotalis::net

// Text that travels through generated SQL: hostile characters, the server's
// NO_BACKSLASH_ESCAPES mode, and Portuguese text in latin1 columns.

#include <gtest/gtest.h>

#include <vector>

#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
#include "tests/support/mariadb/MariaDbTest.h"

namespace rotalis {
namespace {

const std::vector<std::string> kHostileTexts = {
    "it's",
    "\"double\" and 'single'",
    "back\\slash\\",
    "\\'; DROP TABLE texto; -- ",
    "x' OR '1'='1",
    "100% _wild_",
    "tab\tline\nreturn\rbell\a\x1a end",
    "Tributação monofásica — combustíveis",
    "preço: 12,50 €",
    "",
};

class TextSafetyTest : public test::MariaDbSessionTest {
 protected:
  void SetUp() override {
    MariaDbSessionTest::SetUp();
    Server().Execute(
        "CREATE TABLE texto (chave varchar(200) NOT NULL, valor varchar(200) NOT NULL, "
        "PRIMARY KEY (chave)) CHARACTER SET latin1 COLLATE latin1_bin",
        Database());
  }

  void Open() {
    query_.SQL().SetText("SELECT chave, valor FROM texto");
    query_.Open();
  }

  // Appends every text as key and value, edits it, reads everything back.
  void RoundTrip() {
    Open();
    for (const std::string& text : kHostileTexts) {
      ASSERT_FALSE(query_.Locate("chave", text)) << text;
      query_.Append();
      query_.FieldByName("chave").SetAsString(text);
      query_.FieldByName("valor").SetAsString(text);
      query_.Post();
    }
    for (const std::string& text : kHostileTexts) {
      ASSERT_TRUE(query_.Locate("chave", text)) << text;
      query_.Edit();
      query_.FieldByName("valor").SetAsString(text + "|" + text);
      query_.Post();
    }
    Open();
    ASSERT_EQ(query_.RecordCount(), kHostileTexts.size());
    for (const std::string& text : kHostileTexts) {
      ASSERT_TRUE(query_.Locate("chave", text)) << text;
      EXPECT_EQ(query_.FieldByName("valor").AsString(), text + "|" + text);
    }
  }
};

TEST_F(TextSafetyTest, HostileTextRoundTripsByteForByte) { RoundTrip(); }

TEST_F(TextSafetyTest, HostileTextRoundTripsWhenTheSessionTurnsBackslashEscapesOff) {
  query_.SQL().SetText("SET SESSION sql_mode = CONCAT(@@sql_mode, ',NO_BACKSLASH_ESCAPES')");
  query_.ExecSQL();
  RoundTrip();
}

TEST_F(TextSafetyTest, HostileTextRoundTripsWhenTheServerTurnsBackslashEscapesOff) {
  Server().Execute("SET GLOBAL sql_mode = CONCAT(@@sql_mode, ',NO_BACKSLASH_ESCAPES')");
  struct Restore {
    test::MariaDbServer& server;
    ~Restore() {
      server.Execute("SET GLOBAL sql_mode = REPLACE(@@sql_mode, 'NO_BACKSLASH_ESCAPES', '')");
    }
  } restore{Server()};
  RoundTrip();
}

// A character outside Windows-1252 would make the strict server refuse the
// row: it is stored as "?" instead, and what the code page holds is kept.
TEST_F(TextSafetyTest, TextWindows1252CannotHoldIsStoredAsQuestionMarks) {
  Open();
  query_.Append();
  query_.FieldByName("chave").SetAsString("al\xC3\xADquota \xE2\x89\xA4 4%");  // alíquota ≤ 4%
  query_.FieldByName("valor").SetAsString("sorriso \xF0\x9F\x98\x80 \xE2\x80\x94 \xE2\x82\xAC");
  query_.Post();
  query_.Append();
  query_.FieldByName("chave").SetAsString("stray \xFF byte");
  query_.FieldByName("valor").SetAsString("");
  query_.Post();
  EXPECT_EQ(Server().QueryValue("SELECT HEX(chave) FROM texto ORDER BY chave", Database()),
            "616CED71756F7461203F203425");  // í one latin1 byte (ED), ≤ as 3F
  EXPECT_EQ(Server().QueryValue("SELECT HEX(valor) FROM texto ORDER BY chave", Database()),
            "736F727269736F203F20972080");  // emoji 3F, — 97, € 80
  EXPECT_EQ(Server().QueryValue("SELECT chave FROM texto ORDER BY chave DESC", Database()),
            "stray ? byte");
}

}  // namespace
}  // namespace rotalis

// Rule imports that meet other writers of the same table: another session
// that inserts keys while the import runs, and imports that wait for each
// other through the database's named lock.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
#include "rules/RuleImport.h"
#include "rules/RuleImportLock.h"
#include "rules/RuleTable.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/mariadb/MariaDbTest.h"

namespace rotalis {
namespace {

class RuleImportConcurrency : public test::MariaDbSessionTest {
 protected:
  void SetUp() override {
    MariaDbSessionTest::SetUp();
    TDbQuery create(connection_);
    EnsureRuleTable(create);
  }

  // Another workstation's row, written over its own session; the columns it
  // leaves out take their implicit defaults.
  void InsertElsewhere(const std::string& code, const std::string& identification) {
    Server().Execute("SET SESSION sql_mode = ''; INSERT INTO nrt SET nrtcodigo = '" + code +
                         "', nrtidentificacao = '" + identification +
                         "', crtcodigo = 1, nrtdata_inicio = '2020-01-01'",
                     Database());
  }

  // Opens the import's row set now; the test writes elsewhere before importing.
  void OpenRowSet() {
    query_.SQL().SetText(kRuleSelect);
    query_.Open();
  }
};

// Keys written by another session after the row set was read, the same key
// or one differing in case, are updated wherever they fall in a long list
// (rows are written in runs); the import goes on past them, and its row set
// holds what it wrote, so that a record repeated later edits it.
TEST_F(RuleImportConcurrency, KeysWrittenMeanwhileAreUpdated) {
  OpenRowSet();
  RuleList list;
  for (int i = 0; i < 700; ++i) {
    char code[8];
    std::snprintf(code, sizeof code, "%06d", i);
    if (i % 7 == 3 || (i >= 300 && i < 340)) InsertElsewhere(code, "escrita por outra estação");
    net::Json rule = test::SampleRule(code);
    rule["identificacao"] =
        i == 3 ? std::string("Alíquota 'única' \\ nova") : "regra " + std::string(code);
    list.push_back(rule);
  }
  InsertElsewhere("abc", "outra");
  list.insert(list.begin() + 350, test::SampleRule("ABC"));
  ImportRules(query_, list);

  EXPECT_EQ(Value("SELECT COUNT(*) FROM nrt"), "701");
  EXPECT_EQ(Value("SELECT GROUP_CONCAT(nrtcodigo ORDER BY nrtcodigo) FROM nrt WHERE "
                  "nrtidentificacao <> CONCAT('regra ', nrtcodigo)"),
            "000003,abc");
  // Byte for byte, in the column's latin1.
  EXPECT_EQ(Value("SELECT HEX(nrtidentificacao) FROM nrt WHERE nrtcodigo = '000003'"),
            "416CED71756F74612027FA6E69636127205C206E6F7661");
  EXPECT_EQ(Value("SELECT CONCAT(nrtidentificacao, ' ', crtcodigo) FROM nrt WHERE nrtcodigo = "
                  "'abc'"),
            "Venda de mercadoria ABC 3");
  EXPECT_EQ(query_.RecordCount(), 701u);
  EXPECT_TRUE(query_.Locate("nrtcodigo", "000003"));
  EXPECT_EQ(query_.FieldByName("nrtidentificacao").AsString(), "Alíquota 'única' \\ nova");
  EXPECT_TRUE(query_.Locate("nrtcodigo", "000339"));
  EXPECT_EQ(query_.FieldByName("nrtidentificacao").AsString(), "regra 000339");
}

TEST_F(RuleImportConcurrency, ImportsOfOneDatabaseWaitForEachOther) {
  TDbConnection other;
  Server().Configure(other, Database());
  {
    const RuleImportLock first(connection_, std::chrono::seconds(5));
    ASSERT_TRUE(first.Held());
    // Another database of the server has a lock of its own.
    TDbConnection elsewhere;
    Server().Configure(elsewhere, Server().CreateDatabase());
    EXPECT_TRUE(RuleImportLock(elsewhere, std::chrono::seconds(1)).Held());

    const auto before = std::chrono::steady_clock::now();
    const RuleImportLock second(other, std::chrono::seconds(1));
    EXPECT_FALSE(second.Held());  // and the import goes on without it
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(900));
  }
  // Released with the first; a session that ends releases its own as well.
  EXPECT_TRUE(RuleImportLock(other, std::chrono::seconds(1)).Held());
  {
    TDbConnection dropped;
    Server().Configure(dropped, Database());
    const RuleImportLock held(dropped, std::chrono::seconds(1));
    ASSERT_TRUE(held.Held());
    dropped.SetConnected(false);
  }
  EXPECT_TRUE(RuleImportLock(other, std::chrono::seconds(1)).Held());
}

}  // namespace
}  // namespace rotalis

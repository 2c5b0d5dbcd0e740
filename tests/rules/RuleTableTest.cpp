// Creating and migrating table nrt on the private server.

#include "rules/RuleTable.h"

#include <gtest/gtest.h>

#include "db/DbError.h"
#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
#include "tests/support/mariadb/MariaDbTest.h"

namespace rotalis {
namespace {

class RuleTableTest : public test::MariaDbTest {
 protected:
  void SetUp() override {
    MariaDbTest::SetUp();
    Server().Configure(connection_, Database());
  }

  // CREATE TABLE statements this session has sent so far.
  int CreatesSent() {
    TDbQuery status(connection_);
    status.SQL().SetText("SHOW SESSION STATUS LIKE 'Com_create_table'");
    status.Open();
    return status.FieldByName("Value").AsInteger();
  }

  std::string Catalogue(const std::string& what, const std::string& where) {
    return Server()
        .QueryValue("SELECT " + what + " FROM information_schema." + where +
                    " AND table_schema = '" + Database() + "' AND table_name = 'nrt'")
        .value_or("NULL");
  }

  TDbConnection connection_;
  TDbQuery query_{connection_};
};

TEST_F(RuleTableTest, CreatesTheTableInAnEmptyDatabase) {
  // A table of that name in another database of the server does not count.
  Server().Execute("CREATE TABLE erp.nrt (x int)");
  struct DropOther {
    test::MariaDbServer& server;
    ~DropOther() { server.Execute("DROP TABLE erp.nrt"); }
  } dropOther{Server()};

  EnsureRuleTable(query_);
  EXPECT_EQ(CreatesSent(), 1);
  EXPECT_FALSE(query_.Active());
  EXPECT_EQ(Catalogue("COUNT(*)", "columns WHERE 1"), "25");
  EXPECT_EQ(
      Catalogue("GROUP_CONCAT(column_name)", "key_column_usage WHERE constraint_name = 'PRIMARY'"),
      "nrtcodigo");
  EXPECT_EQ(Catalogue("CONCAT(engine, ' ', table_collation, ' ', row_format)", "tables WHERE 1"),
            "InnoDB latin1_swedish_ci Dynamic");
  EXPECT_EQ(Catalogue("GROUP_CONCAT(column_name ORDER BY ordinal_position)",
                      "columns WHERE is_nullable = 'YES'"),
            "nrtdata_fim,nrtcbs_aliquota,nrtreducao_cbs,nrtreducao_ibs");
  EXPECT_EQ(Catalogue("column_default", "columns WHERE column_name = 'nrtibs_aliquota_municipal'"),
            "0.000");
}

TEST_F(RuleTableTest, SendsNoCreateWhenTheTableExists) {
  Server().Execute("CREATE TABLE nrt (nrtcodigo varchar(100) NOT NULL PRIMARY KEY)", Database());
  EnsureRuleTable(query_);
  EXPECT_EQ(CreatesSent(), 0);
  // The existence test is left open, as it was.
  ASSERT_TRUE(query_.Active());
  EXPECT_EQ(query_.FieldByName("existe").AsInteger(), 1);
  EXPECT_EQ(Catalogue("COUNT(*)", "columns WHERE 1"), "1");
}

TEST_F(RuleTableTest, MigrationNormalisesTheCofinsColumn) {
  Server().Execute(
      "CREATE TABLE nrt (nrtcodigo varchar(100) NOT NULL PRIMARY KEY, csFcodigo varchar(10) "
      "NULL) CHARACTER SET latin1; INSERT INTO nrt VALUES ('a', '01')",
      Database());
  MigrateRuleTable(query_);
  EXPECT_EQ(Catalogue("CONCAT(column_name, ' ', column_type, ' ', is_nullable)",
                      "columns WHERE column_name = 'csfcodigo'"),
            "csfcodigo varchar(5) NO");
  EXPECT_EQ(Server().QueryValue("SELECT csfcodigo FROM nrt", Database()), "01");
}

TEST_F(RuleTableTest, MigrationRunsOnAFreshTableAndFailsWithoutTheColumn) {
  EnsureRuleTable(query_);
  MigrateRuleTable(query_);
  MigrateRuleTable(query_);
  EXPECT_EQ(Catalogue("COUNT(*)", "columns WHERE 1"), "25");

  Server().Execute("DROP TABLE nrt; CREATE TABLE nrt (nrtcodigo varchar(100) PRIMARY KEY)",
                   Database());
  try {
    MigrateRuleTable(query_);
    ADD_FAILURE() << "no error";
  } catch (const EDatabaseError& error) {
    EXPECT_STREQ(error.what(), "Unknown column 'csFcodigo' in 'nrt'");
  }
}

TEST_F(RuleTableTest, MigrationRefusesValuesLongerThanTheNewColumn) {
  Server().Execute(
      "CREATE TABLE nrt (nrtcodigo varchar(100) NOT NULL PRIMARY KEY, csFcodigo varchar(10) "
      "NULL) CHARACTER SET latin1; INSERT INTO nrt VALUES ('a', '0123456789')",
      Database());
  try {
    MigrateRuleTable(query_);
    ADD_FAILURE() << "no error";
  } catch (const EDatabaseError& error) {
    EXPECT_STREQ(error.what(), "Data truncated for column 'csfcodigo' at row 1");
  }
}

}  // namespace
}  // namespace rotalis

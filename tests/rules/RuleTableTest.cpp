// Creating and migrating table nrt on the private server.

#include "rules/RuleTable.h"

#include <gtest/gtest.h>

#include "db/DbError.h"
#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
#include "tests/support/mariadb/MariaDbTest.h"

namespace rotalis {
namespace {

class RuleTableTest : public test::MariaDbSessionTest {};

// A table of that name in another database of the server does not count.
TEST_F(RuleTableTest, CreatesTheTableWhereOnlyAnotherDatabaseHasOne) {
  Server().Execute("CREATE TABLE erp.nrt (x int)");
  struct DropOther {
    test::MariaDbServer& server;
    ~DropOther() { server.Execute("DROP TABLE erp.nrt"); }
  } dropOther{Server()};
  EnsureRuleTable(query_);
  EXPECT_EQ(Server().QueryValue("SELECT COUNT(*) FROM nrt", Database()), "0");
}

// An older table's COFINS column is renamed and tightened with its values
// kept; what the new column cannot hold, or a table without the column, fails
// with the server's text.
TEST_F(RuleTableTest, MigrationKeepsTheCofinsValuesOrFails) {
  const struct {
    const char* rest;  // of the table after its key
    const char* error;
    const char* column;  // the COFINS column afterwards
    const char* value;   // and the row's value in it
  } cases[] = {
      {", csFcodigo varchar(10) NULL); INSERT INTO nrt VALUES ('a', '01')", "",
       "csfcodigo varchar(5) NO", "01"},
      {", csFcodigo varchar(10) NULL); INSERT INTO nrt VALUES ('a', '0123456789')",
       "Data truncated for column 'csfcodigo' at row 1", "csFcodigo varchar(10) YES", "0123456789"},
      {")", "Unknown column 'csFcodigo' in 'nrt'", "none", nullptr},
  };
  for (const auto& c : cases) {
    Server().Execute(std::string("DROP TABLE IF EXISTS nrt; CREATE TABLE nrt (nrtcodigo "
                                 "varchar(100) NOT NULL PRIMARY KEY") +
                         c.rest,
                     Database());
    std::string error;
    try {
      MigrateRuleTable(query_);
    } catch (const EDatabaseError& raised) {
      error = raised.what();
    }
    EXPECT_EQ(error, c.error) << c.rest;
    EXPECT_EQ(Server()
                  .QueryValue("SELECT CONCAT_WS(' ', column_name, column_type, is_nullable) FROM "
                              "information_schema.columns WHERE table_schema = '" +
                              Database() + "' AND table_name = 'nrt' AND column_name = 'csfcodigo'")
                  .value_or("none"),
              c.column);
    if (c.value) {
      EXPECT_EQ(Server().QueryValue("SELECT csfcodigo FROM nrt", Database()), c.value);
    }
  }
}

}  // namespace
}  // namespace rotalis

#pragma once
// Base fixture for tests against the private server: one server per test
// program, started by the first test that needs it and stopped when the
// program ends; every test gets a fresh database of its own.

#include <gtest/gtest.h>

#include <string>

#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
#include "tests/support/mariadb/MariaDbServer.h"

namespace rotalis::test {

// The test program's server, started on first use.
MariaDbServer& SharedMariaDb();

class MariaDbTest : public ::testing::Test {
 protected:
  void SetUp() override;

  MariaDbServer& Server() { return SharedMariaDb(); }
  // This test's database.
  const std::string& Database() const { return database_; }
  // The first value of the query's first row in this test's database, "NULL"
  // where it has none.
  std::string Value(const std::string& sql) {
    return Server().QueryValue(sql, Database()).value_or("NULL");
  }

 private:
  std::string database_;
};

// The same with the product's session configured for this test's database.
class MariaDbSessionTest : public MariaDbTest {
 protected:
  void SetUp() override {
    MariaDbTest::SetUp();
    Server().Configure(connection_, Database());
  }

  TDbConnection connection_;
  TDbQuery query_{connection_};
};

}  // namespace rotalis::test

#pragma once
// Base fixture for tests against the private server: one server per test
// program, started by the first test that needs it and stopped when the
// program ends; every test gets a fresh database of its own.

#include <gtest/gtest.h>

#include <string>

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

 private:
  std::string database_;
};

}  // namespace rotalis::test

#include "tests/support/mariadb/MariaDbTest.h"

#include <memory>

namespace rotalis::test {
namespace {

// Stops the server when the test program ends normally, failed tests included;
// the fixture script's watchdog covers a crash.
class MariaDbEnvironment : public ::testing::Environment {
 public:
  MariaDbServer& Get() {
    if (!server_) server_ = std::make_unique<MariaDbServer>();
    return *server_;
  }
  void TearDown() override { server_.reset(); }

 private:
  std::unique_ptr<MariaDbServer> server_;
};

MariaDbEnvironment& Environment() {
  // gtest owns and deletes registered environments.
  static MariaDbEnvironment* environment =
      static_cast<MariaDbEnvironment*>(::testing::AddGlobalTestEnvironment(new MariaDbEnvironment));
  return *environment;
}

}  // namespace

MariaDbServer& SharedMariaDb() { return Environment().Get(); }

void MariaDbTest::SetUp() { database_ = Server().CreateDatabase(); }

}  // namespace rotalis::test

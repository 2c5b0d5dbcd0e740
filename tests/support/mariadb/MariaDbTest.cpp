#include "tests/support/mariadb/MariaDbTest.h"

#include "tests/support/SharedFixture.h"

namespace rotalis::test {

MariaDbServer& SharedMariaDb() {
  static auto& shared =
      SharedFixture<MariaDbServer>::Register([] { return std::make_unique<MariaDbServer>(); });
  return shared.Get();
}

void MariaDbTest::SetUp() { database_ = Server().CreateDatabase(); }

}  // namespace rotalis::test

// The session against the private server: connecting, implicit reconnection and
// the client library's and server's own error texts.

#include <gtest/gtest.h>

#include <chrono>
#include <regex>

#include "db/DbError.h"
#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
#include "tests/support/http/HttpFixtureServer.h"
#include "tests/support/mariadb/MariaDbTest.h"

namespace rotalis {
namespace {

// The message of the database error `run` raised; "(no error)" when it returned.
template <class Run>
std::string ErrorOf(Run run) {
  try {
    run();
  } catch (const EDatabaseError& error) {
    return error.what();
  }
  return "(no error)";
}

class SessionTest : public test::MariaDbTest {
 protected:
  void SetUp() override {
    MariaDbTest::SetUp();
    Server().Configure(connection_, Database());
  }

  std::string ConnectError() {
    return ErrorOf([this] { connection_.Connect(); });
  }
  std::string OpenError(const std::string& sql) {
    query_.SQL().SetText(sql);
    return ErrorOf([this] { query_.Open(); });
  }
  int ConnectionId() {
    query_.SQL().SetText("SELECT CONNECTION_ID() AS id");
    query_.Open();
    return query_.FieldByName("id").AsInteger();
  }

  TDbConnection connection_;
  TDbQuery query_{connection_};
};

// Closed by the program or lost at the server, the session comes back with
// the next statement; a lost one is reported first.
TEST_F(SessionTest, TheNextStatementReconnectsAfterTheSessionWasClosedOrLost) {
  const int first = ConnectionId();
  connection_.SetConnected(false);
  EXPECT_FALSE(connection_.Connected());
  query_.SQL().SetText("CREATE TABLE t (a int)");
  query_.ExecSQL();
  EXPECT_TRUE(connection_.Connected());
  EXPECT_FALSE(query_.Active());
  EXPECT_EQ(Server().QueryValue("SELECT COUNT(*) FROM t", Database()), "0");
  const int second = ConnectionId();
  EXPECT_NE(second, first);

  Server().Execute("KILL " + std::to_string(second));
  const std::string lost = OpenError("SELECT 1");
  EXPECT_TRUE(lost == "Lost connection to server during query" || lost == "Server has gone away" ||
              lost == "Connection was killed")
      << lost;
  EXPECT_FALSE(connection_.Connected());
  query_.Open();
  EXPECT_TRUE(query_.Active());
}

TEST_F(SessionTest, ChangingAServerParameterClosesTheSessionButTheSameValueDoesNot) {
  connection_.Connect();
  connection_.SetServer(Server().Host());
  connection_.SetPort(Server().Port());
  connection_.SetUsername(Server().User());
  connection_.SetPassword(Server().Password());
  connection_.SetDatabase(" " + Database() + " ");
  EXPECT_TRUE(connection_.Connected());
  EXPECT_EQ(connection_.Database(), Database());
  connection_.SetPassword("other");
  EXPECT_FALSE(connection_.Connected());
  connection_.SetPassword(Server().Password());
  connection_.Connect();
  connection_.SetServer("localhost");
  EXPECT_FALSE(connection_.Connected());
  // "localhost" still goes over TCP to the configured port.
  connection_.Connect();
  EXPECT_TRUE(connection_.Connected());
}

TEST_F(SessionTest, AFailedConnectLeavesTheParametersAndOpenTriesAgain) {
  connection_.SetPassword("wrong1");
  const std::string denied = "Access denied for user 'root'@'127.0.0.1' (using password: YES)";
  EXPECT_EQ(ConnectError(), denied);
  EXPECT_EQ(OpenError("SELECT 1 AS one"), denied);
  EXPECT_FALSE(connection_.Connected());
  EXPECT_FALSE(query_.Active());
  connection_.SetPassword(Server().Password());
  query_.Open();
  EXPECT_EQ(query_.FieldByName("one").AsInteger(), 1);
}

TEST_F(SessionTest, ServerAndClientErrorTextsPassUnchanged) {
  Server().Configure(connection_, "nosuchdb");
  EXPECT_EQ(ConnectError(), "Unknown database 'nosuchdb'");

  Server().Configure(connection_, Database());
  connection_.SetPort(test::MariaDbServer::UnusedPort());
  // The client library's own wording, with the system's error number.
  const std::string refused = ConnectError();
  EXPECT_TRUE(
      std::regex_match(refused, std::regex(R"(Can't connect to server on '127\.0\.0\.1' \(\d+\))")))
      << refused;

  connection_.SetPort(Server().Port());
  EXPECT_EQ(OpenError("SELEC 1"),
            "You have an error in your SQL syntax; check the manual that corresponds to your "
            "MariaDB server version for the right syntax to use near 'SELEC 1' at line 1");
  // A rejected statement leaves the session connected.
  EXPECT_TRUE(connection_.Connected());
  EXPECT_FALSE(query_.Active());
}

// A listener that takes the connection and never greets (a web server waiting
// for a request): the session gives up after its 15-second connect time-out
// instead of waiting for ever.
TEST_F(SessionTest, AListenerThatNeverAnswersTheHandshakeTimesOut) {
  const test::HttpFixtureServer silent;
  const std::string base = silent.HttpBase();
  connection_.SetPort(std::stoi(base.substr(base.rfind(':') + 1)));
  const auto started = std::chrono::steady_clock::now();
  const std::string error = ConnectError();
  const auto waited = std::chrono::steady_clock::now() - started;
  EXPECT_NE(error.find("handshake"), std::string::npos) << error;
  EXPECT_GE(waited, std::chrono::seconds(14)) << "gave up before its time-out: " << error;
  EXPECT_FALSE(connection_.Connected());
}

}  // namespace
}  // namespace rotalis

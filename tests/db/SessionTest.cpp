// The session against the private server: connecting, implicit reconnection and
// the client library's and server's own error texts.

#include <gtest/gtest.h>

#include <chrono>
#include <regex>
#include <thread>

#include "db/DbConvert.h"
#include "db/DbError.h"
#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
#include "platform/FileSystem.h"
#include "tests/support/HostShell.h"
#include "tests/support/TempFolder.h"
#include "tests/support/mariadb/MariaDbTest.h"

namespace rotalis {
namespace {

class SessionTest : public test::MariaDbTest {
 protected:
  // The message of the error that opening "SELECT 1" raises.
  std::string OpenError() {
    TDbQuery query(connection_);
    query.SQL().SetText("SELECT 1");
    try {
      query.Open();
    } catch (const EDatabaseError& error) {
      EXPECT_FALSE(connection_.Connected());
      EXPECT_FALSE(query.Active());
      return error.what();
    }
    return "(no error)";
  }

  std::string ConnectError() {
    try {
      connection_.Connect();
    } catch (const EDatabaseError& error) {
      return error.what();
    }
    return "(no error)";
  }

  int ConnectionId(TDbQuery& query) {
    query.SQL().SetText("SELECT CONNECTION_ID() AS id");
    query.Open();
    const int id = query.FieldByName("id").AsInteger();
    query.Close();
    return id;
  }

  TDbConnection connection_;
};

TEST_F(SessionTest, ExecSqlReconnectsAfterTheSessionWasClosed) {
  Server().Configure(connection_, Database());
  connection_.Connect();
  TDbQuery query(connection_);
  const int first = ConnectionId(query);
  connection_.SetConnected(false);
  EXPECT_FALSE(connection_.Connected());
  query.SQL().SetText("CREATE TABLE t (a int)");
  query.ExecSQL();
  EXPECT_TRUE(connection_.Connected());
  EXPECT_FALSE(query.Active());
  EXPECT_NE(ConnectionId(query), first);
  EXPECT_EQ(Server().QueryValue("SELECT COUNT(*) FROM information_schema.tables WHERE "
                                "table_schema = '" +
                                Database() + "' AND table_name = 't'"),
            "1");
}

TEST_F(SessionTest, ChangingAServerParameterClosesTheSessionButTheSameValueDoesNot) {
  Server().Configure(connection_, Database());
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
  Server().Configure(connection_, Database());
  connection_.SetPassword("wrong1");
  const std::string denied = "Access denied for user 'root'@'127.0.0.1' (using password: YES)";
  EXPECT_EQ(ConnectError(), denied);
  EXPECT_FALSE(connection_.Connected());
  EXPECT_EQ(OpenError(), denied);
  connection_.SetPassword(Server().Password());
  TDbQuery query(connection_);
  query.SQL().SetText("SELECT 1 AS one");
  query.Open();
  EXPECT_EQ(query.FieldByName("one").AsInteger(), 1);
}

TEST_F(SessionTest, ServerAndClientErrorTextsPassUnchanged) {
  Server().Configure(connection_, "nosuchdb");
  EXPECT_EQ(ConnectError(), "Unknown database 'nosuchdb'");

  Server().Configure(connection_, Database());
  const int unused = test::MariaDbServer::UnusedPort();
  connection_.SetPort(unused);
  // The client library's own wording, with the system's error number.
  const std::string refused = ConnectError();
  EXPECT_TRUE(
      std::regex_match(refused, std::regex(R"(Can't connect to server on '127\.0\.0\.1' \(\d+\))")))
      << refused;

  connection_.SetPort(Server().Port());
  TDbQuery query(connection_);
  query.SQL().SetText("SELEC 1");
  try {
    query.Open();
    ADD_FAILURE() << "no error";
  } catch (const EDatabaseError& error) {
    EXPECT_EQ(std::string(error.what()),
              "You have an error in your SQL syntax; check the manual that corresponds to your "
              "MariaDB server version for the right syntax to use near 'SELEC 1' at line 1");
  }
  // A rejected statement leaves the session connected.
  EXPECT_TRUE(connection_.Connected());
  EXPECT_FALSE(query.Active());
}

TEST_F(SessionTest, APortThatIsNotANumberFailsBeforeAnyConnection) {
  Server().Configure(connection_, Database());
  const auto port = [](const std::string& text) { return PortFromSetting(text); };
  EXPECT_THROW(connection_.SetPort(port("abc")), Exception);
  EXPECT_FALSE(connection_.Connected());
  EXPECT_EQ(connection_.Port(), Server().Port());
}

// A server that takes the connection and never greets: the session gives up
// after its 15-second connect time-out instead of waiting for ever.
TEST_F(SessionTest, AListenerThatNeverAnswersTheHandshakeTimesOut) {
  test::TempFolder dir;
  const test::HostProcess silent(
      "exec python3 -c " +
      test::ShellQuoted("import socket, sys\n"
                        "s = socket.socket()\n"
                        "s.bind(('127.0.0.1', 0))\n"
                        "s.listen(8)\n"
                        "open(sys.argv[1] + '.tmp', 'w').write(str(s.getsockname()[1]))\n"
                        "import os; os.rename(sys.argv[1] + '.tmp', sys.argv[1])\n"
                        "sys.stdin.read()\n") +
      " " + test::ShellQuoted(test::HostPath(dir / "port")));
  for (int tries = 0; tries < 500 && !platform::FileExists(dir / "port"); ++tries)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  ASSERT_TRUE(platform::FileExists(dir / "port")) << "the silent listener did not start";

  Server().Configure(connection_, Database());
  connection_.SetServer("127.0.0.1");
  connection_.SetPort(std::stoi(dir.Read("port")));
  const auto started = std::chrono::steady_clock::now();
  const std::string error = ConnectError();
  const auto waited = std::chrono::steady_clock::now() - started;
  EXPECT_NE(error.find("handshake"), std::string::npos) << error;
  EXPECT_GE(waited, std::chrono::seconds(14)) << "gave up before its time-out: " << error;
  EXPECT_FALSE(connection_.Connected());
}

TEST_F(SessionTest, ALostSessionIsReportedAndTheNextStatementReconnects) {
  Server().Configure(connection_, Database());
  TDbQuery query(connection_);
  const int id = ConnectionId(query);
  Server().Execute("KILL " + std::to_string(id));
  query.SQL().SetText("SELECT 1");
  try {
    query.Open();
    ADD_FAILURE() << "no error";
  } catch (const EDatabaseError& error) {
    const std::string text = error.what();
    EXPECT_TRUE(text == "Lost connection to server during query" ||
                text == "Server has gone away" || text == "Connection was killed")
        << text;
    EXPECT_FALSE(connection_.Connected());
  }
  query.Open();
  EXPECT_TRUE(query.Active());
}

TEST_F(SessionTest, CountReadsAsIntegerAndUnknownFieldsAreNamed) {
  Server().Configure(connection_, Database());
  TDbQuery query(connection_);
  query.SQL().SetText(
      "SELECT COUNT(*) AS existe FROM information_schema.tables WHERE "
      "table_schema = DATABASE() AND table_name = 'nrt'");
  query.Open();
  EXPECT_EQ(query.FieldByName("existe").AsInteger(), 0);
  EXPECT_EQ(query.FieldByName("EXISTE").AsInteger(), 0);
  try {
    query.FieldByName("nada");
    ADD_FAILURE() << "no error";
  } catch (const Exception& error) {
    EXPECT_STREQ(error.what(), "Field 'nada' not found");
  }
}

TEST_F(SessionTest, AnUnknownProviderNameIsRefused) {
  Server().Configure(connection_, Database());
  connection_.SetProviderName("  MySQL  ");
  EXPECT_EQ(connection_.ProviderName(), "MySQL");
  connection_.SetProviderName("Oracle");
  EXPECT_EQ(ConnectError(), "Unknown provider 'Oracle'");
}

}  // namespace
}  // namespace rotalis

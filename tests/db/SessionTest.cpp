// The session and its row sets against the private server: connecting,
// implicit reconnection, the client library's own error texts, and locating,
// editing, appending and posting rows.

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

// The message of the error `run` raised; "(no error)" when it returned.
template <class Error = EDatabaseError, class Run>
std::string ErrorOf(Run run) {
  try {
    run();
  } catch (const Error& error) {
    return error.what();
  }
  return "(no error)";
}

class SessionTest : public test::MariaDbSessionTest {
 protected:
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
};

// A session lost at the server is reported, and the next statement connects
// again.
TEST_F(SessionTest, TheNextStatementReconnectsAfterTheSessionWasLost) {
  Server().Execute("KILL " + std::to_string(ConnectionId()));
  const std::string lost = OpenError("SELECT 1");
  EXPECT_TRUE(lost == "Lost connection to server during query" || lost == "Server has gone away" ||
              lost == "Connection was killed")
      << lost;
  EXPECT_FALSE(connection_.Connected());
  query_.Open();
  EXPECT_TRUE(query_.Active());
}

// A configuration may name the server "localhost" and the database with
// blanks around it: the session still goes over TCP to the configured port,
// into that database.
TEST_F(SessionTest, LocalhostGoesOverTcpToTheConfiguredPortAndDatabase) {
  connection_.SetServer("localhost");
  connection_.SetDatabase(" " + Database() + " ");
  query_.SQL().SetText("SELECT DATABASE() AS db");
  query_.Open();
  EXPECT_EQ(query_.FieldByName("db").AsString(), Database());
}

// Where no server listens, the client library's own wording, with the
// system's error number.
TEST_F(SessionTest, ARefusedConnectionKeepsTheClientLibrarysText) {
  connection_.SetPort(test::MariaDbServer::UnusedPort());
  const std::string refused = ConnectError();
  EXPECT_TRUE(
      std::regex_match(refused, std::regex(R"(Can't connect to server on '127\.0\.0\.1' \(\d+\))")))
      << refused;
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

class EditingTest : public SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    Server().Execute(
        "CREATE TABLE item (codigo varchar(20) NOT NULL, nome varchar(50) NOT NULL, qtd int "
        "NOT NULL, taxa decimal(10, 3) DEFAULT NULL, inicio date NOT NULL, fim date DEFAULT "
        "NULL, PRIMARY KEY (codigo)) CHARACTER SET latin1;"
        "INSERT INTO item VALUES ('A1', 'primeiro', 1, 1.500, '2026-01-31', NULL),"
        "('b2', 'segundo', 2, NULL, '2026-02-01', '2026-12-31')",
        Database());
    query_.SQL().SetText("SELECT codigo, nome, qtd, taxa, inicio, fim FROM item ");
    query_.Open();
  }

  std::string Stored(const std::string& column, const std::string& key) {
    return Server()
        .QueryValue("SELECT " + column + " FROM item WHERE codigo = '" + key + "'", Database())
        .value_or("NULL");
  }

  // Appends a row with this key and name, or renames the row with this key;
  // posted for later unless `now`.
  void AppendRow(const std::string& key, const std::string& name, bool now = false) {
    query_.Append();
    query_.FieldByName("codigo").SetAsString(key);
    query_.FieldByName("nome").SetAsString(name);
    query_.FieldByName("qtd").SetAsInteger(7);
    query_.FieldByName("inicio").SetAsString("01/07/2026");
    now ? query_.Post() : query_.PostLater();
  }
  void RenameRow(const std::string& key, const std::string& name) {
    ASSERT_TRUE(query_.Locate("codigo", key));
    query_.Edit();
    query_.FieldByName("nome").SetAsString(name);
    query_.PostLater();
  }

  // Every row as key=name: in the table by key, in the row set in its order.
  std::string InTable() {
    return Server()
        .QueryValue(
            "SELECT GROUP_CONCAT(codigo, '=', nome ORDER BY codigo SEPARATOR ';') FROM item",
            Database())
        .value_or("");
  }
  std::string InRowSet() {
    std::string rows;
    for (query_.First(); !query_.Eof(); query_.Next())
      rows += (rows.empty() ? "" : ";") + query_.FieldByName("codigo").AsString() + "=" +
              query_.FieldByName("nome").AsString();
    return rows;
  }
};

TEST_F(EditingTest, RowsPostedForLaterAreReadBackAtOnceAndWrittenInOrderWhenSent) {
  RenameRow("A1", "renomeado");
  AppendRow("C3", "terceiro");
  RenameRow("C3", "terceiro, de novo");  // the unsent row is found and edited
  EXPECT_EQ(InRowSet(), "A1=renomeado;b2=segundo;C3=terceiro, de novo");
  EXPECT_EQ(InTable(), "A1=primeiro;b2=segundo");

  query_.SendPosted();
  EXPECT_EQ(query_.PostsSent(), 3u);
  EXPECT_EQ(InTable(), "A1=renomeado;b2=segundo;C3=terceiro, de novo");
  // Unassigned columns take the table's default.
  EXPECT_EQ(Stored("taxa", "C3"), "NULL");

  // A row posted at once sends those waiting before it.
  AppendRow("D4", "quarto");
  RenameRow("b2", "segundo, agora");
  query_.Edit();
  query_.FieldByName("qtd").SetAsInteger(22);
  query_.Post();
  EXPECT_EQ(InTable(), "A1=renomeado;b2=segundo, agora;C3=terceiro, de novo;D4=quarto");
  EXPECT_EQ(Stored("qtd", "b2"), "22");
}

// The statement that fails and those after it leave the row set as if their
// rows had never been posted; the ones before it stay written.
TEST_F(EditingTest, AFailedStatementTakesItsRowAndTheLaterOnesBackOut) {
  AppendRow("C3", "terceiro");
  RenameRow("b2", "segundo, antes");
  AppendRow("a1", "caixa");  // refused: the key differs from A1 only in case
  RenameRow("b2", "segundo, depois");
  RenameRow("A1", "primeiro, depois");
  AppendRow("D4", "quarto");
  EXPECT_EQ(ErrorOf<EDuplicateKey>([this] { query_.SendPosted(); }),
            "Duplicate entry 'a1' for key 'PRIMARY'");
  EXPECT_EQ(query_.PostsSent(), 2u);
  EXPECT_EQ(InTable(), "A1=primeiro;b2=segundo, antes;C3=terceiro");

  // Still appending the failed row, as a failed Post leaves it.
  EXPECT_EQ(query_.GetState(), TDbQuery::State::Insert);
  EXPECT_EQ(query_.FieldByName("codigo").AsString(), "a1");
  query_.Cancel();
  EXPECT_EQ(InRowSet(), "A1=primeiro;b2=segundo, antes;C3=terceiro");

  // The row set goes on from there.
  AppendRow("D4", "quarto");
  query_.SendPosted();
  EXPECT_EQ(InTable(), "A1=primeiro;b2=segundo, antes;C3=terceiro;D4=quarto");
  EXPECT_EQ(query_.RecordCount(), 4u);
}

TEST_F(EditingTest, ReadsTypedValuesAndLocatesKeysExactly) {
  EXPECT_EQ(query_.RecordCount(), 2u);
  EXPECT_EQ(query_.FieldByName("codigo").AsString(), "A1");
  EXPECT_EQ(query_.FieldByName("qtd").AsInteger(), 1);
  EXPECT_EQ(query_.FieldByName("taxa").AsString(), "1.500");
  EXPECT_EQ(query_.FieldByName("inicio").AsString(), "31/01/2026");
  EXPECT_TRUE(query_.FieldByName("fim").IsNull());
  EXPECT_EQ(query_.FieldByName("fim").AsString(), "");
  EXPECT_THROW(query_.FieldByName("nome").AsInteger(), Exception);
  // Names match without regard to case; an unknown one is named.
  EXPECT_EQ(query_.FieldByName("QTD").AsInteger(), 1);
  EXPECT_EQ(ErrorOf<Exception>([this] { query_.FieldByName("nada"); }), "Field 'nada' not found");

  // Keys match whole and with their case; a miss leaves the position alone.
  EXPECT_TRUE(query_.Locate("codigo", "b2"));
  EXPECT_EQ(query_.FieldByName("nome").AsString(), "segundo");
  EXPECT_FALSE(query_.Locate("codigo", "a1"));
  EXPECT_FALSE(query_.Locate("codigo", "A"));
  EXPECT_FALSE(query_.Locate("codigo", "A1 "));
  EXPECT_EQ(query_.FieldByName("codigo").AsString(), "b2");
}

// A refused Post leaves the row being edited, the row set as it was, and the
// session connected.
TEST_F(EditingTest, ARefusedPostKeepsEditingTheRowOutsideTheRowSet) {
  // The key differs from A1 only in case: Locate misses it, the server does not.
  ASSERT_FALSE(query_.Locate("codigo", "a1"));
  EXPECT_EQ(ErrorOf([this] { AppendRow("a1", "x", true); }),
            "Duplicate entry 'a1' for key 'PRIMARY'");
  EXPECT_EQ(query_.GetState(), TDbQuery::State::Insert);
  EXPECT_EQ(query_.RecordCount(), 2u);
  query_.Cancel();
  EXPECT_TRUE(connection_.Connected());

  ASSERT_TRUE(query_.Locate("codigo", "A1"));
  query_.Edit();
  EXPECT_THROW(query_.FieldByName("inicio").SetAsString("2026-01-31"), Exception);
  query_.FieldByName("qtd").SetAsString("muitos");
  EXPECT_EQ(ErrorOf([this] { query_.Post(); }), "Incorrect integer value: 'muitos' for column `" +
                                                    Database() + "`.`item`.`qtd` at row 1");
  EXPECT_EQ(query_.GetState(), TDbQuery::State::Edit);
  query_.Cancel();
  EXPECT_THROW(query_.FieldByName("nome").SetAsString("fora de edição"), Exception);

  ASSERT_TRUE(query_.Locate("codigo", "b2"));
  Server().Execute("DELETE FROM item WHERE codigo = 'b2'", Database());
  query_.Edit();
  query_.FieldByName("nome").SetAsString("perdido");
  EXPECT_EQ(ErrorOf([this] { query_.Post(); }), "Update failed. Found 0 records");
  EXPECT_EQ(query_.GetState(), TDbQuery::State::Edit);
  query_.Cancel();
  EXPECT_EQ(InRowSet(), "A1=primeiro;b2=segundo");
}

}  // namespace
}  // namespace rotalis

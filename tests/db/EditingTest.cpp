// Locating, editing, appending and posting rows of a result set, against the
// private server.

#include <gtest/gtest.h>

#include "db/DbError.h"
#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
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

class EditingTest : public test::MariaDbTest {
 protected:
  void SetUp() override {
    MariaDbTest::SetUp();
    Server().Execute(
        "CREATE TABLE item (codigo varchar(20) NOT NULL, nome varchar(50) NOT NULL, qtd int "
        "NOT NULL, taxa decimal(10, 3) DEFAULT NULL, inicio date NOT NULL, fim date DEFAULT "
        "NULL, PRIMARY KEY (codigo)) CHARACTER SET latin1;"
        "INSERT INTO item VALUES ('A1', 'primeiro', 1, 1.500, '2026-01-31', NULL),"
        "('b2', 'segundo', 2, NULL, '2026-02-01', '2026-12-31')",
        Database());
    Server().Configure(connection_, Database());
    query_.SQL().SetText("SELECT codigo, nome, qtd, taxa, inicio, fim FROM item ");
    query_.Open();
  }

  std::string Stored(const std::string& column, const std::string& key) {
    return Server()
        .QueryValue("SELECT " + column + " FROM item WHERE codigo = '" + key + "'", Database())
        .value_or("NULL");
  }

  // Appends a row with this key and name, posted for later unless `now`.
  void AppendLater(const std::string& key, const std::string& name, bool now = false) {
    query_.Append();
    query_.FieldByName("codigo").SetAsString(key);
    query_.FieldByName("nome").SetAsString(name);
    query_.FieldByName("qtd").SetAsInteger(7);
    query_.FieldByName("inicio").SetAsString("01/07/2026");
    now ? query_.Post() : query_.PostLater();
  }
  void RenameLater(const std::string& key, const std::string& name) {
    ASSERT_TRUE(query_.Locate("codigo", key));
    query_.Edit();
    query_.FieldByName("nome").SetAsString(name);
    query_.PostLater();
  }
  std::string NameInRowSet(const std::string& key) {
    return query_.Locate("codigo", key) ? query_.FieldByName("nome").AsString() : "(absent)";
  }

  TDbConnection connection_;
  TDbQuery query_{connection_};
};

TEST_F(EditingTest, RowsPostedForLaterAreReadBackAtOnceAndWrittenInOrderWhenSent) {
  RenameLater("A1", "renomeado");
  AppendLater("C3", "terceiro");
  RenameLater("C3", "terceiro, de novo");  // the unsent row is found and edited
  EXPECT_EQ(NameInRowSet("A1"), "renomeado");
  EXPECT_EQ(NameInRowSet("C3"), "terceiro, de novo");
  EXPECT_EQ(Stored("nome", "A1"), "primeiro");
  EXPECT_EQ(Stored("nome", "C3"), "NULL");

  query_.SendPosted();
  EXPECT_EQ(query_.PostsSent(), 3u);
  EXPECT_EQ(Stored("nome", "A1"), "renomeado");
  EXPECT_EQ(Stored("nome", "C3"), "terceiro, de novo");

  // A row posted at once sends those waiting before it.
  AppendLater("D4", "quarto");
  RenameLater("b2", "segundo, agora");
  query_.Edit();
  query_.FieldByName("qtd").SetAsInteger(22);
  query_.Post();
  EXPECT_EQ(Stored("nome", "D4"), "quarto");
  EXPECT_EQ(Stored("CONCAT(nome, qtd)", "b2"), "segundo, agora22");
}

// The statement that fails and those after it leave the row set as if their
// rows had never been posted; the ones before it stay written.
TEST_F(EditingTest, AFailedStatementTakesItsRowAndTheLaterOnesBackOut) {
  AppendLater("C3", "terceiro");
  RenameLater("b2", "segundo, antes");
  AppendLater("a1", "caixa");  // refused: the key differs from A1 only in case
  RenameLater("b2", "segundo, depois");
  RenameLater("A1", "primeiro, depois");
  AppendLater("D4", "quarto");
  try {
    query_.SendPosted();
    ADD_FAILURE() << "no error";
  } catch (const EDuplicateKey& error) {
    EXPECT_STREQ(error.what(), "Duplicate entry 'a1' for key 'PRIMARY'");
  }
  EXPECT_EQ(query_.PostsSent(), 2u);
  EXPECT_EQ(Stored("nome", "C3"), "terceiro");
  EXPECT_EQ(Stored("nome", "b2"), "segundo, antes");
  EXPECT_EQ(Stored("nome", "A1"), "primeiro");
  EXPECT_EQ(Stored("nome", "D4"), "NULL");

  // Still appending the failed row, as a failed Post leaves it.
  EXPECT_EQ(query_.GetState(), TDbQuery::State::Insert);
  EXPECT_EQ(query_.FieldByName("codigo").AsString(), "a1");
  query_.Cancel();
  EXPECT_EQ(query_.RecordCount(), 3u);
  EXPECT_EQ(NameInRowSet("C3"), "terceiro");
  EXPECT_EQ(NameInRowSet("b2"), "segundo, antes");
  EXPECT_EQ(NameInRowSet("A1"), "primeiro");
  EXPECT_EQ(NameInRowSet("D4"), "(absent)");
  EXPECT_EQ(NameInRowSet("a1"), "(absent)");

  // The row set goes on from there.
  AppendLater("D4", "quarto");
  query_.SendPosted();
  EXPECT_EQ(Stored("nome", "D4"), "quarto");
  EXPECT_EQ(query_.RecordCount(), 4u);
}

TEST_F(EditingTest, ReadsTypedValuesOfTheFirstRow) {
  EXPECT_EQ(query_.RecordCount(), 2u);
  EXPECT_EQ(query_.FieldByName("codigo").AsString(), "A1");
  EXPECT_EQ(query_.FieldByName("qtd").AsInteger(), 1);
  EXPECT_EQ(query_.FieldByName("taxa").AsFloat(), 1.5);
  EXPECT_EQ(query_.FieldByName("taxa").AsString(), "1.500");
  EXPECT_EQ(query_.FieldByName("inicio").AsString(), "31/01/2026");
  EXPECT_TRUE(query_.FieldByName("fim").IsNull());
  EXPECT_EQ(query_.FieldByName("fim").AsString(), "");
  EXPECT_THROW(query_.FieldByName("nome").AsInteger(), Exception);
  // Names match without regard to case; an unknown one is named.
  EXPECT_EQ(query_.FieldByName("QTD").AsInteger(), 1);
  try {
    query_.FieldByName("nada");
    ADD_FAILURE() << "no error";
  } catch (const Exception& error) {
    EXPECT_STREQ(error.what(), "Field 'nada' not found");
  }
}

TEST_F(EditingTest, LocateIsExactAndCaseSensitive) {
  EXPECT_TRUE(query_.Locate("codigo", "b2"));
  EXPECT_EQ(query_.FieldByName("nome").AsString(), "segundo");
  EXPECT_FALSE(query_.Locate("codigo", "a1"));
  EXPECT_FALSE(query_.Locate("codigo", "A"));
  EXPECT_FALSE(query_.Locate("codigo", "A1 "));
  // A failed search leaves the position where it was.
  EXPECT_EQ(query_.FieldByName("codigo").AsString(), "b2");
}

TEST_F(EditingTest, EditPostsAnUpdateOfTheAssignedColumnsByKey) {
  ASSERT_TRUE(query_.Locate("codigo", "A1"));
  query_.Edit();
  query_.FieldByName("nome").SetAsString("alterado");
  query_.FieldByName("taxa").SetAsFloat(1.23456);
  query_.FieldByName("fim").SetAsString("31/12/2026");
  query_.Post();
  EXPECT_EQ(query_.GetState(), TDbQuery::State::Browse);
  EXPECT_EQ(Stored("nome", "A1"), "alterado");
  EXPECT_EQ(Stored("taxa", "A1"), "1.235");
  EXPECT_EQ(Stored("fim", "A1"), "2026-12-31");
  EXPECT_EQ(Stored("nome", "b2"), "segundo");
  EXPECT_EQ(query_.FieldByName("fim").AsString(), "31/12/2026");
}

TEST_F(EditingTest, PostingAnUnchangedRowSucceeds) {
  ASSERT_TRUE(query_.Locate("codigo", "b2"));
  for (int round = 0; round < 2; ++round) {
    query_.Edit();
    query_.FieldByName("nome").SetAsString("segundo");
    query_.FieldByName("qtd").SetAsInteger(2);
    query_.Post();
    EXPECT_EQ(query_.RowsAffected(), 1u);
  }
}

TEST_F(EditingTest, AnAppendedKeyIsFoundAgainAndTheLastPostWins) {
  AppendLater("C3", "terceiro", true);
  EXPECT_EQ(query_.RecordCount(), 3u);
  // Unassigned columns take the table's default.
  EXPECT_EQ(Stored("taxa", "C3"), "NULL");
  EXPECT_EQ(Stored("inicio", "C3"), "2026-07-01");

  ASSERT_TRUE(query_.Locate("codigo", "A1"));
  ASSERT_TRUE(query_.Locate("codigo", "C3"));
  query_.Edit();
  query_.FieldByName("nome").SetAsString("de novo");
  query_.Post();
  EXPECT_EQ(Stored("nome", "C3"), "de novo");
  EXPECT_EQ(query_.FieldByName("nome").AsString(), "de novo");
}

// A refused Post leaves the row being edited, the row set as it was, and the
// session connected.
TEST_F(EditingTest, ARefusedPostKeepsEditingTheRowOutsideTheRowSet) {
  // The key differs from A1 only in case: Locate misses it, the server does not.
  ASSERT_FALSE(query_.Locate("codigo", "a1"));
  EXPECT_EQ(ErrorOf([this] { AppendLater("a1", "x", true); }),
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
  EXPECT_EQ(NameInRowSet("b2"), "segundo");
}

TEST_F(EditingTest, LocateStaysIndexedOverAHundredThousandRows) {
  Server().Execute(
      "INSERT INTO item (codigo, nome, qtd, inicio) SELECT CONCAT('K', seq), 'n', seq, "
      "'2026-01-01' FROM seq_1_to_100000",
      Database());
  query_.Open();
  ASSERT_EQ(query_.RecordCount(), 100002u);
  for (int i = 1; i <= 100000; i += 997) {
    ASSERT_TRUE(query_.Locate("codigo", "K" + std::to_string(i)));
    ASSERT_EQ(query_.FieldByName("qtd").AsInteger(), i);
  }
  query_.Edit();
  query_.FieldByName("codigo").SetAsString("moved");
  query_.Post();
  EXPECT_TRUE(query_.Locate("codigo", "moved"));
  EXPECT_FALSE(query_.Locate("codigo", "K99701"));
  EXPECT_TRUE(query_.Locate("codigo", "K99702"));
}

}  // namespace
}  // namespace rotalis

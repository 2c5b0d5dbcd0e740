// The download phase against a real update server: which files are asked for,
// where they land, and what the progress form goes through.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/update/UpdateFixture.h"
#include "update/UpdateDownload.h"
#include "update/UpdateList.h"

namespace rotalis::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DownloadTest : public UpdateTest {
 protected:
  DownloadTest() { app.Write("KelvaERP.exe", ""); }
};

// A cached file, under whatever case, is never fetched again; the form shows
// only for a file that is.
TEST_F(DownloadTest, FetchesOnlyTheFilesMissingFromTheCache) {
  server.PublishList("kelva", "'{\"qtd\":2,\"nome-1\":\"a.exe\",\"nome-2\":\"b.exe\"}'");
  server.PublishFile("kelva", "a.exe", "new a");
  server.PublishFile("kelva", "b.exe", "new b");
  app.Write("atualizadores_versao/A.EXE", "old a");

  DownloadUpdates(ui, here);

  EXPECT_THAT(server.Targets(), ElementsAre("/arquivos/kelva", "/download/kelva/b.exe"));
  EXPECT_EQ(app.Read("atualizadores_versao/A.EXE"), "old a");
  EXPECT_EQ(app.Read("atualizadores_versao/b.exe"), "new b");
  EXPECT_THAT(ui.messages, IsEmpty());

  ASSERT_EQ(ui.progressForms.size(), 1u);
  const RecordingProgressForm& form = *ui.progressForms[0];
  EXPECT_EQ(form.Spec().maximum, 2);
  EXPECT_THAT(form.positions, ElementsAre(1, 2));
  EXPECT_EQ(form.showCalls, 1);
  EXPECT_TRUE(form.closed);
  EXPECT_THAT(ui.released, ElementsAre(&form));

  DownloadUpdates(ui, here);
  EXPECT_THAT(server.Targets(),
              ElementsAre("/arquivos/kelva", "/download/kelva/b.exe", "/arquivos/kelva"));
  ASSERT_EQ(ui.progressForms.size(), 2u);
  EXPECT_FALSE(ui.progressForms[1]->shown);
}

// No positive count, no usable list, or a list answered with an error status
// (only 200 or 201 counts, however good the body): no form, no file, no word.
TEST_F(DownloadTest, ListsWithNothingToFetchShowNothing) {
  server.PublishFile("kelva", "a.exe", "installer");
  for (const char* body :
       {"{\"qtd\":0,\"nome-1\":\"a.exe\"}", "{\"qtd\":-3,\"nome-1\":\"a.exe\"}", "not json"}) {
    server.PublishList("kelva", body);
    DownloadUpdates(ui, here);
  }
  server.PublishFailingList("kelva", 500, "{\"qtd\":1,\"nome-1\":\"a.exe\"}");
  DownloadUpdates(ui, here);
  EXPECT_THAT(server.Targets(), ElementsAre("/arquivos/kelva", "/arquivos/kelva", "/arquivos/kelva",
                                            "/arquivos/kelva"));
  EXPECT_THAT(ui.progressForms, IsEmpty());
  EXPECT_THAT(ui.messages, IsEmpty());
  EXPECT_FALSE(Exists("atualizadores_versao"));
}

TEST_F(DownloadTest, MissingNameStopsThePhaseThere) {
  server.PublishList("kelva", "{\"qtd\":3,\"nome-1\":\"a.exe\",\"nome-3\":\"c.exe\"}");
  server.PublishFile("kelva", "a.exe", "a");
  server.PublishFile("kelva", "c.exe", "c");

  DownloadUpdates(ui, here);

  EXPECT_THAT(server.Targets(), ElementsAre("/arquivos/kelva", "/download/kelva/a.exe"));
  ASSERT_EQ(ui.progressForms.size(), 1u);
  EXPECT_THAT(ui.progressForms[0]->positions, ElementsAre(1, 2));
  // Left as it was: the error path neither closes nor releases the form.
  EXPECT_FALSE(ui.progressForms[0]->closed);
  EXPECT_THAT(ui.released, IsEmpty());
}

TEST_F(DownloadTest, EmptyAndForeignNamesAreSkipped) {
  server.PublishList("kelva",
                     "{\"qtd\":8,\"nome-1\":\"\",\"nome-2\":\"../x.exe\",\"nome-3\":\"..\","
                     "\"nome-4\":\"sub/y.exe\",\"nome-5\":\"..\\\\z.exe\",\"nome-6\":\"  \","
                     "\"nome-7\":\"/tmp/w.exe\",\"nome-8\":\"b.exe\"}");
  server.PublishFile("kelva", "b.exe", "b");
  server.PublishFile("", "x.exe", "outside");

  DownloadUpdates(ui, here);

  EXPECT_THAT(server.Targets(), ElementsAre("/arquivos/kelva", "/download/kelva/b.exe"));
  EXPECT_THAT(ui.progressForms[0]->positions, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_FALSE(Exists("x.exe"));
  std::vector<std::string> cached;
  for (const auto& entry : std::filesystem::directory_iterator(app / "atualizadores_versao"))
    cached.push_back(entry.path().filename().string());
  EXPECT_THAT(cached, ElementsAre("b.exe"));
}

TEST_F(DownloadTest, NamesArePathEncoded) {
  server.PublishList("kelva", "{\"qtd\":1,\"nome-1\":\"Setup 2 (ç).exe\"}");
  server.PublishFile("kelva", "Setup 2 (ç).exe", "two");

  DownloadUpdates(ui, here);

  EXPECT_THAT(server.Targets(),
              ElementsAre("/arquivos/kelva", "/download/kelva/Setup%202%20%28%C3%A7%29.exe"));
  EXPECT_EQ(app.Read("atualizadores_versao/Setup 2 (ç).exe"), "two");
}

TEST_F(DownloadTest, GzipCodedFileIsStoredDecoded) {
  std::string installer;
  for (int i = 0; i < 20000; ++i) installer += "installer block " + std::to_string(i) + "\n";
  server.PublishList("kelva", "{\"qtd\":1,\"nome-1\":\"g.exe\"}");
  server.PublishGzippedFile("kelva", "g.exe", installer);

  DownloadUpdates(ui, here);

  const auto requests = server.Requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[1].encoding, "gzip");
  EXPECT_LT(requests[1].bodyBytes, installer.size());
  EXPECT_EQ(app.Read("atualizadores_versao/g.exe"), installer);
}

}  // namespace
}  // namespace rotalis::test

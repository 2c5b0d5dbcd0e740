// The update step with the publisher's public key in the deployment, against
// the real update server, with keys and signatures made by minisign itself.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/FileSystem.h"
#include "tests/support/HostShell.h"
#include "tests/update/UpdateFixture.h"
#include "update/UpdateDownload.h"
#include "update/UpdateDriver.h"
#include "update/VerifiedDownload.h"

namespace rotalis::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::Gt;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Le;
using ::testing::Lt;
using ::testing::Optional;
using ::testing::SizeIs;

class VerifiedUpdateTest : public UpdateTest {
 protected:
  VerifiedUpdateTest() {
    app.Write("KelvaERP.exe", "");
    MakeKeyPair("publisher");
    here.deployment.updatePublicKey = PublicKeyLine("publisher");
  }

  void MakeKeyPair(const std::string& name) const {
    Minisign("-G -W -p " + KeyFile(name + ".pub") + " -s " + KeyFile(name + ".key"));
  }

  // The second line of minisign.pub: what a deployment is configured with.
  std::string PublicKeyLine(const std::string& name) const {
    const std::string text = keys.Read(name + ".pub");
    const auto start = text.find('\n') + 1;
    return text.substr(start, text.find('\n', start) - start);
  }

  // Serves the installer and, unless `signer` is empty, its signature beside
  // it, as a publisher would put them on the server. Returns the served path.
  std::string Publish(const std::string& name, const std::string& signer = "publisher",
                      const std::string& options = "") const {
    const std::string path = server.PublishFile("kelva", name, InstallerScript());
    if (!signer.empty()) Sign(path, signer, options);
    return path;
  }

  void Sign(const std::string& path, const std::string& signer = "publisher",
            const std::string& options = "") const {
    Minisign("-S " + options + " -s " + KeyFile(signer + ".key") + " -m " +
             ShellQuoted(HostPath(path)));
  }

  void List(const std::vector<std::string>& names) const {
    std::string body = "{\"qtd\":" + std::to_string(names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
      body += ",\"nome-" + std::to_string(i + 1) + "\":\"" + names[i] + "\"";
    server.PublishList("kelva", body + "}");
  }

  static std::string Cache(const std::string& name) { return "atualizadores_versao/" + name; }

  TempFolder keys{"rotalis-keys"};

 private:
  std::string KeyFile(const std::string& name) const { return ShellQuoted(HostPath(keys / name)); }

  static void Minisign(const std::string& arguments) {
    std::string output;
    ASSERT_EQ(RunHostCommand("minisign " + arguments + " 2>&1", &output), 0) << output;
  }
};

// The shell's zone check is left out only for installers whose signature
// was just checked: without a key every start is asked for as a program
// started by hand would be.
TEST_F(VerifiedUpdateTest, OnlyVerifiedInstallersAreStartedWithoutTheZoneCheck) {
  using platform::ZoneCheck;
  using Start = std::pair<std::string, ZoneCheck>;
  std::vector<Start> starts;
  const ProgramStart recordingStart = [&starts](const std::string& path,
                                                const std::string& arguments, ZoneCheck zoneCheck) {
    starts.emplace_back(std::filesystem::path(path).filename().string(), zoneCheck);
    return platform::StartProcess(path, arguments, zoneCheck);
  };
  Publish("Setup_1.02.3.5.exe");
  List({"Setup_1.02.3.5.exe"});

  UpdateInstallation(ui, here, recordingStart);
  here.deployment.updatePublicKey.clear();
  PutInstaller("Setup_1.02.3.6.exe");
  UpdateInstallation(ui, here, recordingStart);

  EXPECT_THAT(starts, ElementsAre(Start("Setup_1.02.3.5.exe", ZoneCheck::Skip),
                                  Start("Setup_1.02.3.5.exe", ZoneCheck::Ask),
                                  Start("Setup_1.02.3.6.exe", ZoneCheck::Ask)));
  EXPECT_THAT(ui.messages, IsEmpty());
}

TEST_F(VerifiedUpdateTest, PartsLeftByAnEarlierStartAreCompletedAndRun) {
  Publish("Setup_1.02.3.5.exe");
  Publish("Setup_1.02.3.6.exe");
  Publish("whole_1.02.3.7.exe");
  const std::string whole = InstallerScript();
  const std::size_t half = whole.size() / 2;
  // Parts made as plain files (an earlier version of the launcher, a copy):
  // what is run in the end must be runnable all the same.
  app.Write(Cache("Setup_1.02.3.5.exe.part"), whole.substr(0, half));
  // Cut off between its last byte and its check: nothing is left to fetch.
  app.Write(Cache("Setup_1.02.3.6.exe.part"), whole);
  // A server that cannot resume sends the whole file again: it replaces the part.
  app.Write(Cache("whole_1.02.3.7.exe.part"), "stale bytes");
  List({"Setup_1.02.3.5.exe", "Setup_1.02.3.6.exe", "whole_1.02.3.7.exe"});

  UpdateInstallation(ui, here);

  EXPECT_THAT(ui.messages, IsEmpty());
  EXPECT_THAT(RunNames(),
              ElementsAre("Setup_1.02.3.5.exe", "Setup_1.02.3.6.exe", "whole_1.02.3.7.exe"));
  // The list, then each signature and its installer.
  const auto requests = server.Requests();
  ASSERT_THAT(requests, SizeIs(7));
  EXPECT_EQ(requests[2].status, 206);
  EXPECT_EQ(requests[2].bodyBytes, whole.size() - half);
  EXPECT_EQ(requests[4].status, 416);
  EXPECT_EQ(requests[6].status, 200);
  EXPECT_EQ(app.Read(Cache("whole_1.02.3.7.exe")), whole);
  EXPECT_EQ(app.Read(Cache("Setup_1.02.3.5.exe")), whole);
  EXPECT_FALSE(Exists(Cache("Setup_1.02.3.5.exe.part")));
}

TEST_F(VerifiedUpdateTest, ACachedInstallerChangedAfterItsDownloadIsRejectedThenFetchedAgain) {
  Publish("Setup_1.02.3.5.exe");
  List({"Setup_1.02.3.5.exe"});
  UpdateInstallation(ui, here);
  ASSERT_THAT(RunNames(), ElementsAre("Setup_1.02.3.5.exe"));
  // Nothing unsigned is fetched: the signature comes first, and stays beside it.
  EXPECT_THAT(server.Targets(),
              ElementsAre("/arquivos/kelva", "/download/kelva/Setup_1.02.3.5.exe.minisig",
                          "/download/kelva/Setup_1.02.3.5.exe"));
  EXPECT_TRUE(Exists(Cache("Setup_1.02.3.5.exe.minisig")));

  app.Write(Cache("Setup_1.02.3.5.exe"), InstallerScript() + "\necho planted\n");
  PutInstaller("Setup_1.02.3.6.exe");  // cached before the key, or by someone else: no signature
  UpdateInstallation(ui, here);

  EXPECT_THAT(RunNames(), ElementsAre("Setup_1.02.3.5.exe"));
  ASSERT_THAT(ui.messages, SizeIs(2));
  EXPECT_THAT(ui.messages[0],
              AllOf(HasSubstr("Setup_1.02.3.5.exe"), HasSubstr("Setup_1.02.3.5.exe.rejected")));
  EXPECT_THAT(ui.messages[1], AllOf(HasSubstr("Setup_1.02.3.6.exe"), HasSubstr("assinatura")));
  EXPECT_THAT(app.Read(Cache("Setup_1.02.3.5.exe.rejected")), HasSubstr("planted"));

  // The next start downloads it anew, and the genuine installer runs.
  UpdateInstallation(ui, here);
  EXPECT_THAT(RunNames(), ElementsAre("Setup_1.02.3.5.exe", "Setup_1.02.3.5.exe"));
  EXPECT_EQ(app.Read(Cache("Setup_1.02.3.5.exe")), InstallerScript());
  EXPECT_THAT(ui.messages, SizeIs(2));
}

// Cuts a download off as soon as its first bytes have arrived, by truncating
// the file nginx is sending.
class CuttingApplication : public RecordingApplication {
 public:
  void ProcessMessages() override {
    RecordingApplication::ProcessMessages();
    if (!servedFile.empty() && form.lastReceived > 0) {
      std::filesystem::resize_file(servedFile, 0);
      servedFile.clear();
    }
  }
  RecordingProgressForm form{ui::ProgressFormSpec{"fAguarde", "", 0, 0, 1}};
  std::string servedFile;
};

enum class Fault { Missing, PartKept, Cut, Refused, Tampered, TamperedEd, Unsigned, Other, Edited };

using Messages = ::testing::Matcher<std::vector<std::string>>;
// What a failed download leaves, nothing when there is no file: under the
// installer's name for a plain download; in its ".part" for a verified one,
// which never stores anything under the name itself.
using Left = ::testing::Matcher<std::optional<std::string>>;

struct FailedDownload {
  const char* name;
  bool verified;
  Fault fault;
  Messages messages;
  Left left;
};

constexpr char kInstaller[] = "Setup_1.02.3.5.exe";

class DownloadFailureTest : public VerifiedUpdateTest,
                            public ::testing::WithParamInterface<FailedDownload> {
 protected:
  // Puts the installer on the server broken in the row's way.
  void Arrange(Fault fault) {
    std::string bytes = InstallerScript();
    switch (fault) {
      case Fault::PartKept:
        app.Write(Cache(file) + ".part", "the first bytes");
        [[fallthrough]];
      case Fault::Missing:
        platform::RemoveFile(Publish(file));  // the signature stays
        break;
      case Fault::Cut:
        file = "slow_1.02.3.5.exe";  // served slowly, so that it can be cut
        cutting.servedFile = server.PublishFile("kelva", file, std::string(4 << 20, 's'));
        Sign(cutting.servedFile);
        break;
      case Fault::Refused:
        base = "http://127.0.0.1:1";
        break;
      case Fault::Tampered:
      case Fault::TamperedEd:
        Publish(file, "publisher", fault == Fault::Tampered ? "" : "-l");
        bytes[bytes.size() / 2] ^= 0x01;
        server.PublishFile("kelva", file, bytes);
        break;
      case Fault::Unsigned:
        Publish(file, "");
        break;
      case Fault::Other:
        MakeKeyPair("stranger");
        Publish(file, "stranger");
        break;
      case Fault::Edited: {
        const std::string path = Publish(file) + ".minisig";
        std::string signature = platform::ReadFileBytes(path);
        signature.insert(signature.find("\ntrusted comment: ") + 18, "aprovada ");
        platform::WriteFileBytes(path, signature);
        break;
      }
    }
  }

  CuttingApplication cutting;
  std::string base = NginxUpdateServer::Base();
  std::string file = kInstaller;
};

TEST_P(DownloadFailureTest, LeavesNoInstallerAndSaysWhy) {
  const FailedDownload& row = GetParam();
  Arrange(row.fault);
  const std::string folder = app / "atualizadores_versao/";
  if (row.verified)
    DownloadVerifiedUpdateFile(cutting, base, "kelva", file, folder,
                               here.deployment.updatePublicKey, &cutting.form);
  else
    DownloadUpdateFile(cutting, base, "kelva", file, folder, &cutting.form);

  EXPECT_THAT(cutting.messages, row.messages);
  std::string left = Cache(file);
  if (row.verified) {
    EXPECT_FALSE(Exists(left));
    EXPECT_FALSE(Exists(left + ".minisig"));
    left += ".part";
    // Nothing unsigned is even fetched: the signature's request comes first.
    const auto requests = server.Requests();
    if (requests.empty() || requests[0].status != 200) {
      EXPECT_THAT(requests, SizeIs(Le(1)));
    }
  }
  EXPECT_THAT(Exists(left) ? std::optional(app.Read(left)) : std::nullopt, row.left);
}

// The one message, with the transport's words or naming the installer.
Messages Says(const char* words) { return ElementsAre(HasSubstr(words)); }
Messages Names(const char* why) {
  return ElementsAre(AllOf(HasSubstr(kInstaller), HasSubstr(why)));
}
const Left kNothing = Eq(std::nullopt);
const Left kCutShort = Optional(SizeIs(AllOf(Gt(0u), Lt(std::size_t{4 << 20}))));
const Left kAsBefore = Optional(std::string("the first bytes"));

// Plain downloads keep what came under the installer's name; a verified one
// keeps a cut-off ".part" to resume and one that was there before an error
// answer, and nothing else.
INSTANTIATE_TEST_SUITE_P(
    Kinds, DownloadFailureTest,
    ::testing::Values(
        FailedDownload{"PlainErrorStatus", false, Fault::Missing, IsEmpty(),
                       Optional(HasSubstr("404"))},
        FailedDownload{"PlainCutMidBody", false, Fault::Cut, Says("remaining to read"), kCutShort},
        FailedDownload{"ErrorStatus", true, Fault::Missing, Names("404"), kNothing},
        FailedDownload{"ErrorStatusWithPart", true, Fault::PartKept, Names("404"), kAsBefore},
        FailedDownload{"CutMidBody", true, Fault::Cut, Says("remaining to read"), kCutShort},
        FailedDownload{"Refused", true, Fault::Refused, Says("127.0.0.1"), kNothing},
        FailedDownload{"Tampered", true, Fault::Tampered, Names("não confere"), kNothing},
        FailedDownload{"TamperedEd", true, Fault::TamperedEd, Names("não confere"), kNothing},
        FailedDownload{"Unsigned", true, Fault::Unsigned, Names("assinatura não encontrada"),
                       kNothing},
        FailedDownload{"OtherKey", true, Fault::Other, Names("outra chave"), kNothing},
        FailedDownload{"Edited", true, Fault::Edited, Names("comentário confiável"), kNothing}),
    [](const ::testing::TestParamInfo<FailedDownload>& info) { return info.param.name; });

}  // namespace
}  // namespace rotalis::test

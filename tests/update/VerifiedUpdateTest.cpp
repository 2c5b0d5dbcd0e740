// The update step with the publisher's public key in the deployment, against
// the real update server, with keys and signatures made by minisign itself.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/FileSystem.h"
#include "tests/support/HostShell.h"
#include "tests/update/UpdateFixture.h"
#include "update/UpdateDriver.h"

namespace rotalis::platform {
void PrintTo(ZoneCheck zoneCheck, std::ostream* out) {
  *out << (zoneCheck == ZoneCheck::Skip ? "Skip" : "Ask");
}
}  // namespace rotalis::platform

namespace rotalis::test {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

std::filesystem::path FsPath(const std::string& utf8) {
  return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

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
    std::istringstream lines(keys.Read(name + ".pub"));
    std::string line;
    std::getline(lines, line);
    std::getline(lines, line);
    return line;
  }

  // Serves the installer and, unless `signer` is empty, its signature beside
  // it, as a publisher would put them on the server. Returns the served path.
  std::string Publish(const std::string& name, const std::string& signer = "publisher",
                      const std::string& options = "") const {
    const std::string path = server.PublishFile("kelva", name, InstallerScript());
    if (!signer.empty())
      Minisign("-S " + options + " -s " + KeyFile(signer + ".key") + " -m " +
               ShellQuoted(HostPath(path)));
    return path;
  }

  void List(const std::vector<std::string>& names) const {
    std::string body = "{\"qtd\":" + std::to_string(names.size());
    for (std::size_t i = 0; i < names.size(); ++i)
      body += ",\"nome-" + std::to_string(i + 1) + "\":\"" + names[i] + "\"";
    server.PublishList("kelva", body + "}");
  }

  std::vector<std::string> RunNames() const {
    std::vector<std::string> names;
    for (const auto& run : Runs()) names.push_back(run.name);
    return names;
  }

  // The request for one target, which must have been made once.
  ServedRequest RequestFor(const std::string& target) const {
    std::vector<ServedRequest> found;
    for (const auto& request : server.Requests())
      if (request.target == target) found.push_back(request);
    EXPECT_THAT(found, SizeIs(1)) << target;
    return found.empty() ? ServedRequest{} : found.front();
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

TEST_F(VerifiedUpdateTest, SignedInstallersAreVerifiedCachedAndRun) {
  Publish("Setup_1.02.3.5.exe");
  Publish("Setup_1.02.3.6.exe", "publisher", "-l");  // the older "Ed" kind, over the file itself
  List({"Setup_1.02.3.5.exe", "Setup_1.02.3.6.exe"});

  UpdateInstallation(ui, here);

  EXPECT_THAT(ui.messages, IsEmpty());
  EXPECT_THAT(RunNames(), ElementsAre("Setup_1.02.3.5.exe", "Setup_1.02.3.6.exe"));
  EXPECT_THAT(server.Targets(),
              ElementsAre("/arquivos/kelva", "/download/kelva/Setup_1.02.3.5.exe.minisig",
                          "/download/kelva/Setup_1.02.3.5.exe",
                          "/download/kelva/Setup_1.02.3.6.exe.minisig",
                          "/download/kelva/Setup_1.02.3.6.exe"));
  EXPECT_EQ(app.Read(Cache("Setup_1.02.3.5.exe")), InstallerScript());
  EXPECT_TRUE(Exists(Cache("Setup_1.02.3.5.exe.minisig")));
  EXPECT_FALSE(Exists(Cache("Setup_1.02.3.5.exe.part")));
}

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
  const auto verified = starts;
  starts.clear();
  here.deployment.updatePublicKey.clear();
  PutInstaller("Setup_1.02.3.6.exe");
  UpdateInstallation(ui, here, recordingStart);

  EXPECT_THAT(verified, ElementsAre(Start("Setup_1.02.3.5.exe", ZoneCheck::Skip)));
  EXPECT_THAT(starts, ElementsAre(Start("Setup_1.02.3.5.exe", ZoneCheck::Ask),
                                  Start("Setup_1.02.3.6.exe", ZoneCheck::Ask)));
  // Started either way, with the same arguments.
  EXPECT_THAT(RunNames(),
              ElementsAre("Setup_1.02.3.5.exe", "Setup_1.02.3.5.exe", "Setup_1.02.3.6.exe"));
  EXPECT_THAT(ui.messages, IsEmpty());
}

TEST_F(VerifiedUpdateTest, RefusedInstallersLeaveNothingUnderTheirNameAndSayWhy) {
  const std::string tampered = Publish("Setup_1.02.3.5.exe");
  std::string bytes = InstallerScript();
  bytes[bytes.size() / 2] ^= 0x01;
  server.PublishFile("kelva", "Setup_1.02.3.5.exe", bytes);

  Publish("Setup_1.02.3.6.exe", "");  // no signature on the server

  MakeKeyPair("stranger");
  Publish("Setup_1.02.3.7.exe", "stranger");

  const std::string edited = Publish("Setup_1.02.3.8.exe") + ".minisig";
  std::string signature = platform::ReadFileBytes(edited);
  signature.insert(signature.find("\ntrusted comment: ") + 18, "versao aprovada ");
  platform::WriteFileBytes(edited, signature);

  List({"Setup_1.02.3.5.exe", "Setup_1.02.3.6.exe", "Setup_1.02.3.7.exe", "Setup_1.02.3.8.exe"});
  UpdateInstallation(ui, here);

  EXPECT_THAT(Runs(), IsEmpty());
  EXPECT_EQ(ui.terminateCalls, 0);
  ASSERT_THAT(ui.messages, SizeIs(4));
  EXPECT_THAT(ui.messages[0], AllOf(HasSubstr("Setup_1.02.3.5.exe"), HasSubstr("não confere")));
  EXPECT_THAT(ui.messages[1],
              AllOf(HasSubstr("Setup_1.02.3.6.exe"), HasSubstr("assinatura não encontrada")));
  EXPECT_THAT(ui.messages[2], AllOf(HasSubstr("Setup_1.02.3.7.exe"), HasSubstr("outra chave")));
  EXPECT_THAT(ui.messages[3],
              AllOf(HasSubstr("Setup_1.02.3.8.exe"), HasSubstr("comentário confiável")));
  for (const char* name :
       {"Setup_1.02.3.5.exe", "Setup_1.02.3.6.exe", "Setup_1.02.3.7.exe", "Setup_1.02.3.8.exe"}) {
    EXPECT_FALSE(Exists(Cache(name))) << name;
    EXPECT_FALSE(Exists(Cache(std::string(name) + ".part"))) << name;
    EXPECT_FALSE(Exists(Cache(std::string(name) + ".minisig"))) << name;
  }
  // Nothing unsigned is even fetched.
  EXPECT_THAT(server.Targets(), Not(Contains("/download/kelva/Setup_1.02.3.6.exe")));
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
  const ServedRequest resumed = RequestFor("/download/kelva/Setup_1.02.3.5.exe");
  EXPECT_EQ(resumed.status, 206);
  EXPECT_EQ(resumed.bodyBytes, whole.size() - half);
  EXPECT_EQ(RequestFor("/download/kelva/Setup_1.02.3.6.exe").status, 416);
  EXPECT_EQ(RequestFor("/download/kelva/whole_1.02.3.7.exe").status, 200);
  EXPECT_EQ(app.Read(Cache("whole_1.02.3.7.exe")), whole);
  EXPECT_EQ(app.Read(Cache("Setup_1.02.3.5.exe")), whole);
  EXPECT_FALSE(Exists(Cache("Setup_1.02.3.5.exe.part")));
}

TEST_F(VerifiedUpdateTest, AnErrorAnswerStoresNothing) {
  std::filesystem::remove(FsPath(Publish("Setup_1.02.3.5.exe")));
  std::filesystem::remove(FsPath(Publish("Setup_1.02.3.6.exe")));
  app.Write(Cache("Setup_1.02.3.6.exe.part"), "the first bytes");
  List({"Setup_1.02.3.5.exe", "Setup_1.02.3.6.exe"});

  UpdateInstallation(ui, here);

  EXPECT_EQ(RequestFor("/download/kelva/Setup_1.02.3.5.exe").status, 404);
  EXPECT_FALSE(Exists(Cache("Setup_1.02.3.5.exe")));
  EXPECT_FALSE(Exists(Cache("Setup_1.02.3.5.exe.part")));
  // A part already there stays as it was, for a server that has it again.
  EXPECT_EQ(app.Read(Cache("Setup_1.02.3.6.exe.part")), "the first bytes");
  ASSERT_THAT(ui.messages, SizeIs(2));
  EXPECT_THAT(ui.messages[0], AllOf(HasSubstr("Setup_1.02.3.5.exe"), HasSubstr("404")));
  EXPECT_THAT(Runs(), IsEmpty());
}

TEST_F(VerifiedUpdateTest, ACachedInstallerChangedAfterItsDownloadIsRejectedThenFetchedAgain) {
  Publish("Setup_1.02.3.5.exe");
  List({"Setup_1.02.3.5.exe"});
  UpdateInstallation(ui, here);
  ASSERT_THAT(RunNames(), ElementsAre("Setup_1.02.3.5.exe"));

  app.Write(Cache("Setup_1.02.3.5.exe"), InstallerScript() + "\necho planted\n");
  PutInstaller("Setup_1.02.3.6.exe");  // cached before the key, or by someone else: no signature
  UpdateInstallation(ui, here);

  EXPECT_THAT(RunNames(), ElementsAre("Setup_1.02.3.5.exe"));
  ASSERT_THAT(ui.messages, SizeIs(2));
  EXPECT_THAT(ui.messages[0],
              AllOf(HasSubstr("Setup_1.02.3.5.exe"), HasSubstr("Setup_1.02.3.5.exe.rejected")));
  EXPECT_THAT(ui.messages[1], AllOf(HasSubstr("Setup_1.02.3.6.exe"), HasSubstr("assinatura")));
  EXPECT_FALSE(Exists(Cache("Setup_1.02.3.5.exe")));
  EXPECT_THAT(app.Read(Cache("Setup_1.02.3.5.exe.rejected")), HasSubstr("planted"));

  // The next start downloads it anew, and the genuine installer runs.
  UpdateInstallation(ui, here);
  EXPECT_THAT(RunNames(), ElementsAre("Setup_1.02.3.5.exe", "Setup_1.02.3.5.exe"));
  EXPECT_EQ(app.Read(Cache("Setup_1.02.3.5.exe")), InstallerScript());
  EXPECT_THAT(ui.messages, SizeIs(2));
}

}  // namespace
}  // namespace rotalis::test

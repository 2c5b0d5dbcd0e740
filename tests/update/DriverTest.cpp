// The update driver end to end: ping, downloads, the version record and the
// silent runs of newer installers, with real scripts as installers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <locale>
#include <memory>
#include <string>
#include <vector>

#include "config/IniFile.h"
#include "platform/AsciiCase.h"
#include "platform/Environment.h"
#include "platform/Exception.h"
#include "platform/FileLock.h"
#include "platform/FileSystem.h"
#include "platform/SystemInfo.h"
#include "tests/update/UpdateFixture.h"
#if defined(_WIN32)
#include <windows.h>

#include "platform/WideText_win.h"
#endif
#include "update/InstallerFolderLock.h"
#include "update/UpdateDriver.h"

namespace rotalis::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

class DriverTest : public UpdateTest {
 protected:
  DriverTest() {
    app.Write("KelvaERP.exe", "");
    server.PublishList("kelva", "{\"qtd\":0}");
  }

  std::string Versao(const std::string& file) const {
    return IniFile(app / file).ReadString("posi", "Versao", "<missing>");
  }

  // The folder's .ini files, whatever the case of their names.
  std::vector<std::string> IniFiles() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(app.Path())) {
      const std::string name = entry.path().filename().string();
      if (platform::AsciiLowered(entry.path().extension().string()) == ".ini")
        names.push_back(name);
    }
    return names;
  }
};

// One installer that cannot start is reported, and the next one still runs.
TEST_F(DriverTest, RunsOnlyTheNewerInstallers) {
  app.Write("kelvaERP.ini", "[posi]\r\nservidor=db\r\n");
  PutInstaller("Setup_1.02.3.4.exe");
  PutInstaller("Setup_1.02.3.5.exe");
#if defined(_WIN32)
  // Windows has no permission to run a file; it refuses one that is no program.
  app.Write("atualizadores_versao/Setup_1.02.3.9.exe", "not a program");
  const std::string refusal = platform::WindowsErrorMessage(ERROR_BAD_FORMAT);
#else
  std::filesystem::permissions(PutInstaller("Setup_1.02.3.9.exe"),
                               std::filesystem::perms::owner_read);
  const std::string refusal = "Permission denied";
#endif
  PutInstaller("Setup_1.02.4.0.exe");

  UpdateInstallation(ui, here);

  EXPECT_THAT(RunNames(), ElementsAre("Setup_1.02.3.5.exe", "Setup_1.02.4.0.exe"));
  EXPECT_EQ(ui.terminateCalls, 3);
  EXPECT_THAT(ui.messages,
              ElementsAre(AllOf(StartsWith("Não foi possível iniciar o instalador "),
                                HasSubstr("Setup_1.02.3.9.exe"), EndsWith(": " + refusal))));
  // Recorded in the edition's existing file, whatever the case of its name.
  EXPECT_EQ(app.Read("kelvaERP.ini"), "[posi]\r\nservidor=db\r\nVersao=10234\r\n");
  // No second file beside it (on Windows both spellings name this one file).
  EXPECT_THAT(IniFiles(), SizeIs(1));
}

// Installers run in the order people sort names in: case ignored, accented
// letters beside their base letter, a hyphen inside a word counting for
// nothing (the platform's collation under the user's locale). Byte order
// after ASCII case folding would run "Setup-b" first and "SetupÉ" last.
TEST_F(DriverTest, InstallersRunInThePlatformsOrderForPeople) {
#if !defined(_WIN32)
  // The Brazilian user's locale; Windows reads its own user locale.
  ASSERT_NO_THROW(std::locale("pt_BR.UTF-8"))
      << "the pt_BR.UTF-8 locale is missing (scripts/install-deps.sh generates it)";
  const std::string before = platform::GetEnvironment("LC_ALL").value_or("");
  platform::SetEnvironment("LC_ALL", "pt_BR.UTF-8");
  struct Restore {
    std::string value;
    ~Restore() { platform::SetEnvironment("LC_ALL", value); }
  } restore{before};
#endif
  for (const char* name : {"Setupf10300.exe",
                           "Setup\xC3\x89"
                           "10300.exe",
                           "SETUPC10300.exe", "Setup-b10300.exe", "Setupa10300.exe"})
    PutInstaller(name);

  UpdateInstallation(ui, here);

  EXPECT_THAT(RunNames(), ElementsAre("Setupa10300.exe", "Setup-b10300.exe", "SETUPC10300.exe",
                                      "Setup\xC3\x89"
                                      "10300.exe",
                                      "Setupf10300.exe"));
  EXPECT_EQ(ui.terminateCalls, 5);
}

TEST_F(DriverTest, UnreachableServerChangesNothing) {
  // A name no resolver accepts, so nothing is asked of any name server either:
  // the tests send nothing beyond loopback.
  here.deployment.updateServer = "not an address";
  server.PublishList("kelva", "{\"qtd\":1,\"nome-1\":\"Setup_9.exe\"}");
  server.PublishFile("kelva", "Setup_9.exe", InstallerScript());
  PutInstaller("Setup_2.exe");

  UpdateInstallation(ui, here);

  EXPECT_THAT(server.Targets(), IsEmpty());
  EXPECT_FALSE(Exists("kelvaerp.ini"));
  EXPECT_FALSE(Exists("atualizadores_versao/Setup_9.exe"));
  EXPECT_THAT(Runs(), IsEmpty());
  EXPECT_EQ(ui.terminateCalls, 0);
}

TEST_F(DriverTest, InstallerWithoutDigitsEndsTheStartUp) {
  PutInstaller("setup.exe");

  try {
    UpdateInstallation(ui, here);
    FAIL() << "an installer path without digits must raise";
  } catch (const Exception& error) {
    EXPECT_THAT(error.what(), HasSubstr("setup.exe"));
  }
  EXPECT_EQ(Versao("kelvaerp.ini"), "10234");  // written before the list is read
  EXPECT_THAT(Runs(), IsEmpty());
}

// Without an edition the list and the files are asked for under an empty key
// and the version goes to "erp.ini"; a launcher whose version cannot be read
// counts as "0000", so a downloaded installer with any number runs.
TEST_F(DriverTest, WithoutEditionOrVersionEveryNumberedInstallerRuns) {
  std::filesystem::remove(app / "KelvaERP.exe");
  app.Write(here.executablePath.substr(app.Path().size()), "no version in here");
  server.PublishList("", "{\"qtd\":1,\"nome-1\":\"Setup_1.exe\"}");
  server.PublishFile("", "Setup_1.exe", InstallerScript());

  UpdateInstallation(ui, here);

  EXPECT_THAT(server.Targets(), ElementsAre("/arquivos/", "/download//Setup_1.exe"));
  EXPECT_EQ(Versao("erp.ini"), "0000");
  EXPECT_THAT(RunNames(), ElementsAre("Setup_1.exe"));
}

// Between two rounds of a wait the test acts, as a person at the screen or
// the other workstation would; it sees the waiting form once there is one.
class WaitingApplication : public RecordingApplication {
 public:
  void ProcessMessages() override {
    RecordingApplication::ProcessMessages();
    if (onRound) onRound(waitForms.empty() ? nullptr : waitForms.back().get());
  }
  std::function<void(RecordingWaitForm*)> onRound;
};

// Another workstation holds the installer cache of the shared folder, through
// a handle of its own.
class AnotherWorkstation {
 public:
  explicit AnotherWorkstation(const TempFolder& app)
      : path_((platform::CreateDirectories(app / "atualizadores_versao"),
               app / "atualizadores_versao/rotalis.lock")),
        lock_(std::make_unique<platform::FileLock>(path_)) {
    if (!lock_->TryLock()) throw std::runtime_error("the installer cache was locked already");
  }
  void Name(const std::string& computer) { lock_->WriteNote(computer); }
  void Finish() { lock_.reset(); }
  bool Holding() const { return lock_ != nullptr; }
  // What someone arriving now reads, and whether they could take the lock.
  std::string Note() const { return platform::FileLock(path_).ReadNote(); }
  bool Free() const { return platform::FileLock(path_).TryLock(); }

 private:
  std::string path_;
  std::unique_ptr<platform::FileLock> lock_;
};

// The form says which computer to wait for, also when that one names itself
// only after the form is up; once the holder is done the form goes and this
// computer holds the folder under its own name.
TEST_F(DriverTest, AStartWaitingForAnotherWorkstationShowsWhichOneThenTakesOver) {
  AnotherWorkstation other(app);
  WaitingApplication waiting;
  waiting.onRound = [&](RecordingWaitForm* form) {
    if (form == nullptr || !other.Holding()) return;
    if (form->texts.size() == 1)
      other.Name("CAIXA-02");
    else
      other.Finish();
  };

  const InstallerFolderLock folder = LockInstallerFolder(waiting, here.folder);

  ASSERT_NE(folder.lock, nullptr);
  EXPECT_TRUE(folder.lock->Locked());
  EXPECT_FALSE(folder.givenUp);
  ASSERT_EQ(waiting.waitForms.size(), 1u);
  const RecordingWaitForm& form = *waiting.waitForms[0];
  EXPECT_TRUE(form.shown);
  EXPECT_THAT(form.texts, ElementsAre(HasSubstr("iniciada em outro computador."),
                                      HasSubstr("iniciada no computador CAIXA-02.")));
  EXPECT_TRUE(form.closed);
  EXPECT_THAT(waiting.released, ElementsAre(&form));
  EXPECT_EQ(other.Note(), platform::ComputerName());
}

// Closing the form ends this start where it stood: nothing fetched, no
// "Versao", no installer, no termination request, and the other workstation
// keeps its lock and its name in the lock file.
TEST_F(DriverTest, ClosingTheWaitingFormEndsTheStartLeavingTheFolderToTheOther) {
  server.PublishList("kelva", "{\"qtd\":1,\"nome-1\":\"Setup_1.02.4.0.exe\"}");
  server.PublishFile("kelva", "Setup_1.02.4.0.exe", InstallerScript());
  PutInstaller("Setup_1.02.3.5.exe");
  AnotherWorkstation other(app);
  other.Name("CAIXA-02");
  WaitingApplication waiting;
  waiting.onRound = [](RecordingWaitForm* form) {
    if (form != nullptr) form->Close();
  };

  EXPECT_EQ(UpdateInstallation(waiting, here), AfterUpdate::EndStart);

  ASSERT_EQ(waiting.waitForms.size(), 1u);
  EXPECT_THAT(waiting.waitForms[0]->texts, ElementsAre(WaitingText("CAIXA-02")));
  EXPECT_THAT(waiting.released, ElementsAre(waiting.waitForms[0].get()));
  EXPECT_THAT(server.Targets(), IsEmpty());
  EXPECT_THAT(IniFiles(), IsEmpty());
  EXPECT_THAT(Runs(), IsEmpty());
  EXPECT_EQ(waiting.terminateCalls, 0);
  EXPECT_THAT(waiting.messages, IsEmpty());
  EXPECT_FALSE(other.Free());
  EXPECT_EQ(other.Note(), "CAIXA-02");
}

}  // namespace
}  // namespace rotalis::test

#include "tests/update/UpdateFixture.h"

#include <filesystem>
#include <sstream>

#include "platform/Environment.h"
#include "tests/support/RecordingInstaller.h"
#include "tests/support/VersionedFile.h"

namespace rotalis::test {

// Installer numbers are read from the whole path, so the application folder
// must not add digits of its own.
UpdateTest::UpdateTest() : appFolder(DigitFreeTempFolder("rotalis-update")), app(*appFolder) {
  here.folder = app.Path();
#if defined(_WIN32)
  here.executablePath = app / "rotalis.exe";
#else
  here.executablePath = app / "rotalis";
#endif
  // The recording installer learns from its environment where to record.
  platform::SetEnvironment("ROTALIS_TEST_RUNS", app / "runs.log");
  WriteVersionedFile(here.executablePath, 1, 2, 3, 4);
  here.deployment.updateServer = "127.0.0.1";
}

std::string UpdateTest::InstallerScript() const { return RecordingInstallerBytes(); }

std::string UpdateTest::PutInstaller(const std::string& name) const {
  const std::string path = app.Write("atualizadores_versao/" + name, InstallerScript());
  // The name is UTF-8, which a narrow path means only on POSIX.
  std::filesystem::permissions(std::filesystem::path(std::u8string(path.begin(), path.end())),
                               std::filesystem::perms::owner_all);
  return path;
}

std::vector<InstallerRun> UpdateTest::Runs() const {
  std::vector<InstallerRun> runs;
  std::istringstream lines(ReadIfPresent(app / "runs.log"));
  for (std::string line; std::getline(lines, line);) {
    std::vector<std::string> fields;
    std::istringstream parts(line);
    for (std::string field; std::getline(parts, field, '\t');) fields.push_back(field);
    InstallerRun run;
    run.name = fields.front();
    for (std::size_t i = 1; i < fields.size(); ++i) {
      if (fields[i].rfind("PATH=", 0) == 0)
        run.path = fields[i].substr(5);
      else
        run.arguments.push_back(fields[i]);
    }
    runs.push_back(run);
  }
  return runs;
}

std::vector<std::string> UpdateTest::RunNames() const {
  std::vector<std::string> names;
  for (const auto& run : Runs()) names.push_back(run.name);
  return names;
}

bool UpdateTest::Exists(const std::string& relative) const {
  return std::filesystem::exists(app / relative);
}

}  // namespace rotalis::test

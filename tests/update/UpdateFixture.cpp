#include "tests/update/UpdateFixture.h"

#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "platform/Environment.h"
#include "tests/support/VersionedFile.h"
#if defined(_WIN32)
#include "tests/support/RecordingInstaller.h"
#endif

namespace rotalis::test {

namespace {

// Installer numbers are read from the whole path, so the application folder
// must not add digits of its own; a random folder name often has none.
std::unique_ptr<TempFolder> DigitFreeTempFolder() {
  for (int attempt = 0; attempt < 200; ++attempt) {
    auto folder = std::make_unique<TempFolder>("rotalis-update");
    if (folder->Path().find_first_of("0123456789") == std::string::npos) return folder;
  }
  throw std::runtime_error("no temporary folder without digits in its path");
}

}  // namespace

UpdateTest::UpdateTest() : appFolder(DigitFreeTempFolder()), app(*appFolder) {
  here.folder = app.Path();
#if defined(_WIN32)
  here.executablePath = app / "rotalis.exe";
  // The recording installer learns from its environment where to record.
  platform::SetEnvironment("ROTALIS_TEST_RUNS", app / "runs.log");
#else
  here.executablePath = app / "rotalis";
#endif
  WriteVersionedFile(here.executablePath, 1, 2, 3, 4);
  here.deployment.updateServer = "127.0.0.1";
}

std::string UpdateTest::InstallerScript() const {
#if defined(_WIN32)
  return RecordingInstallerBytes();
#else
  // One line per start: name, then each argument, then PATH, tab-separated.
  return "#!/bin/sh\n"
         "line=\"${0##*/}\"\n"
         "for a in \"$@\"; do line=\"$line\t$a\"; done\n"
         "printf '%s\\tPATH=%s\\n' \"$line\" \"$PATH\" >> '" +
         app / "runs.log" + "'\n";
#endif
}

std::string UpdateTest::PutInstaller(const std::string& name) const {
  const std::string path = app.Write("atualizadores_versao/" + name, InstallerScript());
  // The name is UTF-8, which a narrow path means only on POSIX.
  std::filesystem::permissions(std::filesystem::path(std::u8string(path.begin(), path.end())),
                               std::filesystem::perms::owner_all);
  return path;
}

std::vector<InstallerRun> UpdateTest::Runs() const {
  std::vector<InstallerRun> runs;
  if (!Exists("runs.log")) return runs;
  std::istringstream lines(app.Read("runs.log"));
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

bool UpdateTest::Exists(const std::string& relative) const {
  return std::filesystem::exists(app / relative);
}

}  // namespace rotalis::test

#include "tests/launcher/LauncherRun.h"

#include <thread>

#include "platform/ChildProcess.h"
#include "platform/FileSystem.h"
#include "tests/support/HostShell.h"
#include "tests/support/RecordingInstaller.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/mariadb/MariaDbTest.h"

namespace rotalis::test {

namespace {

#if defined(_WIN32)
constexpr const char* kLauncherName = "rotalis.exe";
constexpr const char* kWatcherName = "rotalis-crash-watcher.exe";
constexpr const char* kAppFolderName = "App X\\";
// Only the system folders: nothing the launcher's own folders could be.
constexpr const char* kUnrelatedPath = "C:\\windows\\system32;C:\\windows";
#else
constexpr const char* kLauncherName = "rotalis";
constexpr const char* kWatcherName = "rotalis-crash-watcher";
constexpr const char* kAppFolderName = "App X/";
constexpr const char* kUnrelatedPath = "/usr/local/bin:/usr/bin:/bin";
#endif

void CopyFile(const std::string& from, const std::string& to) {
  platform::WriteFileBytes(to, platform::ReadFileBytes(from));
}

// The symbol table the Windows build writes beside a program or DLL.
void CopySymbolTable(const std::string& from, const std::string& to) {
  if (platform::FileExists(from + ".sym")) CopyFile(from + ".sym", to + ".sym");
}

// The launcher's console text ends its lines the platform's way ("\r\n" on
// Windows, where its streams are in text mode); the tests compare lines.
std::string ConsoleLines(std::string text) {
#if defined(_WIN32)
  std::string lines;
  for (std::size_t at = 0; at < text.size(); ++at)
    if (!(text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n')) lines += text[at];
  return lines;
#else
  return text;
#endif
}

}  // namespace

LauncherFolder::LauncherFolder(const std::string& cnpj, const std::string& launcher)
    : temp_(DigitFreeTempFolder("rotalis-launcher")),
      // The build's paths are compiled in as host paths.
      launcher_(LocalPath(launcher.empty() ? ROTALIS_LAUNCHER_EXE : launcher)),
      folder_(*temp_ / kAppFolderName) {
  platform::CreateDirectories(folder_);
  CopyFile(launcher_, folder_ + kLauncherName);
  platform::MakeExecutable(folder_ + kLauncherName);

  MariaDbServer& server = SharedMariaDb();
  database_ = server.CreateDatabase();
  CreateCompany(server, database_, cnpj);
  platform::WriteFileBytes(folder_ + "KelvaERP.exe", "MZ");
  UseAccount(server.User(), server.Password());
}

void LauncherFolder::UseAccount(const std::string& user, const std::string& password) const {
  platform::WriteFileBytes(folder_ + "kelvaERP.ini",
                           SharedMariaDb().ConfigurationIni(database_, user, password));
}

void LauncherFolder::PutPackage(const std::string& variant, const std::string& subfolder) {
  const std::string source = LocalPath(variant == "sample" ? std::string(ROTALIS_SAMPLE_PACKAGE)
                                                           : std::string(ROTALIS_TEST_PACKAGES) +
                                                                 variant + "/mrotalis.bpl");
  const std::string target = subfolder.empty() ? folder_ : folder_ + subfolder + "/";
  platform::CreateDirectories(target);
  CopyFile(source, target + "mrotalis.bpl");
  CopySymbolTable(source, target + "mrotalis.bpl");
}

void LauncherFolder::PutCrashWatcher() {
  const std::string watcher = LocalPath(ROTALIS_CRASH_WATCHER);
  CopyFile(watcher, folder_ + kWatcherName);
  platform::MakeExecutable(folder_ + kWatcherName);
  CopySymbolTable(watcher, folder_ + kWatcherName);
  CopySymbolTable(launcher_, folder_ + kLauncherName);
}

std::string LauncherFolder::InstallerScript() { return RecordingInstallerBytes(); }

platform::ChildCommand LauncherFolder::Command(const std::string& input,
                                               const std::string& tag) const {
  // No display, so the console backend runs; a PATH that must not survive.
  platform::ChildCommand command;
  command.program = folder_ + kLauncherName;
  for (const auto& entry : platform::CurrentEnvironment()) {
    const std::string name = entry.substr(0, entry.find('='));
    if (name != "DISPLAY" && name != "WAYLAND_DISPLAY" && name != "PATH" &&
        name != "ROTALIS_TEST_MARKER")
      command.environment.push_back(entry);
  }
  command.environment.push_back(std::string("PATH=") + kUnrelatedPath);
  // The crash reporter counts this workstation's submissions there: each
  // folder starts with the whole hourly allowance.
  command.environment = WithTemporaryFolder(command.environment, temp_->Path());
  command.environment.push_back("ROTALIS_TEST_MARKER=" + *temp_ / "marker.txt");
  command.inputFile = temp_->Write("input" + tag + ".txt", input);
  command.outputFile = *temp_ / ("output" + tag + ".txt");
  command.errorFile = *temp_ / ("errors" + tag + ".txt");
  return command;
}

LauncherRun LauncherFolder::Finished(const platform::ChildCommand& command, int exitStatus) {
  LauncherRun run;
  run.exitStatus = exitStatus;
  run.output = ConsoleLines(ReadIfPresent(command.outputFile));
  run.errors = ConsoleLines(ReadIfPresent(command.errorFile));
  return run;
}

std::string LauncherFolder::TakeMarker() const {
  std::string marker = ReadIfPresent(*temp_ / "marker.txt");
  platform::WriteFileBytes(*temp_ / "marker.txt", "");
  return marker;
}

LauncherRun LauncherFolder::Run(const std::string& input) const {
  const platform::ChildCommand command = Command(input, "");
  LauncherRun run = Finished(command, platform::RunChildToEnd(command));
  run.marker = TakeMarker();
  return run;
}

std::vector<LauncherRun> LauncherFolder::RunTogether(int count, const std::string& input) const {
  std::vector<platform::ChildCommand> commands;
  for (int i = 0; i < count; ++i) commands.push_back(Command(input, "-" + std::to_string(i)));
  std::vector<int> statuses(commands.size(), -1);
  {
    std::vector<std::jthread> starts;
    for (std::size_t i = 0; i < commands.size(); ++i)
      starts.emplace_back(
          [&commands, &statuses, i] { statuses[i] = platform::RunChildToEnd(commands[i]); });
  }
  std::vector<LauncherRun> runs;
  const std::string marker = TakeMarker();
  for (std::size_t i = 0; i < commands.size(); ++i) {
    runs.push_back(Finished(commands[i], statuses[i]));
    runs.back().marker = marker;
  }
  return runs;
}

}  // namespace rotalis::test

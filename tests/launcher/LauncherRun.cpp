#include "tests/launcher/LauncherRun.h"

#include "platform/ChildProcess.h"
#include "platform/FileSystem.h"

namespace rotalis::test {

namespace {

void CopyFile(const std::string& from, const std::string& to) {
  platform::WriteFileBytes(to, platform::ReadFileBytes(from));
}

std::string ReadIfPresent(const std::string& path) {
  return platform::FileExists(path) ? platform::ReadFileBytes(path) : std::string();
}

}  // namespace

LauncherFolder::LauncherFolder() : temp_("rotalis-launcher"), folder_(temp_ / "App X/") {
  platform::CreateDirectories(folder_);
  CopyFile(ROTALIS_LAUNCHER_EXE, folder_ + "rotalis");
  platform::MakeExecutable(folder_ + "rotalis");
}

void LauncherFolder::PutPackage(const std::string& variant, const std::string& subfolder) {
  const std::string source = variant == "sample"
                                 ? std::string(ROTALIS_SAMPLE_PACKAGE)
                                 : std::string(ROTALIS_TEST_PACKAGES) + variant + "/mrotalis.bpl";
  const std::string target = subfolder.empty() ? folder_ : folder_ + subfolder + "/";
  platform::CreateDirectories(target);
  CopyFile(source, target + "mrotalis.bpl");
}

LauncherRun LauncherFolder::Run(const std::string& input) const {
  // No display, so the console backend runs; a PATH that must not survive.
  platform::ChildCommand command;
  command.program = folder_ + "rotalis";
  for (const auto& entry : platform::CurrentEnvironment()) {
    const std::string name = entry.substr(0, entry.find('='));
    if (name != "DISPLAY" && name != "WAYLAND_DISPLAY" && name != "PATH" &&
        name != "ROTALIS_TEST_MARKER")
      command.environment.push_back(entry);
  }
  command.environment.push_back("PATH=/usr/local/bin:/usr/bin:/bin");
  command.environment.push_back("ROTALIS_TEST_MARKER=" + temp_ / "marker.txt");
  command.inputFile = temp_.Write("input.txt", input);
  command.outputFile = temp_ / "output.txt";
  command.errorFile = temp_ / "errors.txt";

  LauncherRun run;
  run.exitStatus = platform::RunChildToEnd(command);
  run.output = ReadIfPresent(command.outputFile);
  run.errors = ReadIfPresent(command.errorFile);
  run.marker = ReadIfPresent(temp_ / "marker.txt");
  platform::WriteFileBytes(temp_ / "marker.txt", "");
  return run;
}

}  // namespace rotalis::test

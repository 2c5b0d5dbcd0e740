#include "update/UpdateDriver.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <vector>

#include "config/ConfigFile.h"
#include "config/IniFile.h"
#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/Process.h"
#include "platform/TextCollation.h"
#include "rules/RuleSync.h"
#include "update/CachedInstallerCheck.h"
#include "config/Edition.h"
#include "update/ExeFiles.h"
#include "update/FileVersionText.h"
#include "update/InstallerFolderLock.h"
#include "update/UpdateDownload.h"
#include "update/UpdateList.h"
#include "update/UpdateServer.h"

namespace rotalis {
namespace {

constexpr const char* kInstallerArguments = "  /silent /nocancel  /ALLUSERS ";
constexpr int kWaitSliceMs = 50;

std::string WithoutDots(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '.'), text.end());
  return text;
}

// Reads a text of digits as a number. A path without digits gives an empty
// text, which is no number: the start-up ends there rather than guessing.
double ReadNumber(const std::string& digits, const std::string& source) {
  double value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error == std::errc::result_out_of_range) return std::numeric_limits<double>::infinity();
  if (digits.empty() || error != std::errc() || end != digits.data() + digits.size())
    throw Exception("'" + digits + "' não é um número válido (tirado de '" + source + "')");
  return value;
}

// The platform's case-insensitive order under the user's locale, so that
// A_10250.exe runs before b_10300.exe and "Instalação" sits among the I's;
// names it holds equal keep a fixed order among themselves.
bool LessForPeople(const std::string& a, const std::string& b) {
  const int order = platform::CompareTextIgnoringCase(a, b);
  return order != 0 ? order < 0 : a < b;
}

}  // namespace

AfterUpdate RunUpdate(ui::Application& app, const Installation& here) {
  // Always first, whether or not the update server answers; an error here ends
  // the start-up before any installer runs.
  SyncTaxRules(app, here);
  return UpdateInstallation(app, here);
}

AfterUpdate UpdateInstallation(ui::Application& app, const Installation& here,
                               const ProgramStart& start) {
  if (!ServerReachable(here.deployment.updateServer, kUpdateServerPingMs))
    return AfterUpdate::LoadModule;
  // Held until the installers have run: a start that waited finds what the
  // one before it downloaded, and reads the version that one installed.
  const auto folderLock = LockInstallerFolder(app, here.folder);
  if (folderLock.givenUp) return AfterUpdate::EndStart;
  DownloadUpdates(app, here);

  // The version that runs now, before any installer replaces it.
  const std::string version = WithoutDots(FileVersionText(here.executablePath));
  IniFile(VersionConfigFile(here.folder, DetectEdition(here.folder)))
      .WriteString(kConfigSection, "Versao", version);

  std::string folder = InstallerFolder(here.folder);
  folder.pop_back();  // listed without its trailing separator
  std::vector<std::string> installers;
  ListExeFiles(folder, installers);
  std::sort(installers.begin(), installers.end(), LessForPeople);

  const double running = ReadNumber(version, here.executablePath);
  // In verified mode each installer's signature is checked right before it
  // runs: the shell's warning about a file from a file server would only stop
  // the silent update at a box nobody answers.
  const platform::ZoneCheck zoneCheck = here.deployment.updatePublicKey.empty()
                                            ? platform::ZoneCheck::Ask
                                            : platform::ZoneCheck::Skip;
  for (const auto& installer : installers) {
    const double offered = ReadNumber(DigitsOnly(installer), installer);
    if (!(running < offered) || !platform::FileExists(installer)) continue;
    if (!CachedInstallerMayRun(app, here.deployment, installer)) continue;
    // The launcher closes once the installers have run: its loop ends at once.
    app.Terminate();
    RunAndWait(app, installer, kInstallerArguments, zoneCheck, start);
  }
  return AfterUpdate::LoadModule;
}

std::string DigitsOnly(const std::string& text) {
  std::string digits;
  for (char c : text)
    if (c >= '0' && c <= '9') digits += c;
  return digits;
}

int RunAndWait(ui::Application& app, const std::string& path, const std::string& arguments,
               platform::ZoneCheck zoneCheck, const ProgramStart& start) {
  std::optional<platform::ChildProcess> child;
  try {
    child.emplace(start(path, arguments, zoneCheck));
  } catch (const Exception& error) {
    // The system's text alone ("Permission denied") does not say which of
    // the cached installers it is about.
    app.ShowMessage("Não foi possível iniciar o instalador " + path + ": " + error.what());
    return -1;
  }
  while (!child->WaitFor(kWaitSliceMs)) app.ProcessMessages();
  return -1;
}

}  // namespace rotalis

#pragma once
// An application folder with a blank in its name ("App X") holding a copy of
// the real launcher binary and a site it can start against: the edition
// executable "KelvaERP.exe" and its configuration file "kelvaERP.ini", which
// points at a fresh database of the test program's private MariaDB holding
// the ERP tables and a company. The cloud fixture on the compiled address
// (SharedCloud) answers the company's rules. A test puts module packages in
// place, then runs the launcher without a display.

#include <memory>
#include <string>
#include <vector>

#include "platform/ChildProcess.h"
#include "tests/support/TempFolder.h"

namespace rotalis::test {

// The document of the company a launcher folder's database names by default.
inline constexpr const char* kCompanyCnpj = "12345678000190";

struct LauncherRun {
  int exitStatus = -1;
  // Standard output and standard error (where the console backend shows
  // everything), their lines ending with "\n" on every platform.
  std::string output;
  std::string errors;
  // What the test packages and installers wrote (see packages/), as written.
  std::string marker;
};

class LauncherFolder {
 public:
  // The company's document is `cnpj` (digits only). The
  // launcher is the build's own unless `launcher` names another build of it.
  explicit LauncherFolder(const std::string& cnpj = kCompanyCnpj, const std::string& launcher = "");

  // The application folder, with trailing separator. Its path holds no digit
  // besides the ones the test adds: installer numbers are read from the whole
  // path.
  const std::string& Folder() const { return folder_; }
  // The database the configuration file names.
  const std::string& Database() const { return database_; }

  // Points the configuration file at another account of the same server.
  void UseAccount(const std::string& user, const std::string& password) const;

  // Copies the test package `variant` ("standard", "lowercase", "othername",
  // "newcontract", "shortspec", "eventcrash", or "sample" for the sample
  // package) into the folder below the application folder ("" for the
  // application folder itself), with its symbol table where the build makes one.
  void PutPackage(const std::string& variant, const std::string& subfolder);

  // Puts the crash watcher beside the launcher, as a deployment does, with
  // the symbol tables of both where the build makes them. Without it the
  // launcher reports exceptions itself and faults end it unreported.
  void PutCrashWatcher();

  // An installer for the update server to hand out, which appends
  // "installer <file name> <arguments> PATH=<its PATH>" to the marker file
  // (see RecordingInstaller.h).
  static std::string InstallerScript();

  // Runs the launcher with `input` as standard input, PATH set to an
  // unrelated value beforehand.
  LauncherRun Run(const std::string& input = "") const;
  // Starts `count` launchers from this folder at once, as the workstations
  // of an office do from one shared folder, and waits for all of them. Each
  // run carries the marker all of them wrote together.
  std::vector<LauncherRun> RunTogether(int count, const std::string& input = "") const;

 private:
  platform::ChildCommand Command(const std::string& input, const std::string& tag) const;
  static LauncherRun Finished(const platform::ChildCommand& command, int exitStatus);
  std::string TakeMarker() const;

  std::unique_ptr<TempFolder> temp_;
  std::string launcher_;
  std::string folder_;
  std::string database_;
};

}  // namespace rotalis::test

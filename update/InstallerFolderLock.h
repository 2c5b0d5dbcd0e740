#pragma once
// One update step per application folder at a time. Workstations often start
// from one application folder on a file server: two downloads into the same
// cache would write one file twice, and one start could run an installer that
// another start is still writing.

#include <memory>
#include <string>

#include "platform/FileLock.h"
#include "ui/Application.h"

namespace rotalis {

// The lock file inside the installer cache. Its holder writes its computer
// name into it (FileLock::WriteNote) for those who wait.
inline constexpr const char* kInstallerLockName = "rotalis.lock";
// The form a start shows while it waits for another workstation's update.
inline constexpr const char* kWaitFormName = "fEsperaAtualizacao";

// What waiting for the installer cache came to.
struct InstallerFolderLock {
  // Held, or null when the lock file cannot be had at all (a cache nobody may
  // write to): the step then goes on unlocked, as its own writes will fail
  // and say so.
  std::unique_ptr<platform::FileLock> lock;
  // The user closed the waiting form: this start gives up before touching
  // the cache.
  bool givenUp = false;
};

// Takes the exclusive lock on the installer cache of the application folder
// (creating the cache when missing) and writes this computer's name into it.
// While another start holds it, the application keeps processing its
// messages, and a wait longer than a moment shows the form kWaitFormName
// naming the computer that holds the lock; closing that form gives up.
InstallerFolderLock LockInstallerFolder(ui::Application& app, const std::string& applicationFolder);

// The waiting form's text for the computer named in the lock file ("" when
// it names none).
std::string WaitingText(const std::string& holder);

}  // namespace rotalis

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

// The lock file inside the installer cache.
inline constexpr const char* kInstallerLockName = "rotalis.lock";

// Takes the exclusive lock on the installer cache of the application folder
// (creating the cache when missing), waiting as long as another start holds
// it while the application keeps processing its messages. Null when the lock
// file cannot be had at all (a cache nobody may write to): the step then goes
// on unlocked, as its own writes will fail and say so.
std::unique_ptr<platform::FileLock> LockInstallerFolder(ui::Application& app,
                                                        const std::string& applicationFolder);

}  // namespace rotalis

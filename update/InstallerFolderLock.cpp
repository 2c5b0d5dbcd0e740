#include "update/InstallerFolderLock.h"

#include <chrono>
#include <exception>

#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "update/UpdateDownload.h"

namespace rotalis {

std::unique_ptr<platform::FileLock> LockInstallerFolder(ui::Application& app,
                                                        const std::string& applicationFolder) {
  constexpr std::chrono::milliseconds kSlice(50);
  std::unique_ptr<platform::FileLock> lock;
  try {
    const std::string folder = InstallerFolder(applicationFolder);
    platform::CreateDirectories(folder);
    lock = std::make_unique<platform::FileLock>(platform::JoinPath(folder, kInstallerLockName));
  } catch (const std::exception&) {
    return nullptr;
  }
  // The windows stay alive while another workstation downloads or installs.
  while (!lock->LockWithin(kSlice)) app.ProcessMessages();
  return lock;
}

}  // namespace rotalis

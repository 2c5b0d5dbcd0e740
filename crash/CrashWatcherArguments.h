#pragma once
// The command line of the crash watcher: what it must know of the watched
// program that it cannot read from the crashed process.

#include <string>
#include <vector>

#include "crash/CrashEvent.h"
#include "ui/Backend.h"

namespace rotalis::crash {

struct WatcherOptions {
  std::string executablePath;
  std::string folder;  // where the report file goes
  std::string trackerUrl;
  ui::BackendKind backend = ui::BackendKind::Console;
  std::string channel;  // to the watched process; InstallFatalSignalWatcher adds it
};

std::vector<std::string> WatcherArguments(const std::string& watcherPath,
                                          const ApplicationInfo& application,
                                          const std::string& trackerUrl, ui::BackendKind backend);

// Raises rotalis::Exception for a command line WatcherArguments and
// InstallFatalSignalWatcher did not make.
WatcherOptions ParseWatcherArguments(const std::vector<std::string>& arguments);

}  // namespace rotalis::crash

#include "crash/CrashWatcherArguments.h"

#include "platform/Exception.h"
#include "platform/FatalSignal.h"

namespace rotalis::crash {

std::vector<std::string> WatcherArguments(const std::string& watcherPath,
                                          const ApplicationInfo& application,
                                          const std::string& trackerUrl, ui::BackendKind backend) {
  return {watcherPath,
          "--executable",
          application.executablePath,
          "--folder",
          application.folder,
          "--tracker",
          trackerUrl,
          "--ui",
          backend == ui::BackendKind::Desktop ? "desktop" : "console"};
}

WatcherOptions ParseWatcherArguments(const std::vector<std::string>& arguments) {
  WatcherOptions options;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const std::string& name = arguments[i];
    if (i + 1 >= arguments.size()) throw Exception("Missing value after " + name);
    const std::string& value = arguments[++i];
    if (name == "--executable") {
      options.executablePath = value;
    } else if (name == "--folder") {
      options.folder = value;
    } else if (name == "--tracker") {
      options.trackerUrl = value;
    } else if (name == platform::kWatcherChannelOption) {
      options.channel = value;
    } else if (name == "--ui") {
      if (value != "console" && value != "desktop")
        throw Exception("Unknown user interface " + value);
      options.backend = value == "desktop" ? ui::BackendKind::Desktop : ui::BackendKind::Console;
    } else {
      throw Exception("Unknown argument " + name);
    }
  }
  if (options.executablePath.empty() || options.folder.empty() || options.channel.empty()) {
    throw Exception("The crash watcher needs --executable, --folder and --channel");
  }
  return options;
}

}  // namespace rotalis::crash

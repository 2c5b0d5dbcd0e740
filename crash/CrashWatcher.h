#pragma once
// The crash watcher's work, from its command line to its end: it waits for the
// watched program to crash, builds the report from the stopped process, saves
// and submits it, shows the dialog, and lets the process end (or restarts the
// program). The shipped watcher program shows the dialog of the backend its
// command line names; a test's watcher may show another.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ui/Backend.h"
#include "ui/CrashUi.h"

namespace rotalis::crash {

using CrashUiMaker = std::function<std::unique_ptr<ui::CrashUi>(ui::BackendKind)>;

// `arguments`: the watcher's command line (WatcherArguments and the channel),
// program name first. Returns the watcher's exit status: 0 also when the
// program ended without crashing.
int RunCrashWatcher(const std::vector<std::string>& arguments, const CrashUiMaker& makeUi);

}  // namespace rotalis::crash

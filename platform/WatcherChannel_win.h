#pragma once
// The channel between a watched program and its crash watcher on Windows:
// the fault record in memory both processes map, an event the program sets
// once the record is filled, one the watcher sets once it is done with the
// program, and the program's own process handle, which tells the watcher that
// the program ended without crashing. The watcher inherits the handles; their
// values travel on its command line. For the FatalSignal files only.

#include <windows.h>

#include <string>

namespace rotalis::platform {

struct WatcherChannelHandles {
  HANDLE record = nullptr;   // a file mapping of one FatalErrorRecord
  HANDLE crashed = nullptr;  // manual-reset event
  HANDLE done = nullptr;     // manual-reset event
  HANDLE program = nullptr;  // the watched process: SYNCHRONIZE
};

// "record:crashed:done:program", each handle's value in decimal.
std::string WatcherChannelText(const WatcherChannelHandles& handles);
// Raises rotalis::Exception for a text WatcherChannelText did not make.
WatcherChannelHandles ParseWatcherChannelText(const std::string& text);

}  // namespace rotalis::platform

#pragma once
// The process-wide crash reporter: installed first thing in the program, it
// takes every error nobody handled — one that leaves the program body, one
// that escapes an event handler of the message loop, one that ends a thread
// (std::terminate), and faults (fatal signals, structured exceptions) — and
// carries out what the user chose.

#include <exception>
#include <functional>
#include <memory>
#include <string>

#include "crash/CrashEvent.h"
#include "crash/CrashSettings.h"
#include "ui/Backend.h"
#include "ui/CrashUi.h"

namespace rotalis::crash {

struct CrashReporterSetup {
  TCrashSettings settings;      // TCrashSettings::ForDeployment(...)
  ApplicationInfo application;  // ApplicationInfo::Current(), folder may be changed
  ui::BackendKind backend = ui::BackendKind::Console;
  // The watcher program for faults (fatal signals, structured exceptions) and
  // std::terminate, shipped beside the program as kCrashWatcherName; empty:
  // errors that end the process are reported in the process itself and
  // faults are not caught.
  std::string watcherPath;
  // Builds the crash user interface at the first error; empty: the one of
  // `backend`.
  std::function<std::unique_ptr<ui::CrashUi>()> makeUi;
};

// The watcher's file name beside the program.
#if defined(_WIN32)
inline constexpr const char* kCrashWatcherName = "rotalis-crash-watcher.exe";
#else
inline constexpr const char* kCrashWatcherName = "rotalis-crash-watcher";
#endif

// Call once, before anything else runs. The crash user interface is built at
// the first error, so that the desktop one finds the program's application
// object. Returns why the watcher could not be started (fatal signals then
// end the process unreported); empty when it runs or none was asked for.
std::string InstallCrashReporter(CrashReporterSetup setup);

// For an error that left the program body: reports it and ends the process
// (or restarts it), as the user chooses.
[[noreturn]] void ReportFatalException(std::exception_ptr error);

// For the message loop (ui::Application::SetEventExceptionHandler): reports
// the error and returns when the user chose to continue the application;
// restart and close end the process here.
void ReportEventException(std::exception_ptr error);

}  // namespace rotalis::crash

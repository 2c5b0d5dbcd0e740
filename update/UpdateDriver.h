#pragma once
// The update step of every start: rule synchronisation first, then, when the
// update server answers, downloads, the version record and the silent run of
// every newer installer.

#include <functional>
#include <string>

#include "config/Installation.h"
#include "platform/Process.h"
#include "ui/Application.h"

namespace rotalis {

// Whether the start-up goes on to the module package after the update step.
// It ends when the user gave up waiting for another workstation's update of
// the same application folder: that update may be replacing the package and
// its libraries right then, and a package loaded from a shared folder would
// also keep its installer from replacing it.
enum class AfterUpdate { LoadModule, EndStart };

// How the driver starts a program: platform::StartProcess, or a test's
// recorder that passes the start on to it.
using ProgramStart = std::function<platform::ChildProcess(
    const std::string& path, const std::string& arguments, platform::ZoneCheck)>;

// SyncTaxRules, then UpdateInstallation. Errors of either leave it.
AfterUpdate RunUpdate(ui::Application& app, const Installation& here);

// Everything after the rule synchronisation. With a public key in the
// deployment, an installer that no longer verifies is renamed ".rejected"
// instead of run (CachedInstallerMayRun). Returns at once when the update
// server does not answer the ping. Otherwise: DownloadUpdates; "Versao" (the
// launcher's version without dots) written to section "posi" of edition key +
// "erp.ini"; then, in case-insensitive order of the installer cache, every
// installer whose path digits exceed that version is run with
// "  /silent /nocancel  /ALLUSERS " after a termination request; with a
// public key, installers (just verified) are started without the shell's zone
// check. Raises when the configuration file cannot be written or an installer
// path holds no digit. Downloads and installer runs hold the installer cache's
// lock (LockInstallerFolder); when the user closes the form of that wait,
// nothing more is done (no download, no "Versao", no installer) and the result
// is EndStart.
AfterUpdate UpdateInstallation(ui::Application& app, const Installation& here,
                               const ProgramStart& start = platform::StartProcess);

// The characters '0'..'9' of the text, in order.
std::string DigitsOnly(const std::string& text);

// Starts the program with the argument text and waits for it to end, letting
// the application process its messages every 50 ms. A program that cannot be
// started is reported in a message box that names it and gives the system's
// text. Always returns -1.
int RunAndWait(ui::Application& app, const std::string& path, const std::string& arguments,
               platform::ZoneCheck zoneCheck = platform::ZoneCheck::Ask,
               const ProgramStart& start = platform::StartProcess);

}  // namespace rotalis

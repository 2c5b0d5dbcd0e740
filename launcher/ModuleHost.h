#pragma once
// Hosts the module package "mrotalis.bpl": every form of the module lives
// there; the launcher loads it once and lets it create the main form.

#include <memory>
#include <string>

#include "launcher/PackageBridge.h"
#include "ui/Application.h"

namespace rotalis {

inline constexpr const char* kModulePackageFile = "mrotalis.bpl";
inline constexpr const char* kMainFormName = "FprinciRotalis";

// Looks for "mrotalis.bpl" in the application folder, then in each folder of
// the process PATH in order, loads the first found (running its
// initialisation) and calls its export "MainForm" once with the application
// object. The package is never unloaded.
// Raises rotalis::Exception when the package is in none of the folders or
// cannot be loaded, when it was built for a newer contract than this
// launcher's or declares none, and when the package reported a failure.
// A package without the export "MainForm" (exact case) is no error: nothing
// happens, and nullptr is returned.
//
// The returned bridge is the application object as the package sees it. The
// package may keep it and use it from its event handlers, so the caller keeps
// it for as long as `app` lives and its message loop runs.
std::unique_ptr<PackageBridge> LoadModulePackage(ui::Application& app,
                                                 const std::string& applicationFolder);

}  // namespace rotalis

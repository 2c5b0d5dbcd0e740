#pragma once
// The last look at a cached installer before the update driver starts it.

#include <string>

#include "config/Deployment.h"
#include "ui/Application.h"

namespace rotalis {

// Without a public key in the deployment, true: the cache is trusted as it
// is. With one, true only when the installer still verifies against the
// ".minisig" beside it: the cache is a folder anyone with file access may
// write, so a file checked at its download may have changed since. One that
// fails is renamed to its name + ".rejected" (it is then missing from the
// cache and downloaded anew at the next start), and a message box says so.
bool CachedInstallerMayRun(ui::Application& app, const Deployment& deployment,
                           const std::string& installerPath);

}  // namespace rotalis

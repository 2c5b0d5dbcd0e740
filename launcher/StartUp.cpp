#include "launcher/StartUp.h"

#include "launcher/ModuleHost.h"
#include "launcher/SearchPath.h"
#include "platform/Environment.h"
#include "update/UpdateDriver.h"

namespace rotalis {

int RunLauncher(ui::Application& app, const Installation& here) {
  // Replaced, not extended: the installers run by the update step inherit
  // exactly these folders.
  platform::SetEnvironment("PATH", ModuleSearchPath(here.folder));
  // Given up while another workstation updated this folder: nothing of this
  // start is left half done, and nothing more is to be done.
  if (RunUpdate(app, here) == AfterUpdate::EndStart) return 0;
  // The package may keep its application object for its event handlers.
  const auto package = LoadModulePackage(app, here.folder);
  app.SetMainForm(app.FindComponent(kMainFormName));
  app.Run();
  return 0;
}

}  // namespace rotalis

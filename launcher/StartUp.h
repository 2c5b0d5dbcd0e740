#pragma once
// The launcher's start-up, from the search path to the end of the message
// loop. The program body calls it once, inside whatever catches the errors
// that leave it.

#include "config/Installation.h"
#include "ui/Application.h"

namespace rotalis {

// In this order: PATH replaced by the application folder's four folders, the
// update step, the module package loaded, "FprinciRotalis" (as owned directly
// by the application object, possibly absent) made the main form, the message
// loop run. An error in any step ends the sequence there and leaves this
// function. A user who stops waiting for another workstation's update ends
// it after the update step, without the package (see AfterUpdate). Returns
// the process exit status of a normal end, 0.
int RunLauncher(ui::Application& app, const Installation& here);

}  // namespace rotalis

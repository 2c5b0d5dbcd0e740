#pragma once
// The update step of every start: rule synchronisation first, then, when the
// update server answers, downloads, the version record and the silent run of
// every newer installer.

#include <string>

#include "config/Installation.h"
#include "ui/Application.h"

namespace rotalis {

void RunUpdate(ui::Application& app, const Installation& here);

// The characters '0'..'9' of the text, in order.
std::string DigitsOnly(const std::string& text);

// Starts the program with the argument text and waits for it to end, letting
// the application process its messages meanwhile. Always returns -1.
int RunAndWait(ui::Application& app, const std::string& path, const std::string& arguments);

}  // namespace rotalis

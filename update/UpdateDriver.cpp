#include "update/UpdateDriver.h"

// Placeholder until the update work lands: the start-up calls it already.
namespace rotalis {

void RunUpdate(ui::Application&, const Installation&) {}

std::string DigitsOnly(const std::string& text) {
  std::string digits;
  for (char c : text)
    if (c >= '0' && c <= '9') digits += c;
  return digits;
}

int RunAndWait(ui::Application&, const std::string&, const std::string&) { return -1; }

}  // namespace rotalis

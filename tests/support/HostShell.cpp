#include "tests/support/HostShell.h"

#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace rotalis::test {

std::string ShellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

void AwaitFixtureReady(const std::string& stateFile, const std::string& what, int seconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  std::string state;
  while (true) {
    std::ostringstream content;
    content << std::ifstream(stateFile, std::ios::binary).rdbuf();
    state = content.str();
    if (!state.empty() || std::chrono::steady_clock::now() >= deadline) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (state.rfind("ready", 0) != 0) {
    throw std::runtime_error(
        "the " + what + " did not start: " +
        (state.empty() ? "no answer within " + std::to_string(seconds) + " s" : state));
  }
}

}  // namespace rotalis::test

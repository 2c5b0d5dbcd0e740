#include "tests/support/HostShell.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace rotalis::test {

std::string ShellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::unique_ptr<HostProcess> StartFixture(const std::string& command, const TempFolder& folder,
                                          const std::string& what) {
  auto process = std::make_unique<HostProcess>(
      command + " >" + ShellQuoted(HostPath(folder / "server.log")) + " 2>&1");
  // Slow machines take their time to make a fixture's certificates.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  std::string state;
  while ((state = ReadIfPresent(folder / "state")).empty() &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (state.rfind("ready", 0) != 0) {
    throw std::runtime_error("the " + what + " did not start: " +
                             (state.empty() ? "no answer within a minute; its log:\n" +
                                                  ReadIfPresent(folder / "server.log")
                                            : state));
  }
  return process;
}

}  // namespace rotalis::test

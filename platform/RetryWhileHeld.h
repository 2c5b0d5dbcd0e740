#pragma once
// Waiting out a file that another program holds for a moment.
//
// On a shared application folder the files the program replaces are opened
// by others: an antivirus scanning what was just written, another
// workstation reading the same configuration file, a backup agent. Such a
// hold lasts well under a second as a rule, and the system refuses a replace
// or removal meanwhile. A start that fails for it, when a moment later the
// same step would succeed, is worse than a start that waits a little.

#include <algorithm>
#include <chrono>
#include <thread>

namespace rotalis::platform {

// How long a refused step is tried again before its error stands.
inline constexpr std::chrono::milliseconds kHeldFilePatience{5000};

// Calls `attempt` (0 on success, else the system's error number) until it
// succeeds, fails with an error `held` does not accept, or kHeldFilePatience
// has passed; returns its last result. The pauses grow, so that a short hold
// costs little and a long one few tries.
template <typename Attempt, typename Held>
auto RetryWhileHeld(const Attempt& attempt, const Held& held) {
  const auto giveUp = std::chrono::steady_clock::now() + kHeldFilePatience;
  std::chrono::milliseconds pause{10};
  for (;;) {
    const auto error = attempt();
    if (error == 0 || !held(error) || std::chrono::steady_clock::now() >= giveUp) return error;
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::milliseconds{250});
  }
}

}  // namespace rotalis::platform

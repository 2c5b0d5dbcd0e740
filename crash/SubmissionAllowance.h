#pragma once
// At most a handful of submissions from one workstation in any hour, so that
// a program that crashes at every start, on every workstation, does not flood
// the tracker; the reports beyond wait in the report file for a later start.
// The count lives in the workstation's temporary folder, shared by every
// program on it (the application folder may be shared by many workstations).

#include <chrono>
#include <string>

namespace rotalis::crash {

inline constexpr int kSubmissionsPerHour = 5;

// True, and counted in the log at `logPath`, when fewer than `perHour`
// submissions were counted there in the hour before `now`. A log that cannot
// be read or written allows the submission: the limit must not lose reports.
bool TakeSubmissionAllowance(const std::string& logPath, int perHour,
                             std::chrono::system_clock::time_point now);

// The same for this workstation's log, now.
bool TakeSubmissionAllowance();

}  // namespace rotalis::crash

#pragma once
// One report on its way to the tracker, from a crash just now or waiting in
// the report file since an earlier one: the issue it becomes, the note it
// adds to the open issue of its cause instead, and the hourly allowance of
// the workstation.

#include <string>
#include <vector>

#include "crash/CrashSettings.h"
#include "crash/MantisSoap.h"
#include "crash/MantisSubmitter.h"
#include "net/HttpTransport.h"

namespace rotalis::crash {

// `text` with %appname%, %exceptMsg% and %errorDetails% filled.
std::string FillPlaceholders(std::string text, const std::string& applicationName,
                             const std::string& exceptionMessage, const std::string& report);

// The new issue for a report, as the settings describe it.
MantisIssue IssueForReport(const TCrashSettings& settings, const std::string& applicationName,
                           const std::string& exceptionMessage, const std::string& report);

// The note a report adds to the open issue of the same cause: the computer,
// user, version, date and time and exception message of its header.
std::string NoteForReport(const std::string& report);

// Submits the report grouped by its signature, if the workstation's
// allowance has room. False when it was not delivered (no room, or the
// tracker away or refusing); never raises.
bool DeliverReport(net::HttpTransport& transport, const TCrashSettings& settings,
                   const MantisIssue& issue, const std::vector<MantisAttachment>& attachments,
                   const std::string& report);

// Delivers the reports waiting in the report file at `path`, oldest first,
// each on its own, and takes each delivered one out of the file. Stops at
// the first that is not delivered: it and the rest wait for the next start.
// Never raises.
void DeliverPendingReports(net::HttpTransport& transport, const TCrashSettings& settings,
                           const std::string& path);

}  // namespace rotalis::crash

#pragma once
// The text of one bug report: a header of "name : value" lines, then the
// crashing thread's call stack, one frame a line.

#include <string>
#include <vector>

#include "crash/CrashEvent.h"
#include "platform/Symbolizer.h"

namespace rotalis::crash {

// Every report starts with this line, so that a file of appended reports can
// be split into whole reports again.
inline constexpr const char* kReportStartLine =
    "=== bug report ===============================================================";

// A report never grows past this, so that one always fits the report file.
inline constexpr std::size_t kMaxReportBytes = 60000;

// One stack line: module, address, "+0x1a" from the function's start, the
// function, "file:line" and "(+3)" lines from the function's first line.
std::string FormatStackLine(const platform::StackFrame& frame);

// The header names of a report that the tracker's notes repeat.
inline constexpr const char* kSignatureField = "crash signature";

// The value of the header line `name` of a report ("" when it has none); a
// value that went on over several lines gives its first.
std::string ReportField(const std::string& report, const std::string& name);

// The report's header carries the crash signature (CrashSignatureOf), when
// the stack gives one, on a line of its own.
std::string BuildReportText(const ApplicationInfo& application, const CrashEvent& event,
                            const std::vector<platform::StackFrame>& stack,
                            const std::string& dateTime);

}  // namespace rotalis::crash

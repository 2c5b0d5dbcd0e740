#include "crash/ReportDelivery.h"

#include "crash/ReportFile.h"
#include "crash/ReportText.h"
#include "crash/SubmissionAllowance.h"

namespace rotalis::crash {
namespace {

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t pos = text.find(from); pos != std::string::npos;
       pos = text.find(from, pos + to.size())) {
    text.replace(pos, from.size(), to);
  }
}

// The tracker's summary field holds 128 characters, counted on what it
// receives: stray bytes arrive as "?" each, so the cut is made after that
// replacement, never before. A summary is one line: each run of line breaks
// and tabs becomes one blank (the description keeps them).
std::string FitSummary(const std::string& text) {
  constexpr std::size_t kLimit = 128;
  std::string summary;
  bool inBreak = false;
  for (char c : SendableText(text)) {
    const bool breaks = c == '\r' || c == '\n' || c == '\t';
    if (!breaks)
      summary += c;
    else if (!inBreak)
      summary += ' ';
    inBreak = breaks;
  }
  std::size_t characters = 0;
  for (std::size_t i = 0; i < summary.size(); ++i) {
    if ((static_cast<unsigned char>(summary[i]) & 0xC0) == 0x80) continue;
    if (++characters > kLimit) {
      summary.resize(i);
      break;
    }
  }
  return summary;
}

}  // namespace

std::string FillPlaceholders(std::string text, const std::string& applicationName,
                             const std::string& exceptionMessage, const std::string& report) {
  // %errorDetails% goes last: the report may itself contain the other names.
  ReplaceAll(text, "%appname%", applicationName);
  ReplaceAll(text, "%exceptMsg%", exceptionMessage);
  ReplaceAll(text, "%errorDetails%", report);
  return text;
}

MantisIssue IssueForReport(const TCrashSettings& settings, const std::string& applicationName,
                           const std::string& exceptionMessage, const std::string& report) {
  return MantisIssue{
      settings.BugTrProject, settings.BugTrArea,
      FitSummary(FillPlaceholders(settings.BugTrTitle, applicationName, exceptionMessage, report)),
      FillPlaceholders(settings.BugTrDescr, applicationName, exceptionMessage, report)};
}

std::string NoteForReport(const std::string& report) {
  std::string note = "The same error again (" + ReportField(report, kSignatureField) + "):\n";
  for (const char* name : {"computer", "user", "version", "date/time", "exception message"})
    note += std::string(name) + ": " + ReportField(report, name) + '\n';
  return note;
}

bool DeliverReport(net::HttpTransport& transport, const TCrashSettings& settings,
                   const MantisIssue& issue, const std::vector<MantisAttachment>& attachments,
                   const std::string& report) {
  if (!TakeSubmissionAllowance()) return false;
  // Once the issue or note exists the submission counts as done, even when
  // an attachment is refused (too big, a type the tracker does not take):
  // the report is in its text already and must not be filed a second time.
  try {
    MantisSubmitter(transport, settings)
        .SubmitGrouped(issue, attachments, ReportField(report, kSignatureField),
                       NoteForReport(report));
  } catch (const std::exception&) {
    return false;
  }
  return true;
}

void DeliverPendingReports(net::HttpTransport& transport, const TCrashSettings& settings,
                           const std::string& path) {
  std::vector<std::string> reports;
  try {
    reports = PendingReports(path);
  } catch (const std::exception&) {
    return;
  }
  for (const std::string& report : reports) {
    const MantisIssue issue = IssueForReport(settings, ReportField(report, "application"),
                                             ReportField(report, "exception message"), report);
    if (!DeliverReport(transport, settings, issue, {{settings.BugRepSendAs, "text/plain", report}},
                       report))
      return;
    RemoveDeliveredReport(path, report);
  }
}

}  // namespace rotalis::crash

#pragma once
// Handles one error that nothing else handled: filters it, builds the report
// (unless it repeats one already reported in this run), saves it to the report
// file, submits it to the tracker, and asks the user what happens next. It
// decides nothing about the process itself: the caller carries out the
// outcome (see CrashHandlers.h).

#include <mutex>
#include <string>
#include <vector>

#include "crash/CrashEvent.h"
#include "crash/CrashSettings.h"
#include "net/HttpTransport.h"
#include "ui/CrashUi.h"

namespace rotalis::crash {

enum class CrashOutcome { Continue, Restart, Close };

// The crash dialog the settings describe: its visible buttons in their fixed
// order, the focused one, the texts.
ui::CrashDialogSpec CrashDialogSpecFor(const TCrashSettings& settings, const std::string& title,
                                       const std::string& error, bool canContinue);

class CrashReporter {
 public:
  CrashReporter(TCrashSettings settings, ApplicationInfo application, ui::CrashUi& ui,
                net::HttpTransport& transport);

  // Safe to call from several threads; one error is handled at a time. An
  // error raised while this thread's crash windows are open (their event loop
  // runs the program's handlers) is saved and submitted without a dialog of
  // its own.
  CrashOutcome Handle(const CrashEvent& event);

  const TCrashSettings& Settings() const { return settings_; }
  const ApplicationInfo& Application() const { return application_; }
  std::string ReportFilePath() const;

 private:
  CrashOutcome HandleNested(const CrashEvent& event);
  // Whether the please-wait box opened.
  bool ShowPleaseWait();
  const TCrashFilter& FilterFor(const CrashEvent& event) const;
  CrashOutcome ShowWithoutReport(const TCrashFilter& filter, const CrashEvent& event);
  bool IsDuplicate(const CrashEvent& event);
  std::string BuildReport(const CrashEvent& event);
  void SaveAndSubmit(const CrashEvent& event, const std::string& report,
                     const std::string& screenshot);
  CrashOutcome AskUser(const CrashEvent& event, const std::string& report);
  std::string Filled(std::string text, const CrashEvent& event, const std::string& report) const;

  TCrashSettings settings_;
  ApplicationInfo application_;
  ui::CrashUi& ui_;
  net::HttpTransport& transport_;
  std::mutex handling_;
  std::vector<platform::StackAddresses> reportedStacks_;
};

}  // namespace rotalis::crash

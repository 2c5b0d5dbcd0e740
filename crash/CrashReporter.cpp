#include "crash/CrashReporter.h"

#include <algorithm>

#include "crash/ExceptionInfo.h"
#include "crash/MantisSoap.h"
#include "crash/MantisSubmitter.h"
#include "crash/ReportDelivery.h"
#include "crash/ReportFile.h"
#include "crash/ReportText.h"
#include "platform/Paths.h"
#include "platform/Symbolizer.h"
#include "platform/SystemInfo.h"

namespace rotalis::crash {
namespace {

std::vector<platform::StackFrame> Symbolize(const CrashEvent& event) {
  std::vector<platform::StackFrame> frames;
  std::unique_ptr<platform::Symbolizer> symbolizer;
  try {
    symbolizer = platform::Symbolizer::ForProcess(event.processId);
  } catch (const std::exception&) {
    // Without module information the raw addresses still go into the report.
  }
  for (std::size_t i = 0; i < event.stack.size(); ++i) {
    const bool exact = i == 0 && event.firstFrameExact;
    if (symbolizer) {
      frames.push_back(symbolizer->Describe(event.stack[i], exact));
    } else {
      platform::StackFrame frame;
      frame.address = event.stack[i];
      frames.push_back(frame);
    }
  }
  return frames;
}

}  // namespace

ui::CrashDialogSpec CrashDialogSpecFor(const TCrashSettings& settings, const std::string& title,
                                       const std::string& error, bool canContinue) {
  using ui::CrashDialogButton;
  ui::CrashDialogSpec spec;
  spec.title = title;
  spec.message = settings.ExceptMsg;
  spec.error = error;
  spec.canContinue = canContinue;
  const struct {
    bool visible;
    CrashDialogButton id;
    const std::string& text;
  } buttons[] = {
      {settings.ShowBtnVis, CrashDialogButton::ShowBugReport, settings.ShowBtnTxt},
      {settings.ContinueBtnVis, CrashDialogButton::ContinueApplication, settings.ContinueBtnTxt},
      {settings.RestartBtnVis, CrashDialogButton::RestartApplication, settings.RestartBtnTxt},
      {settings.CloseBtnVis, CrashDialogButton::CloseApplication, settings.CloseBtnTxt}};
  for (const auto& button : buttons) {
    if (button.visible) spec.buttons.push_back({button.id, button.text});
  }
  switch (settings.FocusedBtn) {
    case bShowBugReport:
      spec.focused = CrashDialogButton::ShowBugReport;
      break;
    case bContinueApplication:
      spec.focused = CrashDialogButton::ContinueApplication;
      break;
    case bRestartApplication:
      spec.focused = CrashDialogButton::RestartApplication;
      break;
    default:
      spec.focused = CrashDialogButton::CloseApplication;
      break;
  }
  return spec;
}

CrashReporter::CrashReporter(TCrashSettings settings, ApplicationInfo application, ui::CrashUi& ui,
                             net::HttpTransport& transport)
    : settings_(std::move(settings)),
      application_(std::move(application)),
      ui_(ui),
      transport_(transport) {}

std::string CrashReporter::ReportFilePath() const {
  return platform::JoinPath(application_.folder, settings_.BugRepFile);
}

namespace {
// Set while this thread shows the crash reporter's windows: their event loop
// can run an event handler of the program that fails again.
thread_local bool handlingOnThisThread = false;
}  // namespace

CrashOutcome CrashReporter::Handle(const CrashEvent& event) {
  if (handlingOnThisThread) return HandleNested(event);
  std::lock_guard lock(handling_);
  handlingOnThisThread = true;
  struct Reset {
    ~Reset() { handlingOnThisThread = false; }
  } reset;
  const TCrashFilter& filter = FilterFor(event);
  if (filter.NoBugRep) return ShowWithoutReport(filter, event);

  const bool duplicate = IsDuplicate(event);
  std::string screenshot;
  if (!duplicate && !filter.NoScrShot && !settings_.ScrShotAppOnly) {
    screenshot = ui_.CaptureScreenPng(settings_.ScrShotDepth);
  }
  const bool waitShown = settings_.PlWaitBox && ShowPleaseWait();
  std::string report;
  try {
    report = BuildReport(event);
    if (!duplicate) SaveAndSubmit(event, report, screenshot);
  } catch (...) {
    if (waitShown) ui_.HidePleaseWait();
    throw;
  }
  if (waitShown) ui_.HidePleaseWait();
  if (filter.ShowCfg == ssNothing)
    return event.canContinue ? CrashOutcome::Continue : CrashOutcome::Close;
  return AskUser(event, report);
}

CrashOutcome CrashReporter::HandleNested(const CrashEvent& event) {
  // The lock is ours already. A second dialog on top of the first would
  // stack up for an error that repeats; the report is kept, and the user's
  // answer to the open dialog decides for both.
  if (!FilterFor(event).NoBugRep && !IsDuplicate(event)) {
    SaveAndSubmit(event, BuildReport(event), {});
  }
  return CrashOutcome::Continue;
}

bool CrashReporter::ShowPleaseWait() {
  // The box only asks the user for patience: one that cannot open (no
  // desktop to draw on, the session out of window handles) must not cost the
  // report it would have waited for.
  try {
    ui_.ShowPleaseWait(settings_.PlWaitTitle, settings_.PlWaitText);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

const TCrashFilter& CrashReporter::FilterFor(const CrashEvent& event) const {
  for (const TCrashFilter* filter : {&settings_.F1, &settings_.F2}) {
    for (const std::string& name : filter->Classes) {
      if (ClassMatches(event.classChain, name)) return *filter;
    }
  }
  return settings_.Gn;
}

CrashOutcome CrashReporter::ShowWithoutReport(const TCrashFilter& filter, const CrashEvent& event) {
  if (filter.ShowCfg != ssNothing) {
    ui_.ShowSimpleBox(ui::SimpleBoxSpec{Filled(settings_.TitleBar, event, {}), event.message,
                                        settings_.OkBtnTxt, settings_.DetailsBtnTxt,
                                        event.errorClass + ": " + event.message});
  }
  return event.canContinue ? CrashOutcome::Continue : CrashOutcome::Close;
}

bool CrashReporter::IsDuplicate(const CrashEvent& event) {
  if (!settings_.NoDupExcepts || settings_.DupExceptDef != ddCrashStackIdentical) return false;
  if (event.stack.empty()) return false;
  if (std::find(reportedStacks_.begin(), reportedStacks_.end(), event.stack) !=
      reportedStacks_.end()) {
    return true;
  }
  reportedStacks_.push_back(event.stack);
  return false;
}

std::string CrashReporter::BuildReport(const CrashEvent& event) {
  return BuildReportText(application_, event, Symbolize(event), platform::LocalDateTimeText());
}

void CrashReporter::SaveAndSubmit(const CrashEvent& event, const std::string& report,
                                  const std::string& screenshot) {
  const std::string path = ReportFilePath();
  bool saved = false;
  std::string written;
  if (settings_.AutoSave || settings_.AutoSaveIfNotSent) {
    try {
      written = AppendReport(path, report, static_cast<std::size_t>(settings_.BugRepFileSize));
      saved = true;
    } catch (const std::exception&) {
      // A read-only folder must not keep the report from the tracker.
    }
  }
  if (!settings_.AutoSend || !settings_.Mantis) return;
  std::vector<MantisAttachment> attachments;
  if (settings_.AttachBugRep || settings_.AttachBugRepFile) {
    std::string content = report;
    if (saved && settings_.AttachBugRepFile) content = written;
    attachments.push_back({settings_.BugRepSendAs, "text/plain", content});
  }
  if (!screenshot.empty())
    attachments.push_back({settings_.ScrShotSendAs, "image/png", screenshot});
  // No progress window is open, so the user hears nothing of a report that
  // did not go (tracker away, or this workstation's allowance used up): it
  // stays in the file for the next successful submission, or for the crash
  // watcher at the next start.
  if (!DeliverReport(transport_, settings_,
                     IssueForReport(settings_, application_.name, event.message, report),
                     attachments, report))
    return;
  if (saved && settings_.DelBugRepFile) RemoveSentReports(path, written);
}

CrashOutcome CrashReporter::AskUser(const CrashEvent& event, const std::string& report) {
  const ui::CrashDialogSpec spec =
      CrashDialogSpecFor(settings_, Filled(settings_.TitleBar, event, report),
                         event.errorClass + ": " + event.message, event.canContinue);
  using ui::CrashDialogButton;
  for (;;) {
    switch (ui_.ShowCrashDialog(spec)) {
      case CrashDialogButton::ShowBugReport:
        ui_.ShowReport(spec.title, report);
        continue;
      case CrashDialogButton::ContinueApplication:
        if (!event.canContinue) continue;
        return CrashOutcome::Continue;
      case CrashDialogButton::RestartApplication:
        return CrashOutcome::Restart;
      case CrashDialogButton::CloseApplication:
        return CrashOutcome::Close;
    }
  }
}

std::string CrashReporter::Filled(std::string text, const CrashEvent& event,
                                  const std::string& report) const {
  return FillPlaceholders(std::move(text), application_.name, event.message, report);
}

}  // namespace rotalis::crash

#pragma once
// The crash reporter's settings record: one constant table, read once at
// start-up and never changed. Every key of the record is here, also those this
// configuration leaves unused (mail channels, assistants, progress texts), so
// that the record stays complete if a channel is switched on later. Member
// names are the record's own keys.

#include <string>
#include <vector>

#include "config/Deployment.h"

namespace rotalis::crash {

// When two reports count as the same one.
enum TDupDef { ddCrashStackIdentical, ddAllStacksIdentical };

// The buttons of the crash dialog in their fixed order.
enum TCrashButton {
  bSendBugReport,
  bSaveBugReport,
  bPrintBugReport,
  bShowBugReport,
  bContinueApplication,
  bRestartApplication,
  bCloseApplication
};

// How an exception is presented.
enum TShowSetting { ssFullBox, ssAssistant, ssDetailBox, ssSimpleBox, ssNothing };

// What happens for the exception classes one filter names.
struct TCrashFilter {
  std::vector<std::string> Classes;  // class names; a class matches its descendants too
  bool NoBugRep = false;
  bool NoScrShot = false;
  bool NoHandlers = false;
  bool NoSuspend = false;
  TShowSetting ShowCfg = ssFullBox;
  std::string Assis;  // assistant name, empty: none
};

struct TCrashSettings {
  static constexpr const char* kComponentName = "crashSettings";

  // General and detection.
  bool Enabled = true;
  bool NoSettings = false;
  bool CheckFreeze = false;
  int FreezeTimeout = 60000;
  bool ReportLeaks = false;
  bool PauseThreads = false;
  bool PlWaitBox = true;
  bool NoDupExcepts = true;
  TDupDef DupExceptDef = ddCrashStackIdentical;
  bool NoDupFreezes = true;
  TDupDef DupFreezeDef = ddAllStacksIdentical;

  // Automatic actions.
  bool AutoSave = true;
  bool AutoSaveIfNotSent = true;
  bool AutoSend = true;
  bool AutoSendBox = false;
  bool SendInBackgr = false;
  bool AutoClip = false;
  bool AutoContinue = false;
  int AutoRestart =
      1800;  // seconds a process must have run before a crash restarts it unasked; unused
  int AutoClose = 0;

  // Dialog.
  std::string TitleBar = "%appname%";
  std::string ExceptMsg = "An error occurred in the application.";
  std::string FrozenMsg = "The application seems to be frozen.";
  bool SendBtnVis = false;
  bool SaveBtnVis = false;
  bool PrintBtnVis = false;
  bool ShowBtnVis = true;
  bool ContinueBtnVis = true;
  bool RestartBtnVis = true;
  bool CloseBtnVis = true;
  TCrashButton FocusedBtn = bCloseApplication;
  std::string SendBtnTxt = "send bug report";
  std::string SaveBtnTxt = "save bug report";
  std::string PrintBtnTxt = "print bug report";
  std::string ShowBtnTxt = "show bug report";
  std::string ContinueBtnTxt = "continue application";
  std::string RestartBtnTxt = "restart application";
  std::string CloseBtnTxt = "close application";
  std::string OkBtnTxt = "&OK";
  std::string DetailsBtnTxt = "&Details";
  std::string PlWaitTitle = "Information";
  std::string PlWaitText = "Please wait a moment...";
  bool AutoShowBugRep = false;
  bool UglyBtns = false;
  bool WindowsLogo = false;

  // Report content.
  bool ListThreads = false;
  bool CpuRegs = false;
  bool StackDump = false;
  bool ShowDisAsm = false;
  bool FormatDisAsm = false;
  int LimitDisAsm = 5;
  bool HideUglyItems = false;
  bool ShowRelAddrs = true;
  bool ShowRelLines = true;
  int ScrShotDepth = 8;
  bool ScrShotAppOnly = false;
  std::vector<std::string> Plugins;

  // Report file and attachments.
  std::string BugRepFile = "bugreport.txt";
  bool AppendBugReps = true;
  int BugRepFileSize = 100000;
  bool AttachBugRep = true;
  bool AttachBugRepFile = true;
  bool DelBugRepFile = true;
  std::string BugRepSendAs = "bugreport.txt";
  std::string BugRepZip;
  std::string ScrShotZip;
  std::string AddAttachs;
  std::string ScrShotSendAs = "screenshot.png";

  // Submission: one channel, the Mantis tracker.
  bool Mantis = true;
  bool FogBugz = false;
  bool BugZilla = false;
  bool UploadViaHttp = false;
  bool MailAsSmtpServer = false;
  bool MailAsSmtpClient = false;
  bool MailViaMapi = false;
  bool MailViaMailto = false;
  std::string HttpServer;  // the tracker's base address, from the deployment
  bool HttpSsl = false;
  int HttpPort = 80;
  std::string HttpAccount;
  std::string HttpPassword;
  std::string BugTrAccount = "bugs";
  std::string BugTrPassword = "Tq7wLm2XcV9pRb4NsK8dJf3HzY6gWa1E";
  std::string BugTrProject = "TarvoArquivos";
  std::string BugTrArea = "General";
  std::string BugTrAssignTo;
  std::string BugTrTitle = "%appname%, %exceptMsg%";
  std::string BugTrDescr = "error details: \r\n%errorDetails%";

  // Mail (every mail channel is off).
  std::string SmtpServer = "smtp.rotalis.example";
  int SmtpPort = 587;
  bool SmtpTls = false;
  bool SmtpSsl = false;
  std::string SmtpAccount = "bugs@rotalis.example";
  std::string SmtpPassword;
  std::string MailAddr = "bugs@rotalis.example";
  std::string MailSubj = "bug report";
  std::string MailBody = "please find the bug report attached";

  // Progress texts of a submission (only a progress window shows them).
  std::string SendBoxTitle = "Sending bug report...";
  std::string PrepAttMsg = "Preparing attachments...";
  std::string MxLookMsg = "Searching for mail server...";
  std::string ConnMsg = "Connecting to server...";
  std::string SendMailMsg = "Sending mail...";
  std::string FieldMsg = "Setting fields...";
  std::string SendAttMsg = "Sending attachments...";
  std::string SendFinalMsg = "Finalizing...";
  std::string SendFailMsg = "Sorry, sending the bug report didn't work.";

  // Exception filters, tried in this order; the general rule takes the rest.
  TCrashFilter F1{{"EDBEditError"}, true, true, true, true, ssSimpleBox, ""};
  TCrashFilter F2{{}, false, false, false, false, ssFullBox, ""};
  TCrashFilter Gn{{}, false, false, false, false, ssFullBox, ""};

  // Assistants: name|title|pages...
  std::string Assistant1 = "SendAssistant|Send Assistant|ContactForm|DetailsForm|ScrShotForm";
  std::string Assistant2 = "SaveAssistant|Save Assistant|ContactForm|DetailsForm";
  std::string Assistant3 = "PrintAssistant|Print Assistant|ContactForm|DetailsForm";
  std::string SendAssis = "SendAssistant";
  std::string SaveAssis = "SaveAssistant";
  std::string PrintAssis = "PrintAssistant";

  // The record with the tracker address of this deployment.
  static TCrashSettings ForDeployment(const Deployment& deployment);

  // The address of the tracker's SOAP endpoint.
  std::string MantisEndpoint() const;
};

}  // namespace rotalis::crash

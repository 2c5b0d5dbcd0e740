#pragma once
// What the crash reporter shows: the crash dialog, the report text, the simple
// box for errors that are the user's own, the please-wait box, and the
// screenshot that goes with a report. Backends: console, Qt and Win32; tests
// record.

#include <memory>
#include <string>
#include <vector>

#include "ui/Backend.h"

namespace rotalis::ui {

enum class CrashDialogButton {
  ShowBugReport,
  ContinueApplication,
  RestartApplication,
  CloseApplication
};

struct CrashDialogSpec {
  std::string title;
  std::string message;
  struct Button {
    CrashDialogButton id;
    std::string text;
  };
  std::vector<Button> buttons;  // in the order shown
  CrashDialogButton focused = CrashDialogButton::CloseApplication;
  // The error in one line ("rotalis::Exception: JSON inválido"). The console
  // prints it, since without a terminal nobody can open the report; the
  // desktop dialog leaves it to the report.
  std::string error;
  // False after a crash the process cannot survive: the continue button is
  // shown disabled and marked accordingly.
  bool canContinue = true;
};

struct SimpleBoxSpec {
  std::string title;
  std::string message;
  std::string okText;       // "&OK"
  std::string detailsText;  // "&Details"
  std::string details;      // shown when the details button is pressed
};

class CrashUi {
 public:
  virtual ~CrashUi() = default;

  // Shows the box without waiting; it stays until HidePleaseWait.
  virtual void ShowPleaseWait(const std::string& title, const std::string& text) = 0;
  virtual void HidePleaseWait() = 0;

  // Modal; the button the user chose (never a hidden one, never a disabled one).
  virtual CrashDialogButton ShowCrashDialog(const CrashDialogSpec& spec) = 0;

  // Modal viewer of the report text.
  virtual void ShowReport(const std::string& title, const std::string& report) = 0;

  // Modal; returns when the user pressed OK (details may be looked at before).
  virtual void ShowSimpleBox(const SimpleBoxSpec& spec) = 0;

  // The whole screen as a PNG image with that many bits per pixel; empty when
  // this user interface has no screen.
  virtual std::string CaptureScreenPng(int bitsPerPixel) = 0;
};

// The crash user interface of that backend.
std::unique_ptr<CrashUi> CreateCrashUi(BackendKind kind);

// Draws the desktop crash dialog as it opens, without waiting for a choice,
// and writes it as a PNG file (documentation screenshots). False when this
// build has no desktop backend or it cannot draw.
bool SaveCrashDialogImage(const CrashDialogSpec& spec, const std::string& pngPath);

}  // namespace rotalis::ui

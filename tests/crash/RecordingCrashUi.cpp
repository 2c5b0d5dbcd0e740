#include "tests/crash/RecordingCrashUi.h"

#include <iostream>
#include <sstream>

namespace rotalis::test {
namespace {

const char* NameOf(ui::CrashDialogButton button) {
  switch (button) {
    case ui::CrashDialogButton::ShowBugReport:
      return "show";
    case ui::CrashDialogButton::ContinueApplication:
      return "continue";
    case ui::CrashDialogButton::RestartApplication:
      return "restart";
    case ui::CrashDialogButton::CloseApplication:
      return "close";
  }
  return "?";
}

}  // namespace

RecordingCrashUi::RecordingCrashUi(const std::string& choices,
                                   std::unique_ptr<ui::CrashUi> pleaseWait)
    : pleaseWait_(std::move(pleaseWait)) {
  std::istringstream list(choices);
  for (std::string choice; std::getline(list, choice, ',');) {
    if (!choice.empty()) choices_.push_back(choice);
  }
}

void RecordingCrashUi::ShowPleaseWait(const std::string& title, const std::string& text) {
  std::cout << "please-wait|" << title << "|" << text << std::endl;
  if (pleaseWait_) pleaseWait_->ShowPleaseWait(title, text);
}

void RecordingCrashUi::HidePleaseWait() {
  if (pleaseWait_) pleaseWait_->HidePleaseWait();
  std::cout << "please-wait-hidden" << std::endl;
}

ui::CrashDialogButton RecordingCrashUi::ShowCrashDialog(const ui::CrashDialogSpec& spec) {
  std::cout << "dialog|" << spec.title << "|" << spec.message;
  for (const auto& button : spec.buttons) std::cout << "|" << button.text;
  std::cout << "|focused=" << NameOf(spec.focused)
            << "|canContinue=" << (spec.canContinue ? "yes" : "no") << std::endl;
  ui::CrashDialogButton chosen = spec.focused;
  if (!choices_.empty()) {
    const std::string choice = choices_.front();
    choices_.pop_front();
    for (const auto& button : spec.buttons) {
      if (choice == NameOf(button.id)) chosen = button.id;
    }
  }
  std::cout << "chosen|" << NameOf(chosen) << std::endl;
  return chosen;
}

void RecordingCrashUi::ShowReport(const std::string& title, const std::string& report) {
  std::cout << "report|" << title << "|" << report.size() << " bytes" << std::endl;
}

void RecordingCrashUi::ShowSimpleBox(const ui::SimpleBoxSpec& spec) {
  std::cout << "simple-box|" << spec.title << "|" << spec.message << "|" << spec.okText << "|"
            << spec.detailsText << std::endl;
}

std::string RecordingCrashUi::CaptureScreenPng(int bitsPerPixel) {
  std::cout << "screenshot|" << bitsPerPixel << std::endl;
  // Stands in for the screen's image; the test compares the attachment with it.
  return kStandInScreenshot;
}

}  // namespace rotalis::test

#include "ui/console/ConsoleApplication.h"

#include <iostream>
#include <string>

#include "platform/Terminal.h"

namespace rotalis::ui::console {

ConsoleApplication::ConsoleApplication()
    : ConsoleApplication(ConsoleStreams{std::cin, std::cerr, platform::StandardInputIsTerminal(),
                                        platform::StandardErrorIsTerminal()}) {
  platform::WriteConsoleTextAsCharacters();
}

ConsoleApplication::ConsoleApplication(ConsoleStreams streams) : streams_(streams) {}

ConsoleApplication::~ConsoleApplication() = default;

void ConsoleApplication::ShowMessage(const std::string& text) {
  streams_.out << text << '\n';
  streams_.out.flush();
}

void ConsoleApplication::ProcessMessages() { RunPostedTasks(); }

ConsoleFormContext ConsoleApplication::FormContext() {
  return ConsoleFormContext{streams_.out, streams_.inputIsTerminal, streams_.outputIsTerminal,
                            [this](Form& form) { FormClosed(form); }};
}

ProgressForm& ConsoleApplication::CreateProgressForm(const ProgressFormSpec& spec) {
  return components_.Add(std::make_unique<ConsoleProgressForm>(spec, FormContext()));
}

Form& ConsoleApplication::CreateForm(const FormSpec& spec) {
  return components_.Add(std::make_unique<ConsoleForm>(spec, FormContext()));
}

WaitForm& ConsoleApplication::CreateWaitForm(const FormSpec& spec) {
  return components_.Add(std::make_unique<ConsoleWaitForm>(spec, FormContext()));
}

void ConsoleApplication::Post(std::function<void()> task) { posted_.push_back(std::move(task)); }

void ConsoleApplication::ReleaseComponent(Component& component) {
  const bool wasMainForm = mainForm_ == &component;
  if (components_.Release(component) && wasMainForm) mainForm_ = nullptr;
}

Component* ConsoleApplication::FindComponent(std::string_view name) {
  return components_.Find(name);
}

// Closing the main form ends the application, as closing the main window does
// on a desktop.
void ConsoleApplication::FormClosed(Form& form) {
  if (&form == mainForm_) Terminate();
}

void ConsoleApplication::RunPostedTasks() {
  while (!posted_.empty()) {
    auto task = std::move(posted_.front());
    posted_.pop_front();
    try {
      task();
    } catch (...) {
      if (!HandleEventException(std::current_exception())) throw;
    }
  }
}

void ConsoleApplication::Run() {
  if (terminated_ || dynamic_cast<Form*>(mainForm_) == nullptr) return;
  dynamic_cast<Form*>(mainForm_)->Show();
  std::string line;
  for (;;) {
    RunPostedTasks();
    // A task may have released the main form or replaced it.
    auto* form = dynamic_cast<Form*>(mainForm_);
    if (terminated_ || form == nullptr) return;
    // The input carries nothing for the form; its end is the user closing it.
    if (!std::getline(streams_.in, line)) {
      form->Close();
      RunPostedTasks();
      return;
    }
  }
}

}  // namespace rotalis::ui::console

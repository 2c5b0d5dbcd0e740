#include "ui/console/ConsoleApplication.h"

#include <algorithm>
#include <iostream>
#include <string>

#include "platform/Terminal.h"

namespace rotalis::ui::console {

ConsoleApplication::ConsoleApplication()
    : ConsoleApplication(ConsoleStreams{std::cin, std::cout, platform::StandardInputIsTerminal(),
                                        platform::StandardOutputIsTerminal()}) {}

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
  auto form = std::make_unique<ConsoleProgressForm>(spec, FormContext());
  ProgressForm& result = *form;
  components_.push_back(std::move(form));
  return result;
}

Form& ConsoleApplication::CreateForm(const FormSpec& spec) {
  auto form = std::make_unique<ConsoleForm>(spec, FormContext());
  Form& result = *form;
  components_.push_back(std::move(form));
  return result;
}

void ConsoleApplication::Post(std::function<void()> task) { posted_.push_back(std::move(task)); }

void ConsoleApplication::ReleaseComponent(Component& component) {
  const auto owned = std::find_if(components_.begin(), components_.end(),
                                  [&](const auto& c) { return c.get() == &component; });
  if (owned == components_.end()) return;
  if (mainForm_ == &component) mainForm_ = nullptr;
  components_.erase(owned);
}

Component* ConsoleApplication::FindComponent(std::string_view name) {
  for (const auto& component : components_)
    if (component->Name() == name) return component.get();
  return nullptr;
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

#pragma once
// The application object without a display: forms write to the output stream,
// message boxes are lines of text, and the message loop runs the posted tasks
// and reads the input until it ends, which closes the main form.

#include <deque>
#include <functional>
#include <iosfwd>
#include <memory>
#include <vector>

#include "ui/Application.h"
#include "ui/OwnedComponents.h"
#include "ui/console/ConsoleForms.h"

namespace rotalis::ui::console {

struct ConsoleStreams {
  std::istream& in;
  std::ostream& out;
  bool inputIsTerminal = false;
  bool outputIsTerminal = false;
};

class ConsoleApplication : public Application {
 public:
  // Standard input, and standard error for everything shown.
  ConsoleApplication();
  explicit ConsoleApplication(ConsoleStreams streams);
  ~ConsoleApplication() override;

  void ShowMessage(const std::string& text) override;
  void ProcessMessages() override;
  void Terminate() override { terminated_ = true; }
  bool Terminated() const override { return terminated_; }
  ProgressForm& CreateProgressForm(const ProgressFormSpec& spec) override;
  Form& CreateForm(const FormSpec& spec) override;
  WaitForm& CreateWaitForm(const FormSpec& spec) override;
  void Post(std::function<void()> task) override;
  void ReleaseComponent(Component& component) override;
  Component* FindComponent(std::string_view name) override;
  void SetMainForm(Component* component) override { mainForm_ = component; }
  void Run() override;

 private:
  ConsoleFormContext FormContext();
  void RunPostedTasks();
  void FormClosed(Form& form);

  ConsoleStreams streams_;
  OwnedComponents components_;
  std::deque<std::function<void()>> posted_;
  Component* mainForm_ = nullptr;
  bool terminated_ = false;
};

}  // namespace rotalis::ui::console

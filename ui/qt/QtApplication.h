#pragma once
// The application object on a desktop: Qt 6 Widgets.

#include <QApplication>
#include <exception>
#include <functional>
#include <memory>
#include <vector>

#include "ui/Application.h"
#include "ui/OwnedComponents.h"

namespace rotalis::ui::qt {

// Qt's application object with one change: an exception that leaves an event
// handler is handed to `onException` instead of unwinding through Qt.
class GuardedQApplication : public QApplication {
 public:
  GuardedQApplication(int& argc, char** argv, std::function<void(std::exception_ptr)> onException);
  bool notify(QObject* receiver, QEvent* event) override;

 private:
  std::function<void(std::exception_ptr)> onException_;
};

class QtApplication : public Application {
 public:
  QtApplication();
  ~QtApplication() override;

  void ShowMessage(const std::string& text) override;
  void ProcessMessages() override;
  void Terminate() override;
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
  void EventFailed(std::exception_ptr error);
  void RethrowPendingFailure();
  void FormClosed(Form& form);

  // Qt keeps references to argc and argv for the application's lifetime.
  int argc_ = 1;
  char name_[8] = "rotalis";
  char* argv_[2] = {name_, nullptr};
  std::unique_ptr<GuardedQApplication> qapp_;
  // Declared after qapp_: the widgets go before the application object.
  OwnedComponents components_;
  Component* mainForm_ = nullptr;
  bool terminated_ = false;
  std::exception_ptr pendingFailure_;
};

}  // namespace rotalis::ui::qt

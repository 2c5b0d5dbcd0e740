#pragma once
// The application object on Windows: the thread's message loop with the
// forms of Win32Forms.h. Posted tasks run in the loop itself, between two
// messages, never inside a window procedure: an exception must be able to
// leave a task and reach the event exception handler, and on x64 Windows one
// that crosses user32's frames is lost. For the files of ui/win32 only.

#include <windows.h>

#include <atomic>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>

#include "ui/Application.h"
#include "ui/OwnedComponents.h"
#include "ui/win32/Win32Forms.h"

namespace rotalis::ui::win32 {

class Win32Application : public Application {
 public:
  // The calling thread becomes the thread of the loop and of every form.
  Win32Application();
  ~Win32Application() override;

  void ShowMessage(const std::string& text) override;
  void ProcessMessages() override;
  void Terminate() override;
  bool Terminated() const override { return terminated_; }
  ProgressForm& CreateProgressForm(const ProgressFormSpec& spec) override;
  Form& CreateForm(const FormSpec& spec) override;
  WaitForm& CreateWaitForm(const FormSpec& spec) override;
  // Any thread may post; the loop's thread runs the task.
  void Post(std::function<void()> task) override;
  void ReleaseComponent(Component& component) override;
  Component* FindComponent(std::string_view name) override;
  void SetMainForm(Component* component) override { mainForm_ = component; }
  void Run() override;

 private:
  FormHooks Hooks();
  void FormClosed(Form& form);
  void WakeLoop();
  bool TasksWaiting();
  void RunPostedTasks();
  void Dispatch(MSG& message);
  void HandleWindowFailure();

  DWORD loopThread_;
  OwnedComponents components_;
  Component* mainForm_ = nullptr;
  std::atomic<bool> terminated_ = false;
  std::mutex postedLock_;
  std::deque<std::function<void()>> posted_;
  // An exception caught in one of our window procedures, for the loop.
  std::exception_ptr windowFailure_;
};

}  // namespace rotalis::ui::win32

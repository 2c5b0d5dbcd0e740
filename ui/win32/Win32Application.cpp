#include "ui/win32/Win32Application.h"

#include <commctrl.h>

#include "platform/FileSystem.h"
#include "platform/WideText_win.h"
#include "ui/win32/ScreenCapture.h"
#include "ui/win32/WicPng.h"
#include "ui/win32/Win32Backend.h"

namespace rotalis::ui::win32 {
namespace {

// A thread message without a window: it only wakes GetMessageW. Modal loops
// (message boxes, dialogs) drop such messages, so the loop never relies on
// it alone and looks at the queue of tasks before it waits.
constexpr UINT kWakeMessage = WM_APP + 1;

constexpr const wchar_t* kMessageCaption = L"rotalis";

}  // namespace

Win32Application::Win32Application() : loopThread_(GetCurrentThreadId()) {
  // The thread gets its message queue now, so that a task posted from
  // another thread before the loop runs is not refused.
  MSG message;
  PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
  const INITCOMMONCONTROLSEX controls{sizeof(INITCOMMONCONTROLSEX),
                                      ICC_STANDARD_CLASSES | ICC_PROGRESS_CLASS};
  InitCommonControlsEx(&controls);
}

Win32Application::~Win32Application() { components_.Clear(); }

FormHooks Win32Application::Hooks() {
  return FormHooks{[this](Form& form) { FormClosed(form); },
                   [this](std::exception_ptr error) {
                     if (!windowFailure_) windowFailure_ = std::move(error);
                   }};
}

void Win32Application::ShowMessage(const std::string& text) {
  // Owned by the window the user works in, so that it stays in front of it
  // and keeps it from input. Without one, all of this thread's windows wait,
  // and the box goes on top, since the progress form stays on top.
  const HWND owner = GetActiveWindow();
  MessageBoxW(owner, platform::WideFromUtf8(text).c_str(), kMessageCaption,
              MB_OK | (owner == nullptr ? MB_TASKMODAL | MB_TOPMOST | MB_SETFOREGROUND : 0));
  HandleWindowFailure();
}

void Win32Application::ProcessMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) {
      // Not ours to take: the loop that waits for it must still see it.
      PostQuitMessage(static_cast<int>(message.wParam));
      break;
    }
    Dispatch(message);
    HandleWindowFailure();
  }
  RunPostedTasks();
}

void Win32Application::Terminate() {
  terminated_ = true;
  WakeLoop();
}

ProgressForm& Win32Application::CreateProgressForm(const ProgressFormSpec& spec) {
  return components_.Add(std::make_unique<Win32ProgressForm>(spec, Hooks()));
}

Form& Win32Application::CreateForm(const FormSpec& spec) {
  return components_.Add(std::make_unique<Win32Form>(spec, Hooks()));
}

WaitForm& Win32Application::CreateWaitForm(const FormSpec& spec) {
  return components_.Add(std::make_unique<Win32WaitForm>(spec, Hooks()));
}

void Win32Application::Post(std::function<void()> task) {
  {
    const std::lock_guard lock(postedLock_);
    posted_.push_back(std::move(task));
  }
  WakeLoop();
}

void Win32Application::ReleaseComponent(Component& component) {
  const bool wasMainForm = mainForm_ == &component;
  if (components_.Release(component) && wasMainForm) mainForm_ = nullptr;
}

Component* Win32Application::FindComponent(std::string_view name) { return components_.Find(name); }

void Win32Application::FormClosed(Form& form) {
  if (&form == mainForm_) Terminate();
}

void Win32Application::WakeLoop() {
  // Should the queue be full, the loop still finds the tasks when it next
  // looks.
  PostThreadMessageW(loopThread_, kWakeMessage, 0, 0);
}

bool Win32Application::TasksWaiting() {
  const std::lock_guard lock(postedLock_);
  return !posted_.empty();
}

// Only the tasks waiting now: a task that posts another one must not keep
// the window messages from being handled.
void Win32Application::RunPostedTasks() {
  std::size_t waiting = 0;
  {
    const std::lock_guard lock(postedLock_);
    waiting = posted_.size();
  }
  for (; waiting > 0; --waiting) {
    std::function<void()> task;
    {
      const std::lock_guard lock(postedLock_);
      if (posted_.empty()) return;
      task = std::move(posted_.front());
      posted_.pop_front();
    }
    try {
      task();
    } catch (...) {
      if (!HandleEventException(std::current_exception())) throw;
    }
  }
}

void Win32Application::Dispatch(MSG& message) {
  // Thread messages (our wake-up among them) have no window to go to.
  if (message.hwnd == nullptr) return;
  // Tab, Enter and Esc move between and press the controls of the window
  // the message is for, as in any dialog.
  const HWND top = GetAncestor(message.hwnd, GA_ROOT);
  if (top != nullptr && IsDialogMessageW(top, &message)) return;
  TranslateMessage(&message);
  DispatchMessageW(&message);
}

// A window procedure caught it; here, outside the procedure, it goes where an
// exception of a task goes.
void Win32Application::HandleWindowFailure() {
  if (!windowFailure_) return;
  std::exception_ptr failure = std::exchange(windowFailure_, nullptr);
  if (!HandleEventException(failure)) std::rethrow_exception(failure);
}

void Win32Application::Run() {
  auto* form = dynamic_cast<Form*>(mainForm_);
  if (terminated_ || form == nullptr) return;
  form->Show();
  while (!terminated_) {
    RunPostedTasks();
    if (terminated_) break;
    MSG message;
    if (TasksWaiting()) {
      if (!PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) continue;
    } else {
      const BOOL got = GetMessageW(&message, nullptr, 0, 0);
      if (got == -1) platform::RaiseLastError("The message loop failed");
      if (got == 0) message.message = WM_QUIT;
    }
    if (message.message == WM_QUIT) {
      terminated_ = true;
      break;
    }
    Dispatch(message);
    HandleWindowFailure();
  }
}

std::unique_ptr<Application> CreateWin32Application() {
  return std::make_unique<Win32Application>();
}

bool SaveFormImage(Form& form, const std::string& pngPath) {
  auto* ours = dynamic_cast<Win32FormBase*>(&form);
  if (ours == nullptr) return false;
  const std::string png = EncodePng(CaptureWindow(ours->Window()), 24);
  if (png.empty()) return false;
  platform::WriteFileBytes(pngPath, png);
  return true;
}

}  // namespace rotalis::ui::win32

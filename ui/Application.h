#pragma once
// The windowing toolkit's application object, as the rest of the program sees
// it. Backends: ui/console (no display), ui/qt (Qt 6 Widgets) and ui/win32
// (the Windows API). Tests use a recording double
// (tests/support/RecordingApplication.h).

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Exception.h"

namespace rotalis::ui {

// Anything the application object owns and can find by its component name.
class Component {
 public:
  virtual ~Component() = default;
  virtual std::string Name() const = 0;
};

// A form. The module package's main form is one.
class Form : public Component {
 public:
  virtual void Show() = 0;
  virtual void Close() = 0;
};

// What a run-time progress form is built with.
struct ProgressFormSpec {
  std::string name;     // component name, e.g. "fAguarde"
  std::string caption;  // e.g. "Atualizando ..."
  int width = 0;
  int height = 0;
  int maximum = 0;  // the bar's maximum; minimum and position start at 0
};

// A plain form whose client area is one progress bar. Built hidden.
class ProgressForm : public Form {
 public:
  virtual int Position() const = 0;
  virtual void SetPosition(int position) = 0;
  // Bytes of the file now being transferred, so that a long download shows
  // life between two steps of the bar. total is 0 when unknown.
  virtual void SetTransferProgress(std::uint64_t received, std::uint64_t total) = 0;
};

// What a plain run-time form is built with (the module package's main form).
struct FormSpec {
  std::string name;     // component name, e.g. "FprinciRotalis"
  std::string caption;  // window title
  std::string text;     // shown in the client area; may be empty
  int width = 0;        // 0: the backend's default size
  int height = 0;
};

// A form that says what the start is waiting for, with a bar that moves
// without end, while someone else's work (another workstation's update) holds
// it up. Unlike the progress form it can be closed by the user: that is the
// user giving up the wait, which the waiting code reads from Closed. Built
// hidden from a FormSpec (name, caption, text; 0 sizes: the backend's).
class WaitForm : public Form {
 public:
  // Replaces the text; the form redraws it while it shows.
  virtual void SetText(const std::string& text) = 0;
  // True once the form was closed (by the user, or by Close) since it was
  // last shown.
  virtual bool Closed() const = 0;
};

class Application {
 public:
  virtual ~Application() = default;

  // Builds a plain form owned directly by the application object, hidden,
  // findable by its name. Closing the form that is the main form ends the
  // message loop. Backends without windows of their own raise.
  virtual Form& CreateForm(const FormSpec& spec) {
    throw Exception("This user interface cannot build the form " + spec.name);
  }

  // Queues a task that the message loop (or the next ProcessMessages) runs as
  // an event handler: an exception it throws goes to the event exception
  // handler below. Backends without a loop raise.
  virtual void Post(std::function<void()> task) {
    throw Exception("This user interface has no message loop to post to");
  }

  // Receives every exception that escapes an event handler run by the message
  // loop or by ProcessMessages. When the handler returns, the loop goes on
  // (the user chose to continue the application); to end the loop it calls
  // Terminate, or rethrows, which leaves Run / ProcessMessages with that
  // exception. Without a handler, the exception leaves Run / ProcessMessages.
  void SetEventExceptionHandler(std::function<void(std::exception_ptr)> handler) {
    eventExceptionHandler_ = std::move(handler);
  }

  // A modal message box with the bare text and an OK button.
  virtual void ShowMessage(const std::string& text) = 0;

  // Lets the toolkit handle the window messages that are waiting, then returns.
  virtual void ProcessMessages() = 0;

  // Marks the message loop to end; the caller goes on. A loop entered while the
  // request is pending returns at once.
  virtual void Terminate() = 0;
  virtual bool Terminated() const = 0;

  // Builds a progress form owned by the application object, hidden.
  virtual ProgressForm& CreateProgressForm(const ProgressFormSpec& spec) = 0;

  // Builds a waiting form owned by the application object, hidden, findable
  // by its name.
  virtual WaitForm& CreateWaitForm(const FormSpec& spec) = 0;

  // Releases a component that this application owns (the progress form after
  // its work); unknown pointers are ignored.
  virtual void ReleaseComponent(Component& component) = 0;

  // The component of that exact name among those owned directly, or nullptr.
  virtual Component* FindComponent(std::string_view name) = 0;

  // Stores the main form as given, also when it is nullptr or not a form.
  virtual void SetMainForm(Component* component) = 0;

  // Runs the message loop until the application terminates. Without a main
  // form it returns at once.
  virtual void Run() = 0;

 protected:
  // For backends, from inside a catch around an event handler: true when the
  // handler took the exception and the loop goes on; false when there is no
  // handler and the backend must end its loop and rethrow `error` from Run
  // or ProcessMessages. An exception the handler throws propagates.
  bool HandleEventException(std::exception_ptr error) {
    if (!eventExceptionHandler_) return false;
    eventExceptionHandler_(std::move(error));
    return true;
  }

 private:
  std::function<void(std::exception_ptr)> eventExceptionHandler_;
};

}  // namespace rotalis::ui

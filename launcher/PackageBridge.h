#pragma once
// The application object handed across the module boundary: the C table of
// the package contract, backed by a ui::Application. Exceptions never cross
// the boundary. During MainForm the first failure is kept and raised once it
// returned; later (from the package's event handlers) a failure goes to the
// message loop as an error of an event handler.

#include <exception>

#include "platform/Exception.h"
#include "platform/StackTrace.h"
#include "rotalis/module_package.h"
#include "ui/Application.h"

namespace rotalis {

// What a package reports through fail(), with the stack of that call.
class PackageFailure : public Exception, public platform::CarriedStack {
 public:
  PackageFailure(const std::string& message, platform::StackAddresses stack)
      : Exception(message), CarriedStack(std::move(stack)) {}
};

class PackageBridge {
 public:
  explicit PackageBridge(ui::Application& app);
  PackageBridge(const PackageBridge&) = delete;
  PackageBridge& operator=(const PackageBridge&) = delete;

  RotalisApplication* Table() { return &table_; }

  // MainForm has returned: raises the first failure of a call made through
  // the table during it, if any; failures from now on go to the message loop.
  void MainFormReturned();

 private:
  static PackageBridge& Of(RotalisApplication* application);
  static RotalisForm* ROTALIS_MODULE_CALL CreateForm(RotalisApplication* application,
                                                     const RotalisFormSpec* spec);
  static void ROTALIS_MODULE_CALL ShowMessage(RotalisApplication* application, const char* text);
  static void ROTALIS_MODULE_CALL Fail(RotalisApplication* application, const char* message);
  static void ROTALIS_MODULE_CALL PostEvent(RotalisApplication* application,
                                            RotalisEventHandler handler, void* context);
  void Keep(std::exception_ptr failure);

  ui::Application& app_;
  RotalisApplication table_;
  std::exception_ptr failure_;
  bool mainFormReturned_ = false;
};

}  // namespace rotalis

#pragma once
// The application object handed across the module boundary: the C table of
// the package contract, backed by a ui::Application. Exceptions never cross
// the boundary; the first failure is kept and raised once the package's call
// returned.

#include <exception>

#include "rotalis/module_package.h"
#include "ui/Application.h"

namespace rotalis {

class PackageBridge {
 public:
  explicit PackageBridge(ui::Application& app);
  PackageBridge(const PackageBridge&) = delete;
  PackageBridge& operator=(const PackageBridge&) = delete;

  RotalisApplication* Table() { return &table_; }

  // Raises the first failure of a call made through the table, if any.
  void RaiseKeptFailure();

 private:
  static PackageBridge& Of(RotalisApplication* application);
  static RotalisForm* ROTALIS_MODULE_CALL CreateForm(RotalisApplication* application,
                                                     const RotalisFormSpec* spec);
  static void ROTALIS_MODULE_CALL ShowMessage(RotalisApplication* application, const char* text);
  static void ROTALIS_MODULE_CALL Fail(RotalisApplication* application, const char* message);
  void Keep(std::exception_ptr failure);

  ui::Application& app_;
  RotalisApplication table_;
  std::exception_ptr failure_;
};

}  // namespace rotalis

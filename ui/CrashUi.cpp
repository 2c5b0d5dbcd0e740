#include "ui/CrashUi.h"

#include "platform/Exception.h"
#include "ui/console/ConsoleCrashUi.h"
#if ROTALIS_HAVE_QT
#include "ui/qt/QtCrashUi.h"
#endif

namespace rotalis::ui {

std::unique_ptr<CrashUi> CreateCrashUi(BackendKind kind) {
#if ROTALIS_HAVE_QT
  if (kind == BackendKind::Desktop) return qt::CreateQtCrashUi();
#else
  if (kind == BackendKind::Desktop)
    throw Exception("This build has no desktop user interface (built without Qt 6)");
#endif
  return console::CreateConsoleCrashUi();
}

}  // namespace rotalis::ui

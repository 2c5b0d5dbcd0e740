#include "ui/CrashUi.h"

#include "platform/Exception.h"
#include "ui/console/ConsoleCrashUi.h"
#if ROTALIS_HAVE_QT
#include "ui/qt/QtCrashUi.h"
#endif
#if ROTALIS_HAVE_WIN32_UI
#include "ui/win32/Win32Backend.h"
#endif

namespace rotalis::ui {

std::unique_ptr<CrashUi> CreateCrashUi(BackendKind kind) {
#if ROTALIS_HAVE_QT
  if (kind == BackendKind::Desktop) return qt::CreateQtCrashUi();
#elif ROTALIS_HAVE_WIN32_UI
  if (kind == BackendKind::Desktop) return win32::CreateWin32CrashUi();
#else
  if (kind == BackendKind::Desktop)
    throw Exception("This build has no desktop user interface (built without Qt 6)");
#endif
  return console::CreateConsoleCrashUi();
}

bool SaveCrashDialogImage(const CrashDialogSpec& spec, const std::string& pngPath) {
#if ROTALIS_HAVE_QT
  return qt::SaveCrashDialogImage(spec, pngPath);
#elif ROTALIS_HAVE_WIN32_UI
  return win32::SaveCrashDialogImage(spec, pngPath);
#else
  return false;
#endif
}

}  // namespace rotalis::ui

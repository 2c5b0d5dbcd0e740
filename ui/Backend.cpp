#include "ui/Backend.h"

#include "platform/Environment.h"
#include "platform/Exception.h"
#include "ui/console/ConsoleApplication.h"
#if ROTALIS_HAVE_QT
#include "ui/qt/QtBackend.h"
#endif
#if ROTALIS_HAVE_WIN32_UI
#include "ui/win32/Win32Backend.h"
#endif

namespace rotalis::ui {

namespace {

#if ROTALIS_HAVE_QT
bool DisplayNamed() {
  for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY"}) {
    const auto value = platform::GetEnvironment(variable);
    if (value && !value->empty()) return true;
  }
  return false;
}
#endif

}  // namespace

BackendKind ChooseBackend() {
#if ROTALIS_HAVE_QT
  if (DisplayNamed() && qt::DisplayCanBeOpened()) return BackendKind::Desktop;
#elif ROTALIS_HAVE_WIN32_UI
  if (win32::DesktopCanBeOpened()) return BackendKind::Desktop;
#endif
  return BackendKind::Console;
}

std::unique_ptr<Application> CreateApplication() { return CreateApplication(ChooseBackend()); }

std::unique_ptr<Application> CreateApplication(BackendKind kind) {
#if ROTALIS_HAVE_QT
  if (kind == BackendKind::Desktop) return qt::CreateQtApplication();
#elif ROTALIS_HAVE_WIN32_UI
  if (kind == BackendKind::Desktop) return win32::CreateWin32Application();
#else
  if (kind == BackendKind::Desktop)
    throw Exception("This build has no desktop user interface (built without Qt 6)");
#endif
  return std::make_unique<console::ConsoleApplication>();
}

void SaveFormImage(Form& form, const std::string& pngPath) {
#if ROTALIS_HAVE_QT
  if (qt::SaveFormImage(form, pngPath)) return;
#elif ROTALIS_HAVE_WIN32_UI
  if (win32::SaveFormImage(form, pngPath)) return;
#endif
  throw Exception("Cannot write the image of the form " + form.Name() + " to " + pngPath);
}

}  // namespace rotalis::ui

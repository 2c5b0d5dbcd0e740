#include "ui/Backend.h"

#include "platform/Environment.h"
#include "platform/Exception.h"
#include "ui/console/ConsoleApplication.h"
#if ROTALIS_HAVE_QT
#include "ui/qt/QtBackend.h"
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
#endif
  return BackendKind::Console;
}

std::unique_ptr<Application> CreateApplication() { return CreateApplication(ChooseBackend()); }

std::unique_ptr<Application> CreateApplication(BackendKind kind) {
#if ROTALIS_HAVE_QT
  if (kind == BackendKind::Desktop) return qt::CreateQtApplication();
#else
  if (kind == BackendKind::Desktop)
    throw Exception("This build has no desktop user interface (built without Qt 6)");
#endif
  return std::make_unique<console::ConsoleApplication>();
}

void SaveFormImage(Form& form, const std::string& pngPath) {
#if ROTALIS_HAVE_QT
  if (qt::SaveFormImage(form, pngPath)) return;
#endif
  throw Exception("Cannot write the image of the form " + form.Name() + " to " + pngPath);
}

}  // namespace rotalis::ui

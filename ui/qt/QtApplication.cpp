#include "ui/qt/QtApplication.h"

#include <QMessageBox>

#include "ui/qt/HeldTasks.h"
#include "ui/qt/QtBackend.h"
#include "ui/qt/QtForms.h"

namespace rotalis::ui::qt {

GuardedQApplication::GuardedQApplication(int& argc, char** argv,
                                         std::function<void(std::exception_ptr)> onException)
    : QApplication(argc, argv), onException_(std::move(onException)) {}

bool GuardedQApplication::notify(QObject* receiver, QEvent* event) {
  try {
    return QApplication::notify(receiver, event);
  } catch (...) {
    onException_(std::current_exception());
    return false;
  }
}

QtApplication::QtApplication() {
  qapp_ = std::make_unique<GuardedQApplication>(
      argc_, argv_, [this](std::exception_ptr error) { EventFailed(std::move(error)); });
  QApplication::setApplicationName(QStringLiteral("rotalis"));
  // The application ends when its main form closes or Terminate is called,
  // not when the progress form, the last window before the main form, goes.
  QApplication::setQuitOnLastWindowClosed(false);
}

QtApplication::~QtApplication() {
  components_.Clear();
  qapp_.reset();
}

// Nothing may unwind through Qt's own frames, so a failure the handler does
// not take (or throws again) stops the loop and leaves Run or ProcessMessages
// from our side of the call.
void QtApplication::EventFailed(std::exception_ptr error) {
  try {
    if (HandleEventException(error)) return;
  } catch (...) {
    error = std::current_exception();
  }
  if (!pendingFailure_) pendingFailure_ = error;
  QCoreApplication::exit(1);
}

void QtApplication::RethrowPendingFailure() {
  if (!pendingFailure_) return;
  std::exception_ptr failure = std::exchange(pendingFailure_, nullptr);
  std::rethrow_exception(failure);
}

void QtApplication::ShowMessage(const std::string& text) {
  QMessageBox box(QMessageBox::NoIcon, QApplication::applicationName(),
                  QString::fromStdString(text), QMessageBox::Ok);
  box.exec();
  RethrowPendingFailure();
}

void QtApplication::ProcessMessages() {
  QCoreApplication::processEvents(QEventLoop::AllEvents);
  RethrowPendingFailure();
}

void QtApplication::Terminate() {
  terminated_ = true;
  QCoreApplication::exit(0);
}

ProgressForm& QtApplication::CreateProgressForm(const ProgressFormSpec& spec) {
  return components_.Add(
      std::make_unique<QtProgressForm>(spec, [this](Form& closed) { FormClosed(closed); }));
}

Form& QtApplication::CreateForm(const FormSpec& spec) {
  return components_.Add(
      std::make_unique<QtForm>(spec, [this](Form& closed) { FormClosed(closed); }));
}

WaitForm& QtApplication::CreateWaitForm(const FormSpec& spec) {
  return components_.Add(
      std::make_unique<QtWaitForm>(spec, [this](Form& closed) { FormClosed(closed); }));
}

void QtApplication::Post(std::function<void()> task) {
  PostProgramTask(qapp_.get(), std::move(task));
}

void QtApplication::ReleaseComponent(Component& component) {
  const bool wasMainForm = mainForm_ == &component;
  if (components_.Release(component) && wasMainForm) mainForm_ = nullptr;
}

Component* QtApplication::FindComponent(std::string_view name) { return components_.Find(name); }

void QtApplication::FormClosed(Form& form) {
  if (&form == mainForm_) Terminate();
}

void QtApplication::Run() {
  auto* form = dynamic_cast<Form*>(mainForm_);
  if (terminated_ || form == nullptr) return;
  form->Show();
  // A Terminate from a task that ran while the form was being shown came
  // before the loop could hear it.
  if (!terminated_) QApplication::exec();
  RethrowPendingFailure();
}

std::unique_ptr<Application> CreateQtApplication() { return std::make_unique<QtApplication>(); }

bool SaveFormImage(Form& form, const std::string& pngPath) {
  auto* ours = dynamic_cast<QtFormBase*>(&form);
  if (ours == nullptr) return false;
  QCoreApplication::processEvents();
  return ours->Widget().grab().save(QString::fromStdString(pngPath), "PNG");
}

}  // namespace rotalis::ui::qt

#include "ui/qt/QtApplication.h"

#include <QMessageBox>
#include <QTimer>
#include <algorithm>

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
  components_.clear();
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
  auto form = std::make_unique<QtProgressForm>(spec, [this](Form& closed) { FormClosed(closed); });
  ProgressForm& result = *form;
  components_.push_back(std::move(form));
  return result;
}

Form& QtApplication::CreateForm(const FormSpec& spec) {
  auto form = std::make_unique<QtForm>(spec, [this](Form& closed) { FormClosed(closed); });
  Form& result = *form;
  components_.push_back(std::move(form));
  return result;
}

void QtApplication::Post(std::function<void()> task) {
  QTimer::singleShot(0, qapp_.get(), std::move(task));
}

void QtApplication::ReleaseComponent(Component& component) {
  const auto owned = std::find_if(components_.begin(), components_.end(),
                                  [&](const auto& c) { return c.get() == &component; });
  if (owned == components_.end()) return;
  if (mainForm_ == &component) mainForm_ = nullptr;
  components_.erase(owned);
}

Component* QtApplication::FindComponent(std::string_view name) {
  for (const auto& component : components_)
    if (component->Name() == name) return component.get();
  return nullptr;
}

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

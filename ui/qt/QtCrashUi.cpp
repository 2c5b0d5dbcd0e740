#include "ui/qt/QtCrashUi.h"

#include <QApplication>
#include <QBuffer>
#include <QDialog>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QStyle>
#include <QVBoxLayout>

#include "ui/qt/HeldTasks.h"

namespace rotalis::ui::qt {
namespace {

QString Text(const std::string& text) { return QString::fromStdString(text); }

int argcForOwnApplication = 1;
char argv0ForOwnApplication[] = "rotalis";
char* argvForOwnApplication[] = {argv0ForOwnApplication, nullptr};

QStyle::StandardPixmap IconOf(CrashDialogButton id, bool canContinue) {
  switch (id) {
    case CrashDialogButton::ShowBugReport:
      return QStyle::SP_FileDialogDetailedView;
    case CrashDialogButton::ContinueApplication:
      return canContinue ? QStyle::SP_MediaPlay : QStyle::SP_BrowserStop;
    case CrashDialogButton::RestartApplication:
      return QStyle::SP_BrowserReload;
    case CrashDialogButton::CloseApplication:
      return QStyle::SP_DialogCloseButton;
  }
  return QStyle::SP_CustomBase;
}

// The buttons store the user's choice in `chosen` and accept the dialog.
void BuildCrashDialog(QDialog& dialog, const CrashDialogSpec& spec, CrashDialogButton& chosen) {
  dialog.setWindowTitle(Text(spec.title));
  auto* layout = new QVBoxLayout(&dialog);
  auto* top = new QHBoxLayout;
  auto* icon = new QLabel;
  icon->setPixmap(dialog.style()->standardIcon(QStyle::SP_MessageBoxCritical).pixmap(48, 48));
  top->addWidget(icon, 0, Qt::AlignTop);
  auto* message = new QLabel(Text(spec.message));
  message->setWordWrap(true);
  top->addWidget(message, 1);
  layout->addLayout(top);
  auto* row = new QHBoxLayout;
  QPushButton* focused = nullptr;
  for (const auto& button : spec.buttons) {
    auto* push = new QPushButton(Text(button.text));
    push->setIcon(dialog.style()->standardIcon(IconOf(button.id, spec.canContinue)));
    if (button.id == CrashDialogButton::ContinueApplication && !spec.canContinue) {
      push->setEnabled(false);
      push->setToolTip(QStringLiteral("The application cannot continue after this error."));
    }
    QObject::connect(push, &QPushButton::clicked, &dialog, [&dialog, &chosen, id = button.id] {
      chosen = id;
      dialog.accept();
    });
    row->addWidget(push);
    if (button.id == spec.focused) focused = push;
  }
  layout->addLayout(row);
  if (focused != nullptr) {
    focused->setDefault(true);
    focused->setFocus();
  }
}

class QtCrashUi : public CrashUi {
 public:
  QtCrashUi() {
    if (QApplication::instance() == nullptr) {
      ownApplication_ =
          std::make_unique<QApplication>(argcForOwnApplication, argvForOwnApplication);
    }
  }

  void ShowPleaseWait(const std::string& title, const std::string& text) override {
    pleaseWait_ = std::make_unique<QDialog>();
    pleaseWait_->setWindowTitle(Text(title));
    pleaseWait_->setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint);
    auto* layout = new QHBoxLayout(pleaseWait_.get());
    auto* icon = new QLabel;
    icon->setPixmap(
        pleaseWait_->style()->standardIcon(QStyle::SP_MessageBoxInformation).pixmap(32, 32));
    layout->addWidget(icon);
    layout->addWidget(new QLabel(Text(text)));
    pleaseWait_->setModal(true);
    pleaseWait_->show();
    // Nothing else runs the loop while the report is built: paint it now,
    // without the program's tasks and without the user's input to its forms.
    pleaseWaitHold_ = std::make_unique<ProgramTasksHeld>();
    for (int i = 0; i < 3; ++i) QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
  }

  void HidePleaseWait() override {
    pleaseWait_.reset();
    pleaseWaitHold_.reset();
  }

  CrashDialogButton ShowCrashDialog(const CrashDialogSpec& spec) override {
    const ProgramTasksHeld held;
    QDialog dialog;
    CrashDialogButton chosen = spec.focused;
    BuildCrashDialog(dialog, spec, chosen);
    dialog.exec();
    return chosen;
  }

  void ShowReport(const std::string& title, const std::string& report) override {
    const ProgramTasksHeld held;
    QDialog dialog;
    dialog.setWindowTitle(Text(title));
    auto* layout = new QVBoxLayout(&dialog);
    auto* text = new QPlainTextEdit(Text(report));
    text->setReadOnly(true);
    text->setLineWrapMode(QPlainTextEdit::NoWrap);
    text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    layout->addWidget(text);
    auto* close = new QPushButton(QStringLiteral("&OK"));
    QObject::connect(close, &QPushButton::clicked, &dialog, &QDialog::accept);
    layout->addWidget(close, 0, Qt::AlignRight);
    dialog.resize(900, 500);
    dialog.exec();
  }

  void ShowSimpleBox(const SimpleBoxSpec& spec) override {
    const ProgramTasksHeld held;
    for (;;) {
      QMessageBox box(QMessageBox::Warning, Text(spec.title), Text(spec.message));
      QPushButton* ok = box.addButton(Text(spec.okText), QMessageBox::AcceptRole);
      QPushButton* details = box.addButton(Text(spec.detailsText), QMessageBox::ActionRole);
      box.setDefaultButton(ok);
      box.exec();
      if (box.clickedButton() != details) return;
      QMessageBox more(QMessageBox::Information, Text(spec.title), Text(spec.details));
      more.exec();
    }
  }

  std::string CaptureScreenPng(int bitsPerPixel) override {
    QScreen* screen = QGuiApplication::primaryScreen();
    if (screen == nullptr) return {};
    const QRect desktop = screen->virtualGeometry();
    QImage image =
        screen->grabWindow(0, desktop.x(), desktop.y(), desktop.width(), desktop.height())
            .toImage();
    if (image.isNull()) return {};
    if (bitsPerPixel <= 8)
      image = image.convertToFormat(QImage::Format_Indexed8, Qt::ThresholdDither);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG")) return {};
    return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
  }

  // One QApplication per process: made here only when the program has none.
  std::unique_ptr<QApplication> ownApplication_;
  std::unique_ptr<QDialog> pleaseWait_;
  std::unique_ptr<ProgramTasksHeld> pleaseWaitHold_;
};

}  // namespace

std::unique_ptr<CrashUi> CreateQtCrashUi() { return std::make_unique<QtCrashUi>(); }

bool SaveCrashDialogImage(const CrashDialogSpec& spec, const std::string& pngPath) {
  const QtCrashUi ui;  // makes sure a QApplication exists
  QDialog dialog;
  CrashDialogButton chosen = spec.focused;
  BuildCrashDialog(dialog, spec, chosen);
  dialog.show();
  dialog.activateWindow();
  for (int i = 0; i < 5; ++i) QCoreApplication::processEvents();
  return dialog.grab().save(QString::fromStdString(pngPath), "PNG");
}

}  // namespace rotalis::ui::qt

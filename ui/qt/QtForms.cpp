#include "ui/qt/QtForms.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>

namespace rotalis::ui::qt {

namespace {

QString FromUtf8(const std::string& text) { return QString::fromUtf8(text.data(), text.size()); }

void CentreOnScreen(QWidget& window) {
  if (QScreen* screen = QGuiApplication::primaryScreen())
    window.move(screen->availableGeometry().center() - window.rect().center());
}

}  // namespace

FormWindow::FormWindow(std::function<void()> onClosed, Qt::WindowFlags flags)
    : QWidget(nullptr, flags), onClosed_(std::move(onClosed)) {}

void FormWindow::closeEvent(QCloseEvent* event) {
  QWidget::closeEvent(event);
  if (event->isAccepted() && onClosed_) onClosed_();
}

QtForm::QtForm(const FormSpec& spec, std::function<void(Form&)> onClosed) : name_(spec.name) {
  window_ = std::make_unique<FormWindow>([this, onClosed] { onClosed(*this); });
  window_->setObjectName(FromUtf8(spec.name));
  window_->setWindowTitle(FromUtf8(spec.caption));
  window_->resize(spec.width > 0 ? spec.width : 640, spec.height > 0 ? spec.height : 480);
  auto* layout = new QVBoxLayout(window_.get());
  // The title bar belongs to the window manager; the caption is repeated as a
  // heading so the form says what it is on any desktop.
  auto* heading = new QLabel(FromUtf8(spec.caption), window_.get());
  QFont headingFont = heading->font();
  headingFont.setPointSizeF(headingFont.pointSizeF() * 1.6);
  headingFont.setBold(true);
  heading->setFont(headingFont);
  layout->addWidget(heading);
  auto* body = new QLabel(FromUtf8(spec.text), window_.get());
  body->setWordWrap(true);
  body->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  layout->addWidget(body, 1);
  CentreOnScreen(*window_);
}

void QtForm::Show() {
  window_->show();
  window_->raise();
  window_->activateWindow();
}

void QtForm::Close() { window_->close(); }

// A plain window without system menu or minimise, maximise and help buttons,
// kept above the others while the work goes on, its client area one bar.
QtProgressForm::QtProgressForm(const ProgressFormSpec& spec, std::function<void(Form&)> onClosed)
    : name_(spec.name) {
  const Qt::WindowFlags flags =
      Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowStaysOnTopHint;
  window_ = std::make_unique<FormWindow>([this, onClosed] { onClosed(*this); }, flags);
  window_->setObjectName(FromUtf8(spec.name));
  window_->setWindowTitle(FromUtf8(spec.caption));
  window_->setFixedSize(spec.width > 0 ? spec.width : 400, spec.height > 0 ? spec.height : 150);
  auto* layout = new QVBoxLayout(window_.get());
  layout->setContentsMargins(0, 0, 0, 0);
  bar_ = new QProgressBar(window_.get());
  bar_->setRange(0, spec.maximum);
  bar_->setValue(0);
  bar_->setAlignment(Qt::AlignCenter);
  bar_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
  bar_->setFormat(QStringLiteral("%v / %m"));
  layout->addWidget(bar_);
  CentreOnScreen(*window_);
}

void QtProgressForm::Show() {
  window_->show();
  window_->raise();
}

void QtProgressForm::Close() { window_->close(); }

int QtProgressForm::Position() const { return bar_->value(); }

// Out of range, the bar would keep its old value; like any progress bar that
// users know, it stops at its ends instead.
void QtProgressForm::SetPosition(int position) {
  bar_->setValue(std::clamp(position, bar_->minimum(), bar_->maximum()));
  bar_->setFormat(QStringLiteral("%v / %m"));
}

void QtProgressForm::SetTransferProgress(std::uint64_t received, std::uint64_t total) {
  const QString bytes = total == 0
                            ? QStringLiteral("%1 KiB").arg(received / 1024)
                            : QStringLiteral("%1 of %2 KiB").arg(received / 1024).arg(total / 1024);
  bar_->setFormat(QStringLiteral("%v / %m \u2014 ") + bytes);
}

// Like the progress form, kept above the others, but with a close button:
// closing is how the user stops waiting. The bar has no range, so Qt keeps it
// moving to show that the program is alive.
QtWaitForm::QtWaitForm(const FormSpec& spec, std::function<void(Form&)> onClosed)
    : name_(spec.name) {
  const Qt::WindowFlags flags = Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                Qt::WindowCloseButtonHint | Qt::WindowStaysOnTopHint;
  window_ = std::make_unique<FormWindow>(
      [this, onClosed] {
        closed_ = true;
        onClosed(*this);
      },
      flags);
  window_->setObjectName(FromUtf8(spec.name));
  window_->setWindowTitle(FromUtf8(spec.caption));
  window_->setFixedSize(spec.width > 0 ? spec.width : 420, spec.height > 0 ? spec.height : 160);
  auto* layout = new QVBoxLayout(window_.get());
  text_ = new QLabel(FromUtf8(spec.text), window_.get());
  text_->setWordWrap(true);
  text_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  layout->addWidget(text_, 1);
  auto* bar = new QProgressBar(window_.get());
  bar->setRange(0, 0);
  bar->setTextVisible(false);
  layout->addWidget(bar);
  CentreOnScreen(*window_);
}

void QtWaitForm::Show() {
  closed_ = false;
  window_->show();
  window_->raise();
}

void QtWaitForm::Close() { window_->close(); }

void QtWaitForm::SetText(const std::string& text) {
  const QString shown = FromUtf8(text);
  if (text_->text() != shown) text_->setText(shown);
}

}  // namespace rotalis::ui::qt

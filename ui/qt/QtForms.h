#pragma once
// The desktop backend's forms: each owns one top-level widget and tells the
// application object when the user or the program closed it.

#include <QLabel>
#include <QProgressBar>
#include <QWidget>
#include <functional>
#include <memory>

#include "ui/Application.h"

namespace rotalis::ui::qt {

// A top-level widget that reports its close.
class FormWindow : public QWidget {
 public:
  explicit FormWindow(std::function<void()> onClosed, Qt::WindowFlags flags = Qt::Window);

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  std::function<void()> onClosed_;
};

// What the backend needs of every form of its own.
class QtFormBase {
 public:
  virtual ~QtFormBase() = default;
  virtual QWidget& Widget() = 0;
};

class QtForm : public Form, public QtFormBase {
 public:
  QtForm(const FormSpec& spec, std::function<void(Form&)> onClosed);
  std::string Name() const override { return name_; }
  void Show() override;
  void Close() override;
  QWidget& Widget() override { return *window_; }

 private:
  std::string name_;
  std::unique_ptr<FormWindow> window_;
};

class QtProgressForm : public ProgressForm, public QtFormBase {
 public:
  QtProgressForm(const ProgressFormSpec& spec, std::function<void(Form&)> onClosed);
  std::string Name() const override { return name_; }
  void Show() override;
  void Close() override;
  int Position() const override;
  void SetPosition(int position) override;
  void SetTransferProgress(std::uint64_t received, std::uint64_t total) override;
  QWidget& Widget() override { return *window_; }

 private:
  std::string name_;
  std::unique_ptr<FormWindow> window_;
  QProgressBar* bar_ = nullptr;  // owned by window_
};

class QtWaitForm : public WaitForm, public QtFormBase {
 public:
  QtWaitForm(const FormSpec& spec, std::function<void(Form&)> onClosed);
  std::string Name() const override { return name_; }
  void Show() override;
  void Close() override;
  void SetText(const std::string& text) override;
  bool Closed() const override { return closed_; }
  QWidget& Widget() override { return *window_; }

 private:
  std::string name_;
  std::unique_ptr<FormWindow> window_;
  QLabel* text_ = nullptr;  // owned by window_
  bool closed_ = false;
};

}  // namespace rotalis::ui::qt

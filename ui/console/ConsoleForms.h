#pragma once
// The console backend's forms: a form is a few lines of text on the output
// stream; it says when it opens and when it closes.

#include <functional>
#include <ostream>
#include <string>

#include "ui/Application.h"

namespace rotalis::ui::console {

// What every console form shares: where it writes, whether a person types the
// input (then a form says how to close it) or watches the output live (then
// byte counts are shown in place), and whom a form tells that it closed.
struct ConsoleFormContext {
  std::ostream& out;
  bool inputIsTerminal = false;
  bool outputIsTerminal = false;
  std::function<void(Form&)> onClosed;
};

class ConsoleForm : public Form {
 public:
  ConsoleForm(FormSpec spec, ConsoleFormContext context);
  std::string Name() const override { return spec_.name; }
  void Show() override;
  void Close() override;
  bool Visible() const { return visible_; }

 private:
  FormSpec spec_;
  ConsoleFormContext context_;
  bool visible_ = false;
};

class ConsoleProgressForm : public ProgressForm {
 public:
  ConsoleProgressForm(ProgressFormSpec spec, ConsoleFormContext context);
  std::string Name() const override { return spec_.name; }
  void Show() override;
  void Close() override;
  int Position() const override { return position_; }
  void SetPosition(int position) override;
  void SetTransferProgress(std::uint64_t received, std::uint64_t total) override;

 private:
  void EndTransferLine();

  ProgressFormSpec spec_;
  ConsoleFormContext context_;
  int position_ = 0;
  bool visible_ = false;
  bool transferLineOpen_ = false;
  int lastPercent_ = -1;
};

// A waiting form: the caption, then its text on a line each time it changes.
// A console has nothing to close it with (Ctrl+C ends the whole process), so
// only the program closes it.
class ConsoleWaitForm : public WaitForm {
 public:
  ConsoleWaitForm(FormSpec spec, ConsoleFormContext context);
  std::string Name() const override { return spec_.name; }
  void Show() override;
  void Close() override;
  void SetText(const std::string& text) override;
  bool Closed() const override { return closed_; }

 private:
  FormSpec spec_;
  ConsoleFormContext context_;
  bool visible_ = false;
  bool closed_ = false;
};

}  // namespace rotalis::ui::console

#include "ui/console/ConsoleForms.h"

#include <utility>

namespace rotalis::ui::console {

ConsoleForm::ConsoleForm(FormSpec spec, ConsoleFormContext context)
    : spec_(std::move(spec)), context_(std::move(context)) {}

void ConsoleForm::Show() {
  if (visible_) return;
  visible_ = true;
  const std::string& title = spec_.caption.empty() ? spec_.name : spec_.caption;
  context_.out << title << " is open\n";
  if (!spec_.text.empty()) context_.out << spec_.text << '\n';
  if (context_.inputIsTerminal) context_.out << "(end the input, Ctrl+D, to close it)\n";
  context_.out.flush();
}

void ConsoleForm::Close() {
  if (!visible_) return;
  visible_ = false;
  const std::string& title = spec_.caption.empty() ? spec_.name : spec_.caption;
  context_.out << title << " closed\n";
  context_.out.flush();
  if (context_.onClosed) context_.onClosed(*this);
}

ConsoleProgressForm::ConsoleProgressForm(ProgressFormSpec spec, ConsoleFormContext context)
    : spec_(std::move(spec)), context_(std::move(context)) {}

void ConsoleProgressForm::Show() {
  if (visible_) return;
  visible_ = true;
  context_.out << spec_.caption << '\n';
  context_.out.flush();
}

void ConsoleProgressForm::Close() {
  EndTransferLine();
  visible_ = false;
}

// The bar's steps are few (one per file), so each is a line of its own even
// in a log; the byte counts of one transfer are many, so only a person at a
// terminal sees them, overwritten in place.
void ConsoleProgressForm::SetPosition(int position) {
  position_ = position;
  if (!visible_) return;
  EndTransferLine();
  context_.out << spec_.caption << ' ' << position_ << '/' << spec_.maximum << '\n';
  context_.out.flush();
  lastPercent_ = -1;
}

void ConsoleProgressForm::SetTransferProgress(std::uint64_t received, std::uint64_t total) {
  if (!visible_ || !context_.outputIsTerminal) return;
  const int percent = total == 0 ? -1 : static_cast<int>(received * 100 / total);
  if (total != 0 && percent == lastPercent_) return;
  lastPercent_ = percent;
  context_.out << '\r' << received / 1024 << " KiB";
  if (total != 0) context_.out << " of " << total / 1024 << " KiB (" << percent << "%)";
  context_.out.flush();
  transferLineOpen_ = true;
}

void ConsoleProgressForm::EndTransferLine() {
  if (!transferLineOpen_) return;
  context_.out << '\n';
  transferLineOpen_ = false;
}

ConsoleWaitForm::ConsoleWaitForm(FormSpec spec, ConsoleFormContext context)
    : spec_(std::move(spec)), context_(std::move(context)) {}

void ConsoleWaitForm::Show() {
  if (visible_) return;
  visible_ = true;
  closed_ = false;
  context_.out << spec_.caption << '\n' << spec_.text << '\n';
  context_.out.flush();
}

void ConsoleWaitForm::Close() {
  if (!visible_) return;
  visible_ = false;
  closed_ = true;
  if (context_.onClosed) context_.onClosed(*this);
}

// Called again and again while the wait lasts: only a change is news.
void ConsoleWaitForm::SetText(const std::string& text) {
  if (text == spec_.text) return;
  spec_.text = text;
  if (!visible_) return;
  context_.out << spec_.text << '\n';
  context_.out.flush();
}

}  // namespace rotalis::ui::console

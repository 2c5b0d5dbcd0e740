#pragma once
// A user-interface double: records what would have been shown instead of
// showing it. Everything else in a test is real.

#include <memory>
#include <string>
#include <vector>

#include "ui/Application.h"

namespace rotalis::test {

class RecordingProgressForm : public ui::ProgressForm {
 public:
  explicit RecordingProgressForm(ui::ProgressFormSpec spec) : spec_(std::move(spec)) {}
  std::string Name() const override { return spec_.name; }
  void Show() override {
    shown = true;
    ++showCalls;
  }
  void Close() override { closed = true; }
  int Position() const override { return position_; }
  void SetPosition(int position) override {
    position_ = position;
    positions.push_back(position);
  }
  void SetTransferProgress(std::uint64_t received, std::uint64_t total) override {
    lastReceived = received;
    lastTotal = total;
    ++transferUpdates;
  }

  const ui::ProgressFormSpec& Spec() const { return spec_; }

  bool shown = false;
  bool closed = false;
  int showCalls = 0;
  std::vector<int> positions;
  std::uint64_t lastReceived = 0;
  std::uint64_t lastTotal = 0;
  int transferUpdates = 0;

 private:
  ui::ProgressFormSpec spec_;
  int position_ = 0;
};

// A waiting form: the texts it showed, in order. Close is also how a test
// plays the user closing it.
class RecordingWaitForm : public ui::WaitForm {
 public:
  explicit RecordingWaitForm(ui::FormSpec spec) : spec_(std::move(spec)) {
    texts.push_back(spec_.text);
  }
  std::string Name() const override { return spec_.name; }
  void Show() override {
    shown = true;
    closed = false;
  }
  void Close() override { closed = true; }
  void SetText(const std::string& text) override {
    if (text != texts.back()) texts.push_back(text);
  }
  bool Closed() const override { return closed; }

  const ui::FormSpec& Spec() const { return spec_; }

  bool shown = false;
  bool closed = false;
  std::vector<std::string> texts;  // the first is the one it was built with

 private:
  ui::FormSpec spec_;
};

class RecordingApplication : public ui::Application {
 public:
  void ShowMessage(const std::string& text) override { messages.push_back(text); }
  void ProcessMessages() override { ++processMessagesCalls; }
  void Terminate() override {
    terminated_ = true;
    ++terminateCalls;
  }
  bool Terminated() const override { return terminated_; }
  ui::ProgressForm& CreateProgressForm(const ui::ProgressFormSpec& spec) override;
  ui::WaitForm& CreateWaitForm(const ui::FormSpec& spec) override;
  void ReleaseComponent(ui::Component& component) override;
  ui::Component* FindComponent(std::string_view name) override;
  void SetMainForm(ui::Component* component) override { mainForm = component; }
  void Run() override { ++runCalls; }

  // Components built so far, released ones included (they stay readable here).
  std::vector<std::unique_ptr<RecordingProgressForm>> progressForms;
  std::vector<std::unique_ptr<RecordingWaitForm>> waitForms;
  std::vector<const ui::Component*> released;
  std::vector<std::string> messages;
  int processMessagesCalls = 0;
  int terminateCalls = 0;
  int runCalls = 0;
  ui::Component* mainForm = nullptr;

 private:
  bool terminated_ = false;
};

}  // namespace rotalis::test

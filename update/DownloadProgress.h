#pragma once
// What a download shows while it runs: the bytes on the progress form and a
// responsive window.

#include <chrono>
#include <cstdint>

#include "ui/Application.h"

namespace rotalis {

// Moves the form with the bytes received and keeps the windows alive, but at
// most ten times a second: a loopback transfer calls back thousands of times.
// `offset` is added to what the transfer reports: bytes a resumed download
// already had before it.
class DownloadProgress {
 public:
  DownloadProgress(ui::Application& app, ui::ProgressForm* form, std::uint64_t offset = 0)
      : app_(app), form_(form), offset_(offset) {}

  bool operator()(std::uint64_t received, std::uint64_t total) {
    const auto now = std::chrono::steady_clock::now();
    if (now - last_ < std::chrono::milliseconds(100)) return true;
    last_ = now;
    if (form_ != nullptr)
      form_->SetTransferProgress(offset_ + received, total == 0 ? 0 : offset_ + total);
    app_.ProcessMessages();
    return true;
  }

 private:
  ui::Application& app_;
  ui::ProgressForm* form_;
  std::uint64_t offset_;
  std::chrono::steady_clock::time_point last_{};
};

}  // namespace rotalis

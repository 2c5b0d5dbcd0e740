#include "platform/FileLock.h"

#include <algorithm>
#include <thread>

#include "platform/Exception.h"
#include "platform/TextEncoding.h"

namespace rotalis::platform {
namespace {

// The note as it is stored: the text, cut where a whole character ends, then
// zero bytes up to the fixed size, so that a shorter note overwrites a longer
// one without the file ever being truncated.
std::string NoteRecord(std::string_view text) {
  std::size_t length = std::min(text.size(), FileLock::kNoteBytes - 1);
  if (length < text.size())
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  std::string record(text.substr(0, length));
  record.resize(FileLock::kNoteBytes, '\0');
  return record;
}

// Whatever another program left there is shown to people: valid UTF-8 on one
// line.
std::string NoteText(const std::string& record) {
  std::string text = ReplaceInvalidUtf8(record.substr(0, record.find('\0')));
  for (char& c : text)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  const auto first = text.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace

bool FileLock::LockWithin(std::chrono::milliseconds timeout) {
  constexpr std::chrono::milliseconds kRetry(20);
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!TryLock()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(kRetry);
  }
  return true;
}

void FileLock::WriteNote(std::string_view text) {
  if (!locked_)
    throw Exception("Cannot write a note into '" + path_ + "' without holding its lock");
  WriteAtStart(NoteRecord(text));
  noted_ = true;
}

std::string FileLock::ReadNote() const {
  try {
    return NoteText(ReadAtStart(kNoteBytes));
  } catch (const Exception&) {
    return {};
  }
}

// Best effort: a note left behind only names a holder that is gone, and the
// next holder overwrites it.
void FileLock::WipeNote() noexcept {
  if (!noted_) return;
  noted_ = false;
  try {
    WriteAtStart(std::string(kNoteBytes, '\0'));
  } catch (...) {
  }
}

}  // namespace rotalis::platform

#include "platform/WatcherChannel_win.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "platform/Exception.h"
#include "platform/FatalSignal.h"

// The watcher's side of the channel; the program's is FatalSignal_win.cpp.
namespace rotalis::platform {
namespace {

// A handle's value is an index into the process's handle table; inherited
// handles keep their values, so the number is all the watcher needs.
std::string NumberOf(HANDLE handle) {
  return std::to_string(reinterpret_cast<std::uintptr_t>(handle));
}

class RecordView {
 public:
  explicit RecordView(HANDLE mapping)
      : view_(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, sizeof(FatalErrorRecord))) {}
  ~RecordView() {
    if (view_ != nullptr) UnmapViewOfFile(view_);
  }
  RecordView(const RecordView&) = delete;
  RecordView& operator=(const RecordView&) = delete;
  const void* get() const { return view_; }

 private:
  void* view_;
};

}  // namespace

std::string WatcherChannelText(const WatcherChannelHandles& handles) {
  return NumberOf(handles.record) + ":" + NumberOf(handles.crashed) + ":" + NumberOf(handles.done) +
         ":" + NumberOf(handles.program);
}

WatcherChannelHandles ParseWatcherChannelText(const std::string& text) {
  WatcherChannelHandles handles;
  HANDLE* fields[] = {&handles.record, &handles.crashed, &handles.done, &handles.program};
  const char* at = text.data();
  const char* const end = text.data() + text.size();
  for (std::size_t i = 0; i < std::size(fields); ++i) {
    std::uintptr_t value = 0;
    const auto parsed = std::from_chars(at, end, value);
    const bool last = i + 1 == std::size(fields);
    const bool separated = last ? parsed.ptr == end : parsed.ptr != end && *parsed.ptr == ':';
    if (parsed.ec != std::errc() || value == 0 || !separated)
      throw Exception("Not a crash watcher channel: '" + text + "'");
    *fields[i] = reinterpret_cast<HANDLE>(value);
    at = parsed.ptr + 1;
  }
  return handles;
}

std::optional<FatalErrorRecord> WaitForFatalError(const std::string& channel) {
  const WatcherChannelHandles handles = ParseWatcherChannelText(channel);
  const HANDLE events[] = {handles.crashed, handles.program};
  // Both may be set when the program was ended while the record was on its
  // way: the crash comes first.
  if (WaitForMultipleObjects(2, events, FALSE, INFINITE) != WAIT_OBJECT_0) return std::nullopt;
  const RecordView view(handles.record);
  if (view.get() == nullptr) return std::nullopt;
  FatalErrorRecord record;
  std::memcpy(&record, view.get(), sizeof record);
  if (record.frameCount > kMaxStackFrames) record.frameCount = kMaxStackFrames;
  record.errorClass[sizeof record.errorClass - 1] = '\0';
  record.message[sizeof record.message - 1] = '\0';
  return record;
}

void ReleaseCrashedProcess(const std::string& channel) {
  SetEvent(ParseWatcherChannelText(channel).done);
}

}  // namespace rotalis::platform

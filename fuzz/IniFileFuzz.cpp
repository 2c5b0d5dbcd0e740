// The configuration file under arbitrary bytes and arbitrary writes: reading
// never fails and gives valid UTF-8; a write either raises and leaves the file
// as it was, or reads back as written, keeps the file's encoding, leaves the
// other keys asked about reading as before, and a second identical write
// changes no byte.

#include <fuzzer/FuzzedDataProvider.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "config/IniFile.h"
#include "platform/AsciiCase.h"
#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/TextEncoding.h"

namespace {

std::string& FilePath() {
  // In memory where the machine has it: every run writes the file twice.
  static std::string path = [] {
    std::string folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    folder += "/rotalis-ini-fuzz-XXXXXX";
    if (!mkdtemp(folder.data())) std::abort();
    static std::string made = folder;
    std::atexit([] {
      std::remove((made + "/erp.ini").c_str());
      rmdir(made.c_str());
    });
    return folder + "/erp.ini";
  }();
  return path;
}

void Check(bool condition) {
  if (!condition) std::abort();
}

// Names the reads and writes use: short, ASCII, without blanks, so that two of
// them name the same key exactly when they match ignoring ASCII case.
std::string Name(FuzzedDataProvider& input) {
  static constexpr std::string_view kLetters = "aAbBpPoOsSiI;[]=x";
  std::string name;
  const std::size_t length = input.ConsumeIntegralInRange<std::size_t>(1, 4);
  for (std::size_t i = 0; i < length; ++i)
    name += kLetters[input.ConsumeIntegralInRange<std::size_t>(0, kLetters.size() - 1)];
  return name;
}

// The value as it must read back: nothing around it for Windows to trim, no
// enclosing quotes for it to remove.
bool ReadsBackAsItIs(std::string_view value) {
  constexpr std::string_view kBlanks = " \t\v\f\x1A";
  if (value.empty()) return true;
  if (kBlanks.find(value.front()) != std::string_view::npos ||
      kBlanks.find(value.back()) != std::string_view::npos)
    return false;
  return !(value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
           value.back() == value.front());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  const std::string section = input.ConsumeBool() ? Name(input) : "posi";
  const std::string key = Name(input);
  const std::string value = input.ConsumeRandomLengthString(24);
  std::vector<std::pair<std::string, std::string>> others;
  for (int i = 0; i < 3; ++i) {
    std::string otherSection = input.ConsumeBool() ? section : Name(input);
    others.emplace_back(std::move(otherSection), Name(input));
  }
  const std::string bytes = input.ConsumeRemainingBytesAsString();
  const std::string& path = FilePath();
  rotalis::platform::WriteFileBytes(path, bytes);

  const rotalis::IniFile before(path);
  std::vector<std::string> readBefore;
  for (const auto& [s, k] : others) {
    readBefore.push_back(before.ReadString(s, k, "\x01"));
    Check(rotalis::IsValidUtf8(readBefore.back()));
  }
  Check(rotalis::IsValidUtf8(before.ReadString(section, key, "")));

  try {
    rotalis::IniFile(path).WriteString(section, key, value);
  } catch (const rotalis::Exception&) {
    Check(rotalis::platform::ReadFileBytes(path) == bytes);
    return 0;
  }
  const rotalis::IniFile after(path);
  Check(after.FileEncoding() == before.FileEncoding());
  const std::string readBack = after.ReadString(section, key, "\x01");
  Check(rotalis::IsValidUtf8(readBack));
  if (ReadsBackAsItIs(value)) Check(readBack == value);
  for (std::size_t i = 0; i < others.size(); ++i) {
    const auto& [s, k] = others[i];
    if (rotalis::platform::EqualsIgnoringAsciiCase(s, section) &&
        rotalis::platform::EqualsIgnoringAsciiCase(k, key))
      continue;
    Check(after.ReadString(s, k, "\x01") == readBefore[i]);
  }

  const std::string written = rotalis::platform::ReadFileBytes(path);
  rotalis::IniFile(path).WriteString(section, key, value);
  Check(rotalis::platform::ReadFileBytes(path) == written);
  return 0;
}

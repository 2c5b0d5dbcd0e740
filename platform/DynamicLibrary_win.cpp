#include "platform/DynamicLibrary.h"

#include <windows.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "platform/AsciiCase.h"
#include "platform/Exception.h"
#include "platform/ScopedHandle_win.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// The DLLs the library imports that can be found neither among the loaded
// modules nor along the search path: the system's message for a missing
// dependency ("The specified module could not be found.") names none. Read
// from the import table of the file mapped as an image, without running it.
std::vector<std::string> MissingImports(const std::string& path) {
  std::vector<std::string> missing;
  HMODULE mapped = LoadLibraryExW(WideFromUtf8(path).c_str(), nullptr,
                                  LOAD_LIBRARY_AS_IMAGE_RESOURCE | LOAD_LIBRARY_AS_DATAFILE);
  if (mapped == nullptr) return missing;
  // A data-file handle carries flags in its low bits; the image starts below them.
  const auto* base =
      reinterpret_cast<const BYTE*>(reinterpret_cast<ULONG_PTR>(mapped) & ~ULONG_PTR{3});
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  if (dos->e_magic == IMAGE_DOS_SIGNATURE && nt->Signature == IMAGE_NT_SIGNATURE) {
    const IMAGE_DATA_DIRECTORY& imports =
        nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* entry =
             reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
         imports.VirtualAddress != 0 && entry->Name != 0; ++entry) {
      const std::string name = reinterpret_cast<const char*>(base + entry->Name);
      // Names of the API sets are no files.
      const std::string lowered = AsciiLowered(name);
      if (lowered.rfind("api-ms-", 0) == 0 || lowered.rfind("ext-ms-", 0) == 0) continue;
      const std::wstring wide = WideFromUtf8(name);
      wchar_t found[MAX_PATH];
      if (GetModuleHandleW(wide.c_str()) == nullptr &&
          SearchPathW(nullptr, wide.c_str(), nullptr, MAX_PATH, found, nullptr) == 0)
        missing.push_back(name);
    }
  }
  FreeLibrary(mapped);
  return missing;
}

// The machine a PE file is built for, read from its headers; nothing when the
// file cannot be read or is no PE file (the loader then says what is wrong).
std::optional<WORD> FileMachine(const std::string& path) {
  const ScopedHandle file(CreateFileW(WideFromUtf8(path).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file.valid()) return std::nullopt;
  const auto readAt = [&](LONG offset, void* into, DWORD size) {
    DWORD read = 0;
    return SetFilePointer(file.get(), offset, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER &&
           ReadFile(file.get(), into, size, &read, nullptr) && read == size;
  };
  IMAGE_DOS_HEADER dos{};
  if (!readAt(0, &dos, sizeof dos) || dos.e_magic != IMAGE_DOS_SIGNATURE || dos.e_lfanew < 0)
    return std::nullopt;
  struct {
    DWORD signature;
    IMAGE_FILE_HEADER header;
  } pe{};
  if (!readAt(dos.e_lfanew, &pe, sizeof pe) || pe.signature != IMAGE_NT_SIGNATURE)
    return std::nullopt;
  return pe.header.Machine;
}

WORD OwnMachine() {
  const auto* base = reinterpret_cast<const BYTE*>(GetModuleHandleW(nullptr));
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  return reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew)->FileHeader.Machine;
}

std::string MachineName(WORD machine) {
  switch (machine) {
    case IMAGE_FILE_MACHINE_I386:
      return "Windows de 32 bits (x86)";
    case IMAGE_FILE_MACHINE_AMD64:
      return "Windows de 64 bits (x64)";
    case IMAGE_FILE_MACHINE_ARM64:
      return "Windows ARM de 64 bits (ARM64)";
    case IMAGE_FILE_MACHINE_ARMNT:
      return "Windows ARM de 32 bits";
    case IMAGE_FILE_MACHINE_IA64:
      return "Windows Itanium";
    default: {
      char code[8];
      std::snprintf(code, sizeof code, "%04X", machine);
      return std::string("outra máquina (tipo 0x") + code + ")";
    }
  }
}

// The loader refuses a library of another machine with a text that names
// neither the file nor the machine; the user needs both to fetch the right one.
void CheckMachine(const std::string& path) {
  const auto machine = FileMachine(path);
  if (!machine || *machine == OwnMachine()) return;
  throw Exception("Não é possível carregar " + path + ": o arquivo foi feito para " +
                  MachineName(*machine) + ", e este programa é de " + MachineName(OwnMachine()) +
                  ".");
}

}  // namespace

// The loader finds the library's own dependencies through PATH, which the
// start-up has just set to the installation's folders. A missing dependency
// must come back as an error for the crash reporter, not as the system's own
// error box, hence the thread's error mode around the load.
LoadedLibrary LoadedLibrary::LoadForProcess(const std::string& path,
                                            const std::vector<std::string>& dependencyFolders) {
  CheckMachine(path);
  DWORD previousMode = 0;
  SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &previousMode);
  HMODULE module = LoadLibraryW(WideFromUtf8(path).c_str());
  const DWORD error = GetLastError();
  SetThreadErrorMode(previousMode, nullptr);
  if (module == nullptr) {
    std::string message = "Cannot load " + path + ": " + WindowsErrorMessage(error, path);
    if (error == ERROR_MOD_NOT_FOUND) {
      std::string names;
      for (const std::string& name : MissingImports(path))
        names += (names.empty() ? "" : ", ") + name;
      if (!names.empty()) message += " (not found: " + names + ")";
    }
    throw Exception(message);
  }
  return LoadedLibrary(module, path);
}

void* LoadedLibrary::Export(const std::string& name) const {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name.c_str()));
}

}  // namespace rotalis::platform

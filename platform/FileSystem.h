#pragma once
// File and folder tests, listing and the few file operations the program needs.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace rotalis::platform {

// True when the path names a regular file (symbolic links are followed).
bool FileExists(const std::string& path);

// True when the path names a folder (symbolic links are followed).
bool DirectoryExists(const std::string& path);

struct DirectoryEntry {
  std::string name;  // the bare name, no folder
  bool isDirectory = false;
};

// The entries directly inside a folder, hidden ones included, "." and ".."
// excluded, in the platform's enumeration order. A missing or unreadable
// folder gives an empty list.
std::vector<DirectoryEntry> ListDirectory(const std::string& folder);

// Resolves a relative path made of fixed names ("kelvaERP.ini",
// "atualizadores_versao/x.exe") below a folder, matching each element against
// what exists while ignoring ASCII case, so that one installation behaves the
// same on case-sensitive and case-insensitive file systems. An element that
// does not exist keeps the spelling given. Separators in `relative` are '/'.
// On a case-insensitive file system this is a plain join.
std::string ResolveIgnoringCase(std::string_view folder, std::string_view relative);

// Creates the folder and every missing parent; raises rotalis::Exception with
// the system's message when that is impossible.
void CreateDirectories(const std::string& path);

// The whole file as bytes; raises rotalis::Exception when it cannot be read.
std::string ReadFileBytes(const std::string& path);

// Replaces the file's content with `bytes` so that a reader never sees half of
// it (written beside it under TemporaryNameBeside, then renamed over it). A
// symbolic link stays a link: the file it names is the one replaced. Where
// its folder takes no new file but the file itself is writable, the file is
// rewritten in place instead. A file another program holds open is waited for
// (RetryWhileHeld) before the replace fails. Raises rotalis::Exception.
void WriteFileBytes(const std::string& path, std::string_view bytes);

// The size of the file in bytes; raises rotalis::Exception when it cannot be
// read.
std::uint64_t FileSize(const std::string& path);

// Hands the file to `piece` front to back in pieces of at most a few hundred
// kilobytes, so that a file of any size is read without holding it whole.
// Raises rotalis::Exception when it cannot be read; an exception of `piece`
// passes unchanged.
void ReadFilePieces(const std::string& path,
                    const std::function<void(const char* data, std::size_t size)>& piece);

// Gives the file `from` the name `to`, replacing a file of that name; both lie
// in the same folder. Either held open by another program is waited for, as
// by WriteFileBytes. Raises rotalis::Exception with the system's message.
void RenameFile(const std::string& from, const std::string& to);

// Removes the file; one that is not there already is no error. One held open
// by another program is waited for, as by WriteFileBytes. Raises
// rotalis::Exception when it stays.
void RemoveFile(const std::string& path);

// The system's message text for an error number (strerror on POSIX).
std::string SystemErrorMessage(int error);

}  // namespace rotalis::platform

#pragma once
// The file operations of a download that is finished in several steps: the
// size of what arrived so far, reading a large file piece by piece, renaming
// a finished file into place and removing one that is not wanted.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace rotalis::platform {

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
// in the same folder. Raises rotalis::Exception with the system's message.
void RenameFile(const std::string& from, const std::string& to);

// Removes the file; one that is not there already is no error. Raises
// rotalis::Exception when it stays.
void RemoveFile(const std::string& path);

}  // namespace rotalis::platform

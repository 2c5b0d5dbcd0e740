#pragma once
// Whether the standard streams are attached to a terminal (a person typing and
// reading) rather than to a file or a pipe.

namespace rotalis::platform {

bool StandardInputIsTerminal();
bool StandardErrorIsTerminal();

// For a program built as a windowed (GUI) program on Windows: the system gives
// it no console, not even when it is started from a console window, so the
// console backend's text would go nowhere. When the program was started from a
// console, this attaches to that console and reopens stdin, stdout and stderr
// on it, but only those the starter left unset: a stream redirected to a file
// or a pipe stays where it was sent. A program that has a console already
// reopens its unset streams on that one; without any console nothing happens.
// (The console does not wait for a windowed program, so its prompt may come
// back before the program's text.)
// On POSIX systems the streams are already the terminal's, and it does nothing.
// Call it in main before anything is written, and only when the console
// backend runs: a program attached to a console keeps that console open, and
// is ended when someone closes it.
void AttachParentConsole();

// Makes std::cout and std::cerr, where they write to a console, hand it their
// UTF-8 text as characters: a Windows console reads the bytes of a plain write
// in its own code page. A stream sent to a file or a pipe still gets the
// bytes. Nothing to do on POSIX systems, whose terminals read UTF-8. Call it
// after AttachParentConsole and before the streams are used.
void WriteConsoleTextAsCharacters();

}  // namespace rotalis::platform

#pragma once
// Conversions between the program's UTF-8 text and the encodings that Windows
// configuration files and the latin1 database columns come in.

#include <optional>
#include <string>
#include <string_view>

namespace rotalis {

// Windows-1252 (the ANSI code page of Brazilian Windows) to UTF-8. The five
// bytes the code page leaves undefined map to the C1 controls of the same
// value, so that every byte sequence survives a round trip.
std::string Windows1252ToUtf8(std::string_view bytes);

// UTF-8 to Windows-1252; nothing when the text holds a character the code
// page cannot represent or is not valid UTF-8.
std::optional<std::string> Utf8ToWindows1252(std::string_view text);

// The code points of the UTF-8 text; a byte that is no part of well-formed
// UTF-8 stands for the code point of its value.
std::u32string CodePointsOf(std::string_view text);

// The UTF-8 text with every character that Windows-1252 cannot represent
// (and every byte that is no part of well-formed UTF-8) replaced by "?": what
// a text becomes on its way through the code page, still as UTF-8.
std::string FitToWindows1252(std::string_view text);

// UTF-16 little-endian (no BOM) to UTF-8; nothing on an odd length or a lone
// surrogate.
std::optional<std::string> Utf16LeToUtf8(std::string_view bytes);

// UTF-8 to UTF-16 little-endian (no BOM); nothing on invalid UTF-8.
std::optional<std::string> Utf8ToUtf16Le(std::string_view text);

// True when every byte is below 0x80: text that reads the same in UTF-8,
// Windows-1252 and latin1.
bool IsAscii(std::string_view text);

// True when the text is well-formed UTF-8. Allocates nothing, so that a large
// answer can be checked where it stands.
bool IsValidUtf8(std::string_view text);

// The text with every byte that is no part of well-formed UTF-8 replaced by
// U+FFFD, so that what is handed on is always valid UTF-8.
std::string ReplaceInvalidUtf8(std::string_view text);

// Appends one code point (at most U+10FFFF) as UTF-8.
void AppendUtf8(std::string& out, char32_t codePoint);

}  // namespace rotalis

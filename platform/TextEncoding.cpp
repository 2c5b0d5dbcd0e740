#include "platform/TextEncoding.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace rotalis {
namespace {

// Code points of Windows-1252 bytes 0x80..0x9F; undefined bytes keep their value.
constexpr std::array<char32_t, 32> kHighControls = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

// Decodes the code point at text[i] and advances i past it; false (i
// unchanged) when no well-formed UTF-8 sequence starts there (overlong forms
// and surrogates included).
// Where the run of ASCII bytes from `from` ends. Bodies and texts are mostly
// ASCII: eight bytes are tried at a time.
std::size_t AsciiRunEnd(std::string_view text, std::size_t from) {
  std::size_t i = from;
  for (; i + 8 <= text.size(); i += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data() + i, 8);
    if ((word & 0x8080808080808080u) != 0) break;
  }
  while (i < text.size() && static_cast<unsigned char>(text[i]) < 0x80) ++i;
  return i;
}

bool DecodeOne(std::string_view text, std::size_t& i, char32_t& cp) {
  const auto lead = static_cast<unsigned char>(text[i]);
  int extra = 0;
  char32_t minimum = 0;
  if (lead < 0x80) {
    cp = lead;
  } else if ((lead & 0xE0) == 0xC0) {
    extra = 1, cp = lead & 0x1F, minimum = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    extra = 2, cp = lead & 0x0F, minimum = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    extra = 3, cp = lead & 0x07, minimum = 0x10000;
  } else {
    return false;
  }
  if (i + extra >= text.size() && extra > 0) return false;
  for (int k = 1; k <= extra; ++k) {
    const auto cont = static_cast<unsigned char>(text[i + k]);
    if ((cont & 0xC0) != 0x80) return false;
    cp = (cp << 6) | (cont & 0x3F);
  }
  if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
  i += extra + 1;
  return true;
}

// Decodes the whole text; nothing when it is not well-formed UTF-8.
std::optional<std::vector<char32_t>> DecodeUtf8(std::string_view text) {
  std::vector<char32_t> out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    char32_t cp = 0;
    if (!DecodeOne(text, i, cp)) return std::nullopt;
    out.push_back(cp);
  }
  return out;
}

// The Windows-1252 byte of a code point; nothing when the code page has none.
std::optional<char> Windows1252Byte(char32_t cp) {
  if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) return static_cast<char>(cp);
  for (std::size_t k = 0; k < kHighControls.size(); ++k)
    if (kHighControls[k] == cp) return static_cast<char>(0x80 + k);
  return std::nullopt;
}

// The text with each well-formed sequence whose code point `keep` accepts
// copied as it is, and `replacement` put for each refused code point and for
// each byte that starts no well-formed sequence.
template <typename Keep>
std::string KeepSequences(std::string_view text, std::string_view replacement, Keep keep) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    // Every ASCII byte is kept.
    const std::size_t start = i;
    i = AsciiRunEnd(text, i);
    out.append(text.substr(start, i - start));
    if (i == text.size()) break;
    const std::size_t sequence = i;
    char32_t cp = 0;
    if (!DecodeOne(text, i, cp)) {
      out += replacement;
      ++i;
    } else if (keep(cp)) {
      out.append(text.substr(sequence, i - sequence));
    } else {
      out += replacement;
    }
  }
  return out;
}

}  // namespace

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

bool IsAscii(std::string_view text) { return AsciiRunEnd(text, 0) == text.size(); }

bool IsValidUtf8(std::string_view text) {
  for (std::size_t i = AsciiRunEnd(text, 0); i < text.size(); i = AsciiRunEnd(text, i)) {
    char32_t cp = 0;
    if (!DecodeOne(text, i, cp)) return false;
  }
  return true;
}

std::string ReplaceInvalidUtf8(std::string_view text) {
  return KeepSequences(text, "\xEF\xBF\xBD", [](char32_t) { return true; });
}

std::string Windows1252ToUtf8(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  for (char c : bytes) {
    const auto b = static_cast<unsigned char>(c);
    AppendUtf8(out, (b >= 0x80 && b < 0xA0) ? kHighControls[b - 0x80] : char32_t(b));
  }
  return out;
}

std::optional<std::string> Utf8ToWindows1252(std::string_view text) {
  const auto codePoints = DecodeUtf8(text);
  if (!codePoints) return std::nullopt;
  std::string out;
  out.reserve(codePoints->size());
  for (char32_t cp : *codePoints) {
    const auto byte = Windows1252Byte(cp);
    if (!byte) return std::nullopt;
    out += *byte;
  }
  return out;
}

std::u32string CodePointsOf(std::string_view text) {
  std::u32string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    char32_t cp = 0;
    if (!DecodeOne(text, i, cp)) cp = static_cast<unsigned char>(text[i++]);
    out += cp;
  }
  return out;
}

std::string FitToWindows1252(std::string_view text) {
  return KeepSequences(text, "?", [](char32_t cp) { return Windows1252Byte(cp).has_value(); });
}

std::optional<std::string> Utf16LeToUtf8(std::string_view bytes) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  std::string out;
  out.reserve(bytes.size());
  auto unitAt = [&](std::size_t i) {
    return static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                 (static_cast<unsigned char>(bytes[i + 1]) << 8));
  };
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    const char16_t unit = unitAt(i);
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      if (i + 3 >= bytes.size()) return std::nullopt;
      const char16_t low = unitAt(i + 2);
      if (low < 0xDC00 || low > 0xDFFF) return std::nullopt;
      AppendUtf8(out, 0x10000 + ((char32_t(unit) - 0xD800) << 10) + (low - 0xDC00));
      i += 2;
    } else if (unit >= 0xDC00 && unit <= 0xDFFF) {
      return std::nullopt;
    } else {
      AppendUtf8(out, unit);
    }
  }
  return out;
}

std::optional<std::string> Utf8ToUtf16Le(std::string_view text) {
  const auto codePoints = DecodeUtf8(text);
  if (!codePoints) return std::nullopt;
  std::string out;
  out.reserve(codePoints->size() * 2);
  auto put = [&](char32_t unit) {
    out += static_cast<char>(unit & 0xFF);
    out += static_cast<char>((unit >> 8) & 0xFF);
  };
  for (char32_t cp : *codePoints) {
    if (cp >= 0x10000) {
      put(0xD800 + ((cp - 0x10000) >> 10));
      put(0xDC00 + ((cp - 0x10000) & 0x3FF));
    } else {
      put(cp);
    }
  }
  return out;
}

}  // namespace rotalis

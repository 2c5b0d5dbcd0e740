#pragma once
// The image header of a PNG file, for tests of screenshots.

#include <cstdint>
#include <string>

namespace rotalis::test {

struct PngHeader {
  bool valid = false;  // the PNG signature, then an IHDR chunk
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  int bitDepth = 0;
  int colourType = 0;  // 0 grey, 2 RGB, 3 palette
};

inline PngHeader ReadPngHeader(const std::string& png) {
  const auto bigEndian = [&](std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
      value = value << 8 | static_cast<unsigned char>(png[at + i]);
    return value;
  };
  PngHeader header;
  if (png.size() <= 33 || png.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0 ||
      png.compare(12, 4, "IHDR") != 0)
    return header;
  header.valid = true;
  header.width = bigEndian(16);
  header.height = bigEndian(20);
  header.bitDepth = png[24];
  header.colourType = png[25];
  return header;
}

}  // namespace rotalis::test

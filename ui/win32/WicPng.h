#pragma once
// PNG files through the Windows Imaging Component, so that no image library
// ships with the program. For the files of ui/win32 only.

#include <string>

#include "ui/win32/ScreenCapture.h"

namespace rotalis::ui::win32 {

// The pixels as PNG file bytes: with 8 or fewer bits per pixel a palette
// image of at most 256 colours made for these pixels, otherwise 24-bit colour.
// Raises when the imaging component fails.
std::string EncodePng(const Pixels& pixels, int bitsPerPixel);

}  // namespace rotalis::ui::win32

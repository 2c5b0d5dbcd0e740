// The desktop crash user interface's screenshot: the whole screen as a PNG
// with 8 bits per pixel (a palette image). Needs a display; the CTest entry
// runs it under a private Xvfb.

#include <gtest/gtest.h>

#include <string>

#include "platform/Environment.h"
#include "tests/support/PngHeader.h"
#include "ui/qt/QtCrashUi.h"

namespace rotalis::ui {
namespace {

TEST(QtCrashScreenshotTest, TheWholeScreenAtEightBitsPerPixel) {
  if (platform::GetEnvironment("DISPLAY").value_or("").empty()) GTEST_SKIP() << "no display";
  const std::string png = qt::CreateQtCrashUi()->CaptureScreenPng(8);
  const test::PngHeader header = test::ReadPngHeader(png);
  ASSERT_TRUE(header.valid) << "no PNG signature and IHDR chunk";
  // The test's X server is 1280x800 (see CMakeLists.txt).
  EXPECT_EQ(header.width, 1280u);
  EXPECT_EQ(header.height, 800u);
  EXPECT_EQ(header.bitDepth, 8);
  // One byte a pixel: a palette, or grey levels when every colour of the
  // palette is grey (an empty X screen is black).
  EXPECT_TRUE(header.colourType == 3 || header.colourType == 0) << header.colourType;
}

}  // namespace
}  // namespace rotalis::ui

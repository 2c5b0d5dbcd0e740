// The desktop crash user interface's screenshot: the whole screen as a PNG
// with 8 bits per pixel (a palette image). Needs a display; the CTest entry
// runs it under a private Xvfb.

#include <gtest/gtest.h>

#include <string>

#include "platform/Environment.h"
#include "ui/qt/QtCrashUi.h"

namespace rotalis::ui {
namespace {

std::uint32_t BigEndian(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i)
    value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

TEST(QtCrashScreenshotTest, TheWholeScreenAtEightBitsPerPixel) {
  if (platform::GetEnvironment("DISPLAY").value_or("").empty()) GTEST_SKIP() << "no display";
  const std::string png = qt::CreateQtCrashUi()->CaptureScreenPng(8);
  ASSERT_GT(png.size(), 33u);
  EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(png.substr(12, 4), "IHDR");
  // The test's X server is 1280x800 (see CMakeLists.txt).
  EXPECT_EQ(BigEndian(png, 16), 1280u);
  EXPECT_EQ(BigEndian(png, 20), 800u);
  EXPECT_EQ(png[24], 8);  // bit depth
  // One byte a pixel: a palette, or grey levels when every colour of the
  // palette is grey (an empty X screen is black).
  EXPECT_TRUE(png[25] == 3 || png[25] == 0) << int(png[25]);
}

}  // namespace
}  // namespace rotalis::ui

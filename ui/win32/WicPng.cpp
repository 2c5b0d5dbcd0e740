#include "ui/win32/WicPng.h"

#include <windows.h>

#include <wincodec.h>

#include <cstdio>

#include "platform/Exception.h"
#include "ui/win32/WindowHandles.h"

namespace rotalis::ui::win32 {
namespace {

void Check(HRESULT result, const char* step) {
  if (SUCCEEDED(result)) return;
  char code[16];
  std::snprintf(code, sizeof code, "0x%08lx", static_cast<unsigned long>(result));
  throw Exception(std::string("Cannot encode the PNG image (") + step + "): error " + code);
}

// The palette image of at most 256 colours that the encoder writes with a
// colour table (PNG colour type 3).
struct IndexedImage {
  ComPtr<IWICPalette> palette;
  ComPtr<IWICBitmapSource> pixels;
};

IndexedImage ToIndexed(IWICImagingFactory& factory, IWICBitmapSource& source) {
  IndexedImage indexed;
  Check(factory.CreatePalette(&indexed.palette), "palette");
  // The colours the picture uses most, not a fixed table: a screenshot of a
  // few windows keeps its own greys and blues.
  Check(indexed.palette->InitializeFromBitmap(&source, 256, FALSE), "palette from the image");
  ComPtr<IWICFormatConverter> converter;
  Check(factory.CreateFormatConverter(&converter), "converter");
  Check(converter->Initialize(&source, GUID_WICPixelFormat8bppIndexed, WICBitmapDitherTypeNone,
                              indexed.palette.Get(), 0.0, WICBitmapPaletteTypeCustom),
        "conversion to 8 bits per pixel");
  indexed.pixels = converter;
  return indexed;
}

std::string StreamBytes(IStream& stream) {
  STATSTG status{};
  Check(stream.Stat(&status, STATFLAG_NONAME), "stream size");
  Check(stream.Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr), "stream start");
  std::string bytes(static_cast<std::size_t>(status.cbSize.QuadPart), '\0');
  ULONG read = 0;
  Check(stream.Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read), "stream read");
  bytes.resize(read);
  return bytes;
}

}  // namespace

std::string EncodePng(const Pixels& pixels, int bitsPerPixel) {
  if (pixels.width <= 0 || pixels.height <= 0) return {};
  // Released last: every COM object below goes before COM does.
  const ComInitialization com;
  if (!com.Usable()) throw Exception("Cannot encode the PNG image: COM is not available");
  ComPtr<IWICImagingFactory> factory;
  Check(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                         IID_PPV_ARGS(&factory)),
        "imaging factory");
  const UINT width = static_cast<UINT>(pixels.width);
  const UINT height = static_cast<UINT>(pixels.height);
  ComPtr<IWICBitmap> bitmap;
  Check(factory->CreateBitmapFromMemory(width, height, GUID_WICPixelFormat32bppBGR, width * 4,
                                        static_cast<UINT>(pixels.bgrx.size()),
                                        const_cast<BYTE*>(pixels.bgrx.data()), &bitmap),
        "bitmap");

  IndexedImage indexed;
  ComPtr<IWICBitmapSource> source = bitmap;
  WICPixelFormatGUID format = GUID_WICPixelFormat24bppBGR;
  if (bitsPerPixel <= 8) {
    indexed = ToIndexed(*factory.Get(), *bitmap.Get());
    source = indexed.pixels;
    format = GUID_WICPixelFormat8bppIndexed;
  } else {
    ComPtr<IWICFormatConverter> converter;
    Check(factory->CreateFormatConverter(&converter), "converter");
    Check(converter->Initialize(bitmap.Get(), format, WICBitmapDitherTypeNone, nullptr, 0.0,
                                WICBitmapPaletteTypeCustom),
          "conversion to 24 bits per pixel");
    source = converter;
  }

  ComPtr<IStream> stream;
  Check(CreateStreamOnHGlobal(nullptr, TRUE, &stream), "memory stream");
  ComPtr<IWICBitmapEncoder> encoder;
  Check(factory->CreateEncoder(GUID_ContainerFormatPng, nullptr, &encoder), "encoder");
  Check(encoder->Initialize(stream.Get(), WICBitmapEncoderNoCache), "encoder start");
  ComPtr<IWICBitmapFrameEncode> frame;
  ComPtr<IPropertyBag2> options;
  Check(encoder->CreateNewFrame(&frame, &options), "frame");
  Check(frame->Initialize(options.Get()), "frame start");
  Check(frame->SetSize(width, height), "size");
  const WICPixelFormatGUID wanted = format;
  Check(frame->SetPixelFormat(&format), "pixel format");
  // The encoder answers with the format it will write; another one would
  // need a second conversion that this code does not make.
  if (!IsEqualGUID(format, wanted)) Check(WINCODEC_ERR_UNSUPPORTEDPIXELFORMAT, "pixel format");
  if (indexed.palette) Check(frame->SetPalette(indexed.palette.Get()), "colour table");
  Check(frame->WriteSource(source.Get(), nullptr), "pixels");
  Check(frame->Commit(), "frame end");
  Check(encoder->Commit(), "file end");
  return StreamBytes(*stream.Get());
}

}  // namespace rotalis::ui::win32

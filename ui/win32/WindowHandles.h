#pragma once
// Owners of the Windows user-interface handles: windows, GDI objects, device
// contexts and COM pointers each go back to the system when their owner goes.
// For the files of ui/win32 only.

#include <windows.h>

#include <objbase.h>
#include <wrl/client.h>

#include <utility>

namespace rotalis::ui::win32 {

using Microsoft::WRL::ComPtr;

// A handle released by one call of the system when its owner goes.
template <class Handle, auto Release>
class UniqueHandle {
 public:
  explicit UniqueHandle(Handle handle = nullptr) : handle_(handle) {}
  ~UniqueHandle() { reset(); }
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) reset(std::exchange(other.handle_, nullptr));
    return *this;
  }
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;

  Handle get() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }
  Handle release() { return std::exchange(handle_, nullptr); }
  void reset(Handle handle = nullptr) {
    if (handle_ != nullptr) Release(handle_);
    handle_ = handle;
  }

 private:
  Handle handle_;
};

// DeleteObject takes any GDI object; the handle keeps its own type.
template <class GdiHandle>
BOOL DeleteGdiObject(GdiHandle object) {
  return DeleteObject(object);
}

using UniqueWindow = UniqueHandle<HWND, &DestroyWindow>;
using UniqueFont = UniqueHandle<HFONT, &DeleteGdiObject<HFONT>>;
using UniqueBitmap = UniqueHandle<HBITMAP, &DeleteGdiObject<HBITMAP>>;
using UniqueMemoryDc = UniqueHandle<HDC, &DeleteDC>;
using UniqueIcon = UniqueHandle<HICON, &DestroyIcon>;

// A window's (or with nullptr the screen's) device context, released to it.
class WindowDc {
 public:
  explicit WindowDc(HWND window) : window_(window), dc_(GetDC(window)) {}
  ~WindowDc() {
    if (dc_ != nullptr) ReleaseDC(window_, dc_);
  }
  WindowDc(const WindowDc&) = delete;
  WindowDc& operator=(const WindowDc&) = delete;
  HDC get() const { return dc_; }

 private:
  HWND window_;
  HDC dc_;
};

// Selects an object into a device context for one scope, then puts the old
// one back (a DC must not be deleted with our objects still selected).
class SelectedObject {
 public:
  SelectedObject(HDC dc, HGDIOBJ object) : dc_(dc), previous_(SelectObject(dc, object)) {}
  ~SelectedObject() {
    if (previous_ != nullptr && previous_ != HGDI_ERROR) SelectObject(dc_, previous_);
  }
  SelectedObject(const SelectedObject&) = delete;
  SelectedObject& operator=(const SelectedObject&) = delete;

 private:
  HDC dc_;
  HGDIOBJ previous_;
};

// COM for the calling thread while the object lives. A thread that already
// runs COM in the other apartment model can still use it; it is then not ours
// to uninitialise.
class ComInitialization {
 public:
  ComInitialization()
      : result_(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE)) {}
  ~ComInitialization() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }
  ComInitialization(const ComInitialization&) = delete;
  ComInitialization& operator=(const ComInitialization&) = delete;
  bool Usable() const { return SUCCEEDED(result_) || result_ == RPC_E_CHANGED_MODE; }

 private:
  HRESULT result_;
};

}  // namespace rotalis::ui::win32

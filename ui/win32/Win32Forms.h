#pragma once
// The Windows backend's forms: each is one top-level window of its own
// class, built hidden, that tells the application object when it was closed
// and hands over what failed in its window procedure. For the files of
// ui/win32 only.

#include <windows.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <string>

#include "ui/Application.h"
#include "ui/win32/Win32Window.h"
#include "ui/win32/WindowHandles.h"

namespace rotalis::ui::win32 {

// What a form needs from its application object.
struct FormHooks {
  std::function<void(Form&)> onClosed;
  std::function<void(std::exception_ptr)> onFailure;
};

// What the backend needs of every form of its own.
class Win32FormBase {
 public:
  virtual ~Win32FormBase() = default;
  virtual HWND Window() const = 0;
};

// A form that hides on close, as a form does, and says so when it was shown.
template <class FormInterface>
class ClosableForm : public FormInterface, public Win32FormBase, protected Win32Window {
 public:
  std::string Name() const override { return name_; }
  HWND Window() const override { return Handle(); }
  void Close() override { SendMessageW(Handle(), WM_CLOSE, 0, 0); }

 protected:
  ClosableForm(std::string name, FormHooks hooks)
      : Win32Window(std::move(hooks.onFailure)),
        name_(std::move(name)),
        onClosed_(std::move(hooks.onClosed)) {}

  // WM_CLOSE, from the user or from Close.
  void HideAndReport() {
    if (!IsWindowVisible(Handle())) return;
    ShowWindow(Handle(), SW_HIDE);
    if (onClosed_) onClosed_(*this);
  }

 private:
  std::string name_;
  std::function<void(Form&)> onClosed_;
};

// The module package's main form: a sizeable window whose client area shows
// the caption as a heading and the form's text below it.
class Win32Form : public ClosableForm<Form> {
 public:
  Win32Form(const FormSpec& spec, FormHooks hooks);
  ~Win32Form() override;
  void Show() override;

 protected:
  LRESULT HandleMessage(UINT message, WPARAM wParam, LPARAM lParam) override;

 private:
  void SetFonts(UINT dpi);
  void Layout();

  int width_;
  int height_;
  HWND heading_ = nullptr;  // children, destroyed with the window
  HWND body_ = nullptr;
  UniqueFont headingFont_;
  UniqueFont bodyFont_;
};

// The download's progress form: a fixed window without system menu or
// minimise and maximise buttons, kept above the others, its client area one
// progress bar that carries the step and the bytes of the file under way.
class Win32ProgressForm : public ClosableForm<ProgressForm> {
 public:
  Win32ProgressForm(const ProgressFormSpec& spec, FormHooks hooks);
  ~Win32ProgressForm() override;
  void Show() override;
  int Position() const override { return position_; }
  void SetPosition(int position) override;
  void SetTransferProgress(std::uint64_t received, std::uint64_t total) override;

 protected:
  LRESULT HandleMessage(UINT message, WPARAM wParam, LPARAM lParam) override;

 private:
  void ApplyDpi();
  void ShowBarText(const std::wstring& transfer);
  static LRESULT CALLBACK BarProcedure(HWND bar, UINT message, WPARAM wParam, LPARAM lParam);

  int width_;
  int height_;
  int maximum_;
  int position_ = 0;
  HWND bar_ = nullptr;  // child, destroyed with the window
  WNDPROC barProcedure_ = nullptr;
  UniqueFont font_;
};

// The waiting form: a fixed window kept above the others, with a close
// button (closing is the user giving up the wait), its text above a bar
// that moves without end.
class Win32WaitForm : public ClosableForm<WaitForm> {
 public:
  Win32WaitForm(const FormSpec& spec, FormHooks hooks);
  ~Win32WaitForm() override;
  void Show() override;
  void SetText(const std::string& text) override;
  bool Closed() const override { return closed_; }

 protected:
  LRESULT HandleMessage(UINT message, WPARAM wParam, LPARAM lParam) override;

 private:
  void Layout();

  int width_;
  int height_;
  std::wstring text_;
  HWND label_ = nullptr;  // children, destroyed with the window
  HWND bar_ = nullptr;
  UniqueFont font_;
  bool closed_ = false;
};

}  // namespace rotalis::ui::win32

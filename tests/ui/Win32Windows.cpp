#include "tests/ui/Win32Windows.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace rotalis::test {
namespace {

HWND WaitFor(const wchar_t* windowClass, const std::wstring& title, bool visible) {
  for (int attempt = 0; attempt < 500; ++attempt) {
    const HWND window = FindWindowW(windowClass, title.c_str());
    if (window != nullptr && (!visible || IsWindowVisible(window))) return window;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return nullptr;
}

}  // namespace

HWND WaitForWindow(const wchar_t* windowClass, const std::wstring& title) {
  return WaitFor(windowClass, title, false);
}

HWND WaitForVisibleWindow(const wchar_t* windowClass, const std::wstring& title) {
  return WaitFor(windowClass, title, true);
}

HWND WaitForOwnedWindow(HWND owner, const wchar_t* windowClass, const std::wstring& title) {
  for (int attempt = 0; attempt < 500; ++attempt) {
    for (HWND window = FindWindowExW(nullptr, nullptr, windowClass, title.c_str());
         window != nullptr; window = FindWindowExW(nullptr, window, windowClass, title.c_str()))
      if (GetWindow(window, GW_OWNER) == owner && IsWindowVisible(window)) return window;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return nullptr;
}

std::wstring WindowText(HWND window) {
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(static_cast<std::size_t>(GetWindowTextW(window, text.data(), text.size())));
  return text;
}

LONG StyleOf(HWND window) { return GetWindowLongW(window, GWL_STYLE); }

std::vector<HWND> ChildrenOf(HWND parent, const wchar_t* windowClass) {
  std::vector<HWND> children;
  for (HWND child = FindWindowExW(parent, nullptr, windowClass, nullptr); child != nullptr;
       child = FindWindowExW(parent, child, windowClass, nullptr))
    children.push_back(child);
  const auto origin = [](HWND window) {
    RECT rect{};
    GetWindowRect(window, &rect);
    return std::make_pair(rect.top, rect.left);
  };
  std::stable_sort(children.begin(), children.end(), [&](HWND a, HWND b) {
    const auto [topA, leftA] = origin(a);
    const auto [topB, leftB] = origin(b);
    return topA != topB ? topA < topB : leftA < leftB;
  });
  return children;
}

std::wstring TextOfChildren(HWND parent, const wchar_t* windowClass) {
  std::wstring text;
  for (const HWND child : ChildrenOf(parent, windowClass)) text += WindowText(child);
  return text;
}

void PressKey(HWND window, WPARAM key) {
  GUITHREADINFO thread{};
  thread.cbSize = sizeof thread;
  HWND target = window;
  if (GetGUIThreadInfo(GetWindowThreadProcessId(window, nullptr), &thread) &&
      thread.hwndFocus != nullptr)
    target = thread.hwndFocus;
  PostMessageW(target, WM_KEYDOWN, key, 1);
  PostMessageW(target, WM_KEYUP, key, static_cast<LPARAM>(0xC0000001u));
}

void Click(HWND button) { SendMessageW(button, BM_CLICK, 0, 0); }

}  // namespace rotalis::test

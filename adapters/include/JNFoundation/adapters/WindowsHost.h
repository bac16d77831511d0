#pragma once

#include <algorithm>
#include <climits>
#include <windows.h>

#include <JNFoundation/platform/dispatch/LoopHost.h>

namespace JNFoundation::inline v0_1 {

/// The main queue inside the message loop of a Windows application.
///
/// UNTESTED: compiled by mingw-w64, never run by those who wrote it.
///
///     MainQueue::current().setHost(std::make_unique<WindowsHost>());
///     while (GetMessage(&message, nullptr, 0, 0) > 0) { … }
///
/// A window that only takes messages stands for the queue, so that modal loops, of a dialog or of a
/// window that is dragged, serve it too. Windows is C, through which no exception passes: one out
/// of a task or timer stops the process with a message. Timers come up to 16 ms late, as the
/// system's do.
///
/// Threads: the main thread makes the host, and alone runs the loop; any may post.
class WindowsHost final : public LoopHost {
 public:
  WindowsHost() : LoopHost(Exceptions::stop) {
    WNDCLASSW description{};
    description.lpfnWndProc = &WindowsHost::received;
    description.hInstance = GetModuleHandleW(nullptr);
    description.lpszClassName = L"JNFoundationMainQueue";
    RegisterClassW(&description);  // Fails where another host did it before, which is as good.
    _window = CreateWindowExW(0, description.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE,
                              nullptr, description.hInstance, nullptr);
    SetWindowLongPtrW(_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  }
  ~WindowsHost() override { detach(); }

 protected:
  void requestTurn() noexcept override { PostMessageW(_window, turnMessage, 0, 0); }

  void setAlarm(Nanoseconds span) noexcept override {
    if (span == never) {
      KillTimer(_window, alarmTimer);
    } else {
      SetTimer(_window, alarmTimer, milliseconds(span, USER_TIMER_MAXIMUM), nullptr);
    }
  }

  Ran runLoop(Nanoseconds span) override {
    if (span > 0) {
      const DWORD limit = span == never ? INFINITE : milliseconds(span, INFINITE - 1);
      MsgWaitForMultipleObjectsEx(0, nullptr, limit, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
    MSG message;
    if (!PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE)) return Ran::nothing;
    if (message.message == WM_QUIT) return Ran::refused;  // It belongs to the loop further out.
    PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);
    const bool isOwn = message.hwnd == _window;
    TranslateMessage(&message);
    DispatchMessageW(&message);
    return isOwn ? Ran::nothing : Ran::events;
  }

  void releaseLoop() noexcept override {
    SetWindowLongPtrW(_window, GWLP_USERDATA, 0);
    DestroyWindow(_window);
  }

 private:
  static constexpr UINT turnMessage = WM_APP;
  static constexpr UINT_PTR alarmTimer = 1;

  static DWORD milliseconds(Nanoseconds span, DWORD limit) noexcept {
    const Nanoseconds rounded = span / 1'000'000 + (span % 1'000'000 > 0 ? 1 : 0);
    return static_cast<DWORD>(std::min<Nanoseconds>(rounded, limit));
  }

  static LRESULT CALLBACK received(HWND window, UINT message, WPARAM word, LPARAM details) {
    auto* host = reinterpret_cast<WindowsHost*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (host && message == turnMessage) {
      host->turn();
    } else if (host && message == WM_TIMER && word == alarmTimer) {
      KillTimer(window, alarmTimer);
      host->alarm();
    } else {
      return DefWindowProcW(window, message, word, details);
    }
    return 0;
  }

  HWND _window = nullptr;
};

}  // namespace JNFoundation

// The leak report at shutdown. In a sanitizer build, LeakSanitizer checks the
// heap when the process ends and lists every block still allocated that no
// live pointer reaches; these defaults switch it on before the first
// statement of main runs, whatever the compiler's own default. ASAN_OPTIONS
// and LSAN_OPTIONS set by the user still win. Release builds carry no leak
// checker.

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ROTALIS_LEAK_REPORT 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define ROTALIS_LEAK_REPORT 1
#endif

#if ROTALIS_LEAK_REPORT
extern "C" const char* __asan_default_options() { return "detect_leaks=1"; }

// The desktop's accessibility bus client keeps one buffer to the end; it is
// the system library's, not ours, and would hide our own leaks behind it.
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1.so\n"; }
#endif

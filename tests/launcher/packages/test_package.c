/* A module package for the launcher's tests. It appends what happens to it
   to the file named by ROTALIS_TEST_MARKER: "loaded <variant> PATH=<PATH as
   its initialisation saw it>" when loaded, "MainForm <variant>" when called.
   Variants (compile definitions): TEST_VARIANT names it; TEST_NEEDS_DEPENDENCY
   calls a library kept in BPLs/ and marks "dependency <answer>";
   TEST_KEEPS_APPLICATION keeps the application object and builds a second
   form from an event handler ("second form created"); TEST_LOWERCASE_EXPORT
   exports "mainform" instead of "MainForm"; TEST_FORM_NAME names the form;
   TEST_CONTRACT declares another contract version; TEST_SPEC_SIZE passes a
   form spec of that size, as a package built against an older, shorter
   RotalisFormSpec would; TEST_EVENT_CRASH posts an event handler that writes
   through a null pointer (CrashInEventHandler), for the crash reporter.
   On Windows the environment is read from the process's environment block:
   the launcher changes PATH there, and the C runtime's copy (getenv) only
   holds what the process started with. */
#if defined(_WIN32)
#include <windows.h>
#endif

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

#include "rotalis/module_package.h"

#ifndef TEST_FORM_NAME
#define TEST_FORM_NAME ROTALIS_MODULE_MAIN_FORM_NAME
#endif

#ifndef TEST_SPEC_SIZE
#define TEST_SPEC_SIZE sizeof(RotalisFormSpec)
#endif

#ifdef TEST_CONTRACT
ROTALIS_MODULE_EXPORT const uint32_t RotalisModuleContractVersion = TEST_CONTRACT;
#else
ROTALIS_MODULE_DECLARE_CONTRACT();
#endif

#if defined(_WIN32)
/* Into `text` as UTF-8, as the marker file is; 0 when the variable is not
   set or does not fit. */
static int Variable(const wchar_t* name, char* text, int size) {
  wchar_t wide[4096];
  const DWORD length = GetEnvironmentVariableW(name, wide, sizeof wide / sizeof *wide);
  if (length == 0 || length >= sizeof wide / sizeof *wide) return 0;
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide, (int)length, text, size - 1, NULL, NULL);
  if (bytes == 0) return 0;
  text[bytes] = '\0';
  return 1;
}

static FILE* OpenMarker(void) {
  wchar_t path[4096];
  const DWORD length =
      GetEnvironmentVariableW(L"ROTALIS_TEST_MARKER", path, sizeof path / sizeof *path);
  if (length == 0 || length >= sizeof path / sizeof *path) return NULL;
  /* Binary: the lines end with "\n" on every platform. */
  return _wfopen(path, L"ab");
}

static int PathText(char* text, int size) { return Variable(L"PATH", text, size); }
#else
static FILE* OpenMarker(void) {
  const char* path = getenv("ROTALIS_TEST_MARKER");
  return path == NULL ? NULL : fopen(path, "a");
}

static int PathText(char* text, int size) {
  const char* path = getenv("PATH");
  return path != NULL && snprintf(text, (size_t)size, "%s", path) < size;
}
#endif

static void Mark(const char* what, const char* detail) {
  FILE* file = OpenMarker();
  if (file == NULL) return;
  fprintf(file, "%s %s%s\n", what, TEST_VARIANT, detail);
  fclose(file);
}

__attribute__((constructor)) static void Initialise(void) {
  char path[8192];
  char line[8300];
  snprintf(line, sizeof line, " PATH=%s", PathText(path, sizeof path) ? path : "(unset)");
  Mark("loaded", line);
}

#ifdef TEST_EVENT_CRASH
/* Never inlined, so that a call stack names it. The sanitizers would stop
   the write themselves; the point is the fault. */
__attribute__((noinline, no_sanitize("address", "undefined"))) static void ROTALIS_MODULE_CALL
CrashInEventHandler(void* context) {
  volatile int* target = (volatile int*)context;
  *target = 42; /* the faulting line */
}
#endif

#ifdef TEST_NEEDS_DEPENDENCY
/* From the library the tests keep in BPLs/ only (test_dependency.c). */
int RotalisTestDependencyAnswer(void);
#endif

#ifdef TEST_KEEPS_APPLICATION
/* The application object, kept beyond MainForm as a package that builds
   forms later keeps it. */
static RotalisApplication* kept;

static void ROTALIS_MODULE_CALL CreateSecondForm(void* context) {
  RotalisFormSpec spec = {sizeof(RotalisFormSpec), "FSegundo", "Segundo", "second form", 0, 0};
  (void)context;
  Mark(kept->create_form(kept, &spec) != NULL ? "second form created" : "second form failed", "");
}
#endif

static void CreateMainForm(RotalisApplication* application) {
  RotalisFormSpec spec = {
      TEST_SPEC_SIZE, TEST_FORM_NAME, "Test " TEST_VARIANT, "form of the test package", 0, 0};
  Mark("MainForm", "");
  application->create_form(application, &spec);
#ifdef TEST_NEEDS_DEPENDENCY
  {
    char answer[32];
    snprintf(answer, sizeof answer, " %d", RotalisTestDependencyAnswer());
    Mark("dependency", answer);
  }
#endif
#ifdef TEST_KEEPS_APPLICATION
  kept = application;
  if (ROTALIS_APPLICATION_HAS(application, post_event))
    application->post_event(application, &CreateSecondForm, NULL);
#endif
#ifdef TEST_EVENT_CRASH
  if (ROTALIS_APPLICATION_HAS(application, post_event)) {
    application->post_event(application, &CrashInEventHandler, NULL);
    Mark("posted", "");
  }
#endif
}

#ifdef TEST_LOWERCASE_EXPORT
ROTALIS_MODULE_EXPORT void ROTALIS_MODULE_CALL mainform(RotalisApplication* application);
void mainform(RotalisApplication* application) { CreateMainForm(application); }
#else
void MainForm(RotalisApplication* application) { CreateMainForm(application); }
#endif

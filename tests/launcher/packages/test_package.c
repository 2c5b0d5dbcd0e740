/* A module package for the launcher's tests. It appends what happens to it
   to the file named by ROTALIS_TEST_MARKER: "loaded <variant> PATH=<PATH as
   its initialisation saw it>" when loaded, "MainForm <variant>" when called.
   Variants (compile definitions): TEST_VARIANT names it; TEST_LOWERCASE_EXPORT
   exports "mainform" instead of "MainForm"; TEST_FORM_NAME names the form;
   TEST_CONTRACT declares another contract version; TEST_SPEC_SIZE passes a
   form spec of that size, as a package built against an older, shorter
   RotalisFormSpec would. */
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

static void Mark(const char* what, const char* detail) {
  const char* path = getenv("ROTALIS_TEST_MARKER");
  if (path == NULL) return;
  FILE* file = fopen(path, "a");
  if (file == NULL) return;
  fprintf(file, "%s %s%s\n", what, TEST_VARIANT, detail);
  fclose(file);
}

__attribute__((constructor)) static void Initialise(void) {
  const char* path = getenv("PATH");
  char line[4096];
  snprintf(line, sizeof line, " PATH=%s", path ? path : "(unset)");
  Mark("loaded", line);
}

static void CreateMainForm(RotalisApplication* application) {
  RotalisFormSpec spec = {TEST_SPEC_SIZE, TEST_FORM_NAME, "Test " TEST_VARIANT,
                          "form of the test package", 0, 0};
  Mark("MainForm", "");
  application->create_form(application, &spec);
}

#ifdef TEST_LOWERCASE_EXPORT
ROTALIS_MODULE_EXPORT void ROTALIS_MODULE_CALL mainform(RotalisApplication* application);
void mainform(RotalisApplication* application) { CreateMainForm(application); }
#else
void MainForm(RotalisApplication* application) { CreateMainForm(application); }
#endif

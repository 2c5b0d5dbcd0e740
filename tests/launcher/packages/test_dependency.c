/* A library that one test package needs: the tests keep it only in the
   installation's "BPLs" folder, where the launcher must find it for the
   package. */
#include "rotalis/module_package.h"

ROTALIS_MODULE_EXPORT int RotalisTestDependencyAnswer(void);
int RotalisTestDependencyAnswer(void) { return 42; }

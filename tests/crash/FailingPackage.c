/* A module package for the crash reporter's tests: its main form posts two
   event handlers, each of which reports a failure of its own through the
   application object's fail(), as a package does when a form's code finds
   something it cannot go on with. */
#include "rotalis/module_package.h"

ROTALIS_MODULE_DECLARE_CONTRACT();

static RotalisApplication* kept;
static volatile int failures;

/* Never inlined, so that a call stack names them; the count after the call
   keeps it from becoming a jump that leaves no frame of the handler. */
__attribute__((noinline)) static void ROTALIS_MODULE_CALL FailInFirstHandler(void* context) {
  (void)context;
  kept->fail(kept, "Nota fiscal sem destinatário");
  ++failures;
}

__attribute__((noinline)) static void ROTALIS_MODULE_CALL FailInSecondHandler(void* context) {
  (void)context;
  kept->fail(kept, "Tabela de preços vazia");
  ++failures;
}

void MainForm(RotalisApplication* application) {
  RotalisFormSpec spec = {sizeof(RotalisFormSpec),
                          ROTALIS_MODULE_MAIN_FORM_NAME,
                          "Falhas",
                          "form of the failing package",
                          0,
                          0};
  kept = application;
  application->create_form(application, &spec);
  application->post_event(application, &FailInFirstHandler, 0);
  application->post_event(application, &FailInSecondHandler, 0);
}

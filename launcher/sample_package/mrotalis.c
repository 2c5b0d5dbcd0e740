/* The sample module package: what the package team's real one does at
   start-up, reduced to the main form. Built as plain C against the public
   contract header only, as another team's compiler would build it. */
#include "rotalis/module_package.h"

ROTALIS_MODULE_DECLARE_CONTRACT();

ROTALIS_MODULE_EXPORT void ROTALIS_MODULE_CALL MainForm(RotalisApplication* application) {
  RotalisFormSpec spec = {sizeof(RotalisFormSpec),
                          ROTALIS_MODULE_MAIN_FORM_NAME,
                          "Rotalis",
                          "M\xC3\xB3"
                          "dulo Rotalis carregado.\n"
                          "Regras fiscais e instala\xC3\xA7\xC3\xA3o verificadas na partida.",
                          720,
                          420};
  /* On failure the launcher raises the reason once this returns. */
  application->create_form(application, &spec);
}

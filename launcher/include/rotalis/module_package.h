/*
 * The contract between the rotalis launcher and its module package,
 * "mrotalis.bpl". The package may be built by another team with another
 * compiler, so everything here is plain C with a fixed calling convention.
 *
 * What a package does:
 *   1. It is a shared library (a DLL on Windows) named "mrotalis.bpl", placed
 *      in the application folder or in one of its folders "kernel", "BPLs",
 *      "Modulos" or "DLLs" (searched in that order after the application
 *      folder itself).
 *   2. It declares the contract version it was built against, once, with
 *          ROTALIS_MODULE_DECLARE_CONTRACT();
 *      The launcher refuses a package built for a newer contract than its own.
 *   3. It exports the routine MainForm (exactly this case). The launcher calls
 *      it once, after the package's own initialisation ran, with the
 *      application object. Its job: create the main form through
 *      application->create_form with the name "FprinciRotalis". The form is
 *      owned by the application object; the launcher finds it there by that
 *      name and runs it as the main window. A package without the export, or
 *      whose form has another name, leaves the launcher without a window: it
 *      ends normally.
 *   4. The package is never unloaded.
 *   5. Work that must wait for the message loop (after MainForm returned) is
 *      posted as an event handler through application->post_event, once the
 *      package has made sure the launcher knows the member:
 *          if (ROTALIS_APPLICATION_HAS(application, post_event)) ...
 *      A handler runs on the main thread; a crash in it (an access violation,
 *      for one) ends in the launcher's crash reporter like any other.
 *
 * Texts are UTF-8. Versioning: contract_version grows when the meaning of
 * something changes; members are only ever added at the end of a struct, and
 * each struct starts with its own size, so both sides can tell which members
 * the other knows.
 */
#ifndef ROTALIS_MODULE_PACKAGE_H
#define ROTALIS_MODULE_PACKAGE_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define ROTALIS_MODULE_CALL __cdecl
#define ROTALIS_MODULE_EXPORT __declspec(dllexport)
#else
#define ROTALIS_MODULE_CALL
#define ROTALIS_MODULE_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define ROTALIS_MODULE_EXTERN_C extern "C"
extern "C" {
#else
#define ROTALIS_MODULE_EXTERN_C
#endif

/* The version of this contract. */
#define ROTALIS_MODULE_CONTRACT_VERSION 1u

/* The names both sides agree on. */
#define ROTALIS_MODULE_PACKAGE_FILE "mrotalis.bpl"
#define ROTALIS_MODULE_MAIN_FORM_EXPORT "MainForm"
#define ROTALIS_MODULE_CONTRACT_EXPORT "RotalisModuleContractVersion"
#define ROTALIS_MODULE_MAIN_FORM_NAME "FprinciRotalis"

/* A form owned by the application object. Opaque to the package. */
typedef struct RotalisForm RotalisForm;

/* What a plain form is built with. */
typedef struct RotalisFormSpec {
  uint32_t size;       /* sizeof(RotalisFormSpec) as the package knows it */
  const char* name;    /* component name, e.g. "FprinciRotalis"; required */
  const char* caption; /* window title; may be NULL */
  const char* text;    /* text of the client area; may be NULL */
  int32_t width;       /* pixels; 0 lets the launcher choose */
  int32_t height;
} RotalisFormSpec;

/* An event handler a package posts; `context` is what it posted with it. */
typedef void(ROTALIS_MODULE_CALL* RotalisEventHandler)(void* context);

/*
 * The launcher's application object as the package sees it. It stays valid
 * for as long as the launcher runs, so a package may keep it and use it from
 * its event handlers (to build another form later, say). None of the routines
 * raises across the boundary: a failure during MainForm is kept by the
 * launcher and raised when MainForm returns, which ends the start-up with
 * that message; a failure in an event handler is reported as an error of that
 * event handler.
 */
typedef struct RotalisApplication RotalisApplication;
struct RotalisApplication {
  uint32_t size;             /* sizeof(RotalisApplication) as the launcher knows it */
  uint32_t contract_version; /* ROTALIS_MODULE_CONTRACT_VERSION of the launcher */
  void* host;                /* the launcher's own; the package leaves it alone */

  /* Creates a hidden form owned directly by the application object, named
     spec->name. NULL on failure. */
  RotalisForm*(ROTALIS_MODULE_CALL* create_form)(RotalisApplication* application,
                                                 const RotalisFormSpec* spec);

  /* Shows a modal message box with the text and an OK button. */
  void(ROTALIS_MODULE_CALL* show_message)(RotalisApplication* application, const char* text);

  /* Reports that the package cannot go on: the start-up ends with this
     message once MainForm returns. */
  void(ROTALIS_MODULE_CALL* fail)(RotalisApplication* application, const char* message);

  /* Added later: test with ROTALIS_APPLICATION_HAS before use. Queues
     handler(context) to run once as an event handler of the message loop,
     after MainForm has returned; handlers run in the order posted. The
     context must stay valid until then. */
  void(ROTALIS_MODULE_CALL* post_event)(RotalisApplication* application,
                                        RotalisEventHandler handler, void* context);
};

/* The members added to RotalisApplication after its first version. */
#define ROTALIS_APPLICATION_HAS(application, member) \
  ((application)->size >=                            \
   offsetof(RotalisApplication, member) + sizeof(((RotalisApplication*)0)->member))

/* The routine a package exports as "MainForm". */
typedef void(ROTALIS_MODULE_CALL* RotalisMainFormRoutine)(RotalisApplication* application);

ROTALIS_MODULE_EXPORT void ROTALIS_MODULE_CALL MainForm(RotalisApplication* application);

#ifdef __cplusplus
}
#endif

/* Defines the package's contract-version export. Use once per package. */
#define ROTALIS_MODULE_DECLARE_CONTRACT()                                                     \
  ROTALIS_MODULE_EXTERN_C ROTALIS_MODULE_EXPORT const uint32_t RotalisModuleContractVersion = \
      ROTALIS_MODULE_CONTRACT_VERSION

#endif /* ROTALIS_MODULE_PACKAGE_H */

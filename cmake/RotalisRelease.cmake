# What a deployment copies into the ERP's application folder, laid out by
#   cmake --install BUILD --prefix BUILD/release/app --strip
# (scripts/build-windows.sh does it, signs the programs when told to, and
# zips the result): the program and the watcher that reports its fatal errors.
# Not the sample module package: copied over an installation, it would take
# the place of the customer's real Modulos/mrotalis.bpl (the demo and the
# tests use it from the build folder). The programs ship stripped; their call
# stacks are symbolised from the symbol tables installed beside them, made
# from the unstripped build.
if(NOT WIN32)
  return()
endif()

install(TARGETS rotalis rotalis-crash-watcher RUNTIME DESTINATION .)
# Their symbol tables (rotalis_symbol_table), each beside its file.
install(FILES $<TARGET_FILE:rotalis>.sym $<TARGET_FILE:rotalis-crash-watcher>.sym DESTINATION .)

# The publisher's Authenticode certificate, for scripts/package-windows.sh
# (which scripts/build-windows.sh runs) to sign the release with. Checked here,
# so that a release meant to be signed does not come out unsigned.
set(ROTALIS_CODESIGN_PFX "" CACHE FILEPATH
  "Publisher's code-signing certificate with its key (PKCS#12); empty: the release is not signed")
set(ROTALIS_CODESIGN_PASSWORD_FILE "" CACHE FILEPATH
  "File holding the password of ROTALIS_CODESIGN_PFX")
set(ROTALIS_CODESIGN_TIMESTAMP_URL "" CACHE STRING
  "Time-stamp server (RFC 3161) for the release's signatures; empty: not time-stamped")
if(NOT ROTALIS_CODESIGN_PFX STREQUAL "" OR NOT ROTALIS_CODESIGN_PASSWORD_FILE STREQUAL "")
  foreach(setting ROTALIS_CODESIGN_PFX ROTALIS_CODESIGN_PASSWORD_FILE)
    if(${setting} STREQUAL "")
      message(FATAL_ERROR "Signing the release needs both ROTALIS_CODESIGN_PFX and "
        "ROTALIS_CODESIGN_PASSWORD_FILE; ${setting} is missing.")
    elseif(NOT EXISTS "${${setting}}")
      message(FATAL_ERROR "${setting}: no file ${${setting}}")
    endif()
  endforeach()
  message(STATUS "The release will be signed with ${ROTALIS_CODESIGN_PFX}")
else()
  message(STATUS "The release will not be signed (no ROTALIS_CODESIGN_PFX)")
endif()

# What a deployment copies into the ERP's application folder, laid out by
#   cmake --install BUILD --prefix BUILD/release/app --strip
# (scripts/build-windows.sh does it, and zips the result): the program, the
# watcher that reports its fatal errors, and the module package in Modulos/.
# The programs ship stripped; their call stacks are symbolised from the
# symbol tables installed beside them, made from the unstripped build.
if(NOT WIN32)
  return()
endif()

install(TARGETS rotalis rotalis-crash-watcher RUNTIME DESTINATION .)
install(TARGETS rotalis_sample_package LIBRARY DESTINATION Modulos RUNTIME DESTINATION Modulos)
# Their symbol tables (rotalis_symbol_table), each beside its file.
install(FILES $<TARGET_FILE:rotalis>.sym $<TARGET_FILE:rotalis-crash-watcher>.sym DESTINATION .)
install(FILES $<TARGET_FILE:rotalis_sample_package>.sym DESTINATION Modulos)

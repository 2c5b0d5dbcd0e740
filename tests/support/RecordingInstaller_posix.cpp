#include "tests/support/RecordingInstaller.h"

namespace rotalis::test {

std::string RecordingInstallerBytes() {
  return "#!/bin/sh\n"
         "name=${0##*/}\n"
         "case $name in slow*) sleep 0.3 ;; esac\n"
         "if [ -n \"${ROTALIS_TEST_MARKER:-}\" ]; then\n"
         "  printf 'installer %s %s PATH=%s\\n' \"$name\" \"$*\" \"$PATH\" "
         ">>\"$ROTALIS_TEST_MARKER\"\n"
         "fi\n"
         "if [ -n \"${ROTALIS_TEST_RUNS:-}\" ]; then\n"
         "  line=$name\n"
         "  for a in \"$@\"; do line=\"$line\t$a\"; done\n"
         "  printf '%s\\tPATH=%s\\n' \"$line\" \"$PATH\" >>\"$ROTALIS_TEST_RUNS\"\n"
         "fi\n";
}

}  // namespace rotalis::test

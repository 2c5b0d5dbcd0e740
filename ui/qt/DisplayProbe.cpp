#include <errno.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QApplication>

#include "ui/qt/QtBackend.h"

namespace rotalis::ui::qt {

bool DisplayCanBeOpened() {
  const pid_t child = fork();
  if (child < 0) return false;
  if (child == 0) {
    // Qt says why it could not connect on stderr and aborts; the parent only
    // needs the outcome.
    const int null = open("/dev/null", O_WRONLY);
    if (null >= 0) dup2(null, STDERR_FILENO);
    int argc = 1;
    char name[] = "rotalis";
    char* argv[] = {name, nullptr};
    { QApplication probe(argc, argv); }
    _exit(0);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return false;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace rotalis::ui::qt

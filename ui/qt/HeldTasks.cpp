#include "ui/qt/HeldTasks.h"

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <utility>
#include <vector>

namespace rotalis::ui::qt {
namespace {

struct HeldTask {
  QPointer<QObject> context;
  std::function<void()> task;
};

thread_local int holds = 0;
thread_local std::vector<HeldTask> held;

}  // namespace

void PostProgramTask(QObject* context, std::function<void()> task) {
  QTimer::singleShot(0, context, [target = QPointer<QObject>(context), task = std::move(task)] {
    if (holds > 0) {
      held.push_back({target, task});
      return;
    }
    task();
  });
}

ProgramTasksHeld::ProgramTasksHeld() { ++holds; }

ProgramTasksHeld::~ProgramTasksHeld() {
  if (--holds > 0) return;
  // Posted again rather than run here: the crash reporter returns first, and
  // the program's loop runs them as it would have.
  for (HeldTask& waiting : std::exchange(held, {})) {
    if (waiting.context) PostProgramTask(waiting.context, std::move(waiting.task));
  }
}

}  // namespace rotalis::ui::qt

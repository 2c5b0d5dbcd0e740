#include "ui/console/ConsoleCrashUi.h"

#include <algorithm>
#include <cctype>
#include <iostream>
#include <string>

#include "platform/Terminal.h"

namespace rotalis::ui::console {
namespace {

// "&Details" -> "Details": the ampersand marks a desktop accelerator.
std::string WithoutAccelerator(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '&'), text.end());
  return text;
}

char KeyOf(const std::string& text) {
  return text.empty() ? '?' : static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
}

class ConsoleCrashUi : public CrashUi {
 public:
  explicit ConsoleCrashUi(CrashConsoleStreams streams) : streams_(streams) {}

  void ShowPleaseWait(const std::string& title, const std::string& text) override {
    streams_.out << title << ": " << text << '\n';
    streams_.out.flush();
  }
  void HidePleaseWait() override {}

  CrashDialogButton ShowCrashDialog(const CrashDialogSpec& spec) override {
    for (;;) {
      streams_.out << "\n== " << spec.title << " ==\n" << spec.message << '\n';
      if (!spec.error.empty()) streams_.out << spec.error << '\n';
      // Numbers, because the buttons' first letters repeat.
      for (std::size_t i = 0; i < spec.buttons.size(); ++i) {
        const auto& button = spec.buttons[i];
        const bool disabled =
            !spec.canContinue && button.id == CrashDialogButton::ContinueApplication;
        streams_.out << "  [" << i + 1 << "] " << button.text
                     << (disabled ? " (not possible: the application cannot continue)" : "")
                     << (button.id == spec.focused ? " (default)" : "") << '\n';
      }
      if (!streams_.inputIsTerminal) {
        streams_.out << "No one can answer at this terminal: " << TextOf(spec, spec.focused)
                     << ".\n";
        streams_.out.flush();
        return spec.focused;
      }
      streams_.out << "Choose a number and press Enter (Enter alone: the default): ";
      streams_.out.flush();
      std::string line;
      if (!std::getline(streams_.in, line)) return spec.focused;
      if (line.empty()) return spec.focused;
      const std::size_t number = line.size() == 1 && line[0] >= '1' && line[0] <= '9'
                                     ? static_cast<std::size_t>(line[0] - '0')
                                     : 0;
      if (number >= 1 && number <= spec.buttons.size()) {
        const auto& button = spec.buttons[number - 1];
        if (spec.canContinue || button.id != CrashDialogButton::ContinueApplication)
          return button.id;
      }
      streams_.out << "No such choice.\n";
    }
  }

  void ShowReport(const std::string& title, const std::string& report) override {
    streams_.out << "\n-- " << title << " --\n" << report << "\n-- end of bug report --\n";
    streams_.out.flush();
  }

  void ShowSimpleBox(const SimpleBoxSpec& spec) override {
    const std::string ok = WithoutAccelerator(spec.okText);
    const std::string details = WithoutAccelerator(spec.detailsText);
    streams_.out << spec.message << '\n';
    for (;;) {
      streams_.out << "  [" << KeyOf(ok) << "] " << ok << "  [" << KeyOf(details) << "] "
                   << details;
      if (!streams_.inputIsTerminal) {
        // Nobody can ask for the details: the box counts as confirmed.
        streams_.out << '\n';
        streams_.out.flush();
        return;
      }
      streams_.out << ": ";
      streams_.out.flush();
      std::string line;
      if (!std::getline(streams_.in, line) || line.empty() || KeyOf(line) != KeyOf(details)) return;
      streams_.out << spec.details << '\n';
    }
  }

  std::string CaptureScreenPng(int) override { return {}; }

 private:
  static std::string TextOf(const CrashDialogSpec& spec, CrashDialogButton id) {
    for (const auto& button : spec.buttons)
      if (button.id == id) return button.text;
    return {};
  }

  CrashConsoleStreams streams_;
};

}  // namespace

std::unique_ptr<CrashUi> CreateConsoleCrashUi() {
  platform::WriteConsoleTextAsCharacters();
  return CreateConsoleCrashUi(
      CrashConsoleStreams{std::cin, std::cerr, platform::StandardInputIsTerminal()});
}

std::unique_ptr<CrashUi> CreateConsoleCrashUi(CrashConsoleStreams streams) {
  return std::make_unique<ConsoleCrashUi>(streams);
}

}  // namespace rotalis::ui::console

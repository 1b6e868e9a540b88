// Shows what the daemon does with its configuration: asks it by NETCONF for its state and prints
// that as tables, as JSON or as metrics.
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "config/schema.h"
#include "config/yang_data.h"
#include "daemon_state.h"
#include "metrics.h"
#include "netconf/xml.h"
#include "options.h"
#include "runtime/folders.h"
#include "state_tables.h"

namespace {

constexpr char kUsage[] =
    "usage: snmp-app-show [--json | --prometheus | --watch[=SECONDS]] [--socket PATH]\n"
    "                     [listener | interface | target [NAME...]]\n"
    "       snmp-app-show --help | --version\n"
    "Shows the state of the running snmp-app, see snmp-app-show(1).\n";
constexpr char kVersion[] = "snmp-app-show " PROGRAM_VERSION "\n";

constexpr int kUsageStatus = 2;
constexpr int kMissingStatus = 3;

/// From the upper left corner of an empty screen on (ECMA-48, CUP and ED).
constexpr char kEmptyScreen[] = "\x1b[H\x1b[2J";

bool IsTerminal() { return isatty(STDOUT_FILENO) == 1; }

/// On a terminal that has them, unless the user wants none (no-color.org).
bool WantsColours() {
  const char* refusal = getenv("NO_COLOR");
  const char* terminal = getenv("TERM");
  const bool is_refused = refusal != nullptr && *refusal != '\0';
  const bool is_dumb = terminal == nullptr || strcmp(terminal, "dumb") == 0;
  return IsTerminal() && !is_refused && !is_dumb;
}

/// What is printed, and what of it is not as it should be.
struct Picture {
  std::string text;
  std::vector<std::string> missing;
};

class Viewer {
 public:
  /// Loads the models; throws std::runtime_error as they do.
  Viewer(show::Options options, const host::Folders& folders)
      : options_(std::move(options)),
        socket_(options_.socket.empty() ? folders.NetconfSocket() : options_.socket),
        models_(folders.models, folders.standard_models) {}

  /// Asks for the state of now; throws std::runtime_error with the reason when there is none.
  Picture Take() const {
    const show::Reply reply = show::AskForState(socket_, show::FilterOf(options_.selection));
    const host::Tree tree = host::ParseState(models_.Context(), reply.data);
    const lyd_node* state = host::FindNamed(tree.get(), "snmp-state");
    if (state == nullptr) throw std::runtime_error("the daemon tells nothing of its state");
    return {TextOf(tree.get(), reply.session), show::Missing(state, options_.selection)};
  }

 private:
  std::string TextOf(const lyd_node* tree, const std::string& session) const {
    if (options_.form == show::Form::kJson) return host::PrintData(tree, LYD_JSON, 0);
    std::ostringstream text;
    if (options_.form == show::Form::kMetrics) {
      show::PrintMetrics(text, tree, session);
    } else {
      show::PrintState({text, WantsColours()}, tree, options_.selection, session);
    }
    return text.str();
  }

  show::Options options_;
  std::string socket_;
  host::Schema models_;
};

void Write(const std::string& text) {
  if (!(std::cout << text << std::flush)) throw std::runtime_error("cannot write all of it");
}

int ShowOnce(const Viewer& viewer) {
  const Picture picture = viewer.Take();
  Write(picture.text);
  for (const std::string& line : picture.missing) std::cerr << "snmp-app-show: " << line << '\n';
  return picture.missing.empty() ? EXIT_SUCCESS : kMissingStatus;
}

void EndWell(int /*signal*/) { _exit(EXIT_SUCCESS); }

/// The daemon may be away for a moment.
std::string TextOfNow(const Viewer& viewer) try {
  return viewer.Take().text;
} catch (const std::runtime_error& error) {
  return "snmp-app-show: " + std::string(error.what()) + "\n";
}

[[noreturn]] void Watch(const Viewer& viewer, std::chrono::seconds interval) {
  std::signal(SIGINT, EndWell);
  std::signal(SIGTERM, EndWell);
  const char* before = IsTerminal() ? kEmptyScreen : "";
  while (true) {
    Write(before + TextOfNow(viewer));
    if (!IsTerminal()) before = "\n";
    std::this_thread::sleep_for(interval);
  }
}

int Run(const show::Options& options) {
  const Viewer viewer(options, host::Folders::OfProcess());
  if (options.interval) Watch(viewer, *options.interval);
  return ShowOnce(viewer);
}

/// What a word that asks for nothing of the daemon is answered with, null for another one.
const char* AnswerTo(const std::string& word) {
  if (word == "--help" || word == "-h") return kUsage;
  return word == "--version" ? kVersion : nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  if (const char* answer = argc == 2 ? AnswerTo(argv[1]) : nullptr) {
    return std::cout << answer << std::flush ? 0 : 1;
  }
  const std::optional<show::Options> options = show::ParseOptions({argv + 1, argv + argc});
  if (!options) {
    std::cerr << kUsage;
    return kUsageStatus;
  }
  try {
    return Run(*options);
  } catch (const std::exception& error) {
    std::cerr << "snmp-app-show: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}

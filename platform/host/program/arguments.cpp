#include "program/arguments.h"

#include <cstdlib>
#include <exception>

#include "config/engine.h"
#include "runtime/folders.h"

namespace host {

namespace {

constexpr int kUsageStatus = 2;

constexpr char kHelp[] = R"(Usage: snmp-app
       snmp-app --check FILE
       snmp-app --help | --version

The daemon keeps a device's SNMP service true to its configuration: where the
agent listens, which interfaces requests are redirected from, and by which
network notifications leave. It stays in the foreground. One runs in a network
namespace, and one with a state folder.

Files (folders by the variable, then the usual place):
  CONFIGURATION_DIRECTORY  /etc/snmp-app      startup.json, the first configuration
  STATE_DIRECTORY          /var/lib/snmp-app  running.json, the stored configuration
  RUNTIME_DIRECTORY        /run/snmp-app      netconf.sock, for operators

Other variables:
  SNMP_APP_MODELS           folder of the YANG models
  SNMP_APP_STANDARD_MODELS  folder of the IETF's YANG models
  SNMP_APP_NETCONF_GROUP    group that may open netconf.sock
  SNMP_APP_LOG_LEVEL        detail, progress (the default) or notice

Signals:
  SIGHUP            replace the configuration by startup.json
  SIGTERM, SIGINT   end
  SIGUSR1, SIGUSR2  the node is active, is standby

--check FILE tells whether a start would take FILE as its startup.json: status 0,
or 1 with the place and the reason. It touches nothing.

More: snmp-app(8), snmp-app-startup.json(5); snmp-app-show(1) tells the state.
)";

CommandLineAnswer Refuse(const std::string& argument) {
  return {kUsageStatus,
          "snmp-app: unexpected argument '" + argument + "'\nTry 'snmp-app --help'.\n"};
}

/// The verdict that a first start would come to, in its words.
CommandLineAnswer Check(const std::string& path) {
  try {
    const Folders folders = Folders::OfProcess();
    Engine(folders.models, folders.RunningFile(), {}).CheckFile(path);
    return {EXIT_SUCCESS, path + " can be taken\n"};
  } catch (const std::exception& error) {
    return {EXIT_FAILURE, "snmp-app: " + std::string(error.what()) + "\n"};
  }
}

}  // namespace

CommandLineAnswer AnswerArguments(const std::vector<std::string>& arguments) {
  const std::string& first = arguments.front();
  if (first == "--check" && arguments.size() == 2) return Check(arguments[1]);
  const bool is_help = first == "--help";
  if (!is_help && first != "--version") return Refuse(first);
  if (arguments.size() > 1) return Refuse(arguments[1]);
  return {0, is_help ? kHelp : "snmp-app " PROGRAM_VERSION "\n"};
}

}  // namespace host

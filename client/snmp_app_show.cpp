// Shows what the daemon does with its configuration: asks it by NETCONF for its state and prints
// that as tables, or as JSON.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/schema.h"
#include "netconf/framing.h"
#include "netconf/xml.h"
#include "runtime/folders.h"
#include "table.h"

namespace {

using show::PrintTable;
using show::Row;

constexpr char kUsage[] =
    "usage: snmp-app-show [--json] [--socket PATH]\n"
    "Shows the state of the running snmp-app, see snmp-app-show(1).\n";

constexpr char kHello[] =
    R"(<hello xmlns="urn:ietf:params:xml:ns:netconf:base:1.0"><capabilities><capability>)"
    R"(urn:ietf:params:netconf:base:1.0</capability></capabilities></hello>)";
constexpr char kGet[] =
    R"(<rpc xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1"><get>)"
    R"(<filter type="subtree"><snmp-state xmlns="urn:snmp-app:state"/></filter></get></rpc>)";

/// Thousands of interfaces have some MiB of state.
constexpr size_t kLargestReply = size_t{256} * 1024 * 1024;

struct Options {
  bool json = false;
  std::string socket;
};

/// A session with the daemon.
class Session {
 public:
  explicit Session(const std::string& path) : socket_(loop_), decoder_(kLargestReply) {
    boost::system::error_code error;
    socket_.connect(boost::asio::local::stream_protocol::endpoint(path), error);
    if (error) {
      throw std::runtime_error("cannot reach the daemon at " + path + ": " + error.message());
    }
  }

  void Send(const std::string& message) {
    // What became of it, the answer tells.
    boost::system::error_code ignored;
    boost::asio::write(socket_, boost::asio::buffer(host::FrameDelimited(message)), ignored);
  }

  std::string Receive() {
    while (true) {
      if (std::optional<std::string> message = decoder_.Next()) return *message;
      boost::system::error_code error;
      const size_t size = socket_.read_some(boost::asio::buffer(received_), error);
      if (error) throw std::runtime_error(WhyEnded(error));
      is_greeted_ = true;
      decoder_.Append(received_.data(), size);
    }
  }

 private:
  boost::asio::io_context loop_;
  /// The daemon says nothing to whom it turns away.
  std::string WhyEnded(const boost::system::error_code& error) const {
    if (is_greeted_) return "the daemon has ended the session: " + error.message();
    return "the daemon has turned the connection away: it has as many sessions as it takes, one of "
           "which is kept for root; try again when one has ended";
  }

  boost::asio::local::stream_protocol::socket socket_;
  bool is_greeted_ = false;
  host::FrameDecoder decoder_;
  std::array<char, 65536> received_ = {};
};

/// What stands between the first and the last tag of that name; empty without them.
std::string Between(const std::string& text, const std::string& name) {
  const size_t begin = text.find("<" + name + ">");
  const size_t end = text.rfind("</" + name + ">");
  if (begin == std::string::npos || end == std::string::npos) return "";
  return text.substr(begin + name.size() + 2, end - begin - name.size() - 2);
}

/// The daemon's state as XML.
std::string AskForState(const std::string& socket) {
  Session session(socket);
  session.Receive();
  session.Send(kHello);
  session.Send(kGet);
  const std::string reply = session.Receive();
  if (reply.find("<rpc-error>") != std::string::npos) {
    throw std::runtime_error("the daemon refuses: " + reply);
  }
  return Between(reply, "data");
}

const lyd_node* Child(const lyd_node* parent, const char* name) {
  for (const lyd_node* child = lyd_child(parent); child != nullptr; child = child->next) {
    if (strcmp(child->schema->name, name) == 0) return child;
  }
  return nullptr;
}

/// The text of a leaf; a dash where there is none.
std::string Text(const lyd_node* parent, const char* leaf) {
  const lyd_node* found = Child(parent, leaf);
  return found == nullptr ? "-" : lyd_get_value(found);
}

std::string YesNo(const lyd_node* parent, const char* leaf) {
  const std::string text = Text(parent, leaf);
  if (text == "true") return "yes";
  return text == "false" ? "no" : text;
}

/// The rows of a list: of each entry, what `cells` makes of it.
template <typename MakeRow>
std::vector<Row> Rows(const lyd_node* parent, const char* list, MakeRow make_row) {
  std::vector<Row> rows;
  for (const lyd_node* child = lyd_child(parent); child != nullptr; child = child->next) {
    if (strcmp(child->schema->name, list) == 0) rows.push_back(make_row(child));
  }
  return rows;
}

/// A table of the listeners for which `make_row` has a second cell; nothing without them.
template <typename MakeRow>
void PrintSome(const lyd_node* agent, const char* title, const Row& heads, MakeRow make_row) {
  std::vector<Row> rows = Rows(agent, "listener", make_row);
  const auto has_none = [](const Row& row) { return row[1] == "-"; };
  rows.erase(std::remove_if(rows.begin(), rows.end(), has_none), rows.end());
  if (rows.empty()) return;
  std::cout << '\n';
  PrintTable(std::cout, title, heads, rows);
}

/// What went wrong at listeners that were open.
void PrintTroubles(const lyd_node* agent) {
  PrintSome(agent, "Answers not sent", {"from", "answers", "last error"},
            [](const lyd_node* entry) -> Row {
              return {Text(entry, "endpoint"), Text(entry, "answers-not-sent"),
                      Text(entry, "answer-error")};
            });
  PrintSome(agent, "Found deaf", {"address", "opened anew", "hears again", "last reason"},
            [](const lyd_node* entry) -> Row {
              return {Text(entry, "endpoint"), Text(entry, "reopened"), YesNo(entry, "hears-again"),
                      Text(entry, "deaf-reason")};
            });
}

void PrintTables(const lyd_node* state) {
  const lyd_node* agent = Child(state, "agent");
  const lyd_node* counters = Child(state, "counters");
  std::cout << "Role: " << Text(state, "ha-role")
            << "   retry pending: " << YesNo(agent, "retry-pending")
            << "   commits: " << Text(counters, "commits")
            << "   rebinds: " << Text(counters, "rebinds")
            << "   retries: " << Text(counters, "retries")
            << "   answers not sent: " << Text(counters, "answers-not-sent")
            << "   listeners reopened: " << Text(counters, "listeners-reopened")
            << "   requests refused: " << Text(counters, "requests-refused") << "\n\n";
  PrintTable(std::cout, "The agent listens at",
             {"address", "bound", "since", "tries", "last error", "why not"},
             Rows(agent, "listener", [](const lyd_node* entry) -> Row {
               return {Text(entry, "endpoint"), YesNo(entry, "bound"),     Text(entry, "since"),
                       Text(entry, "tries"),    Text(entry, "last-error"), Text(entry, "reason")};
             }));
  PrintTroubles(agent);
  std::cout << '\n';
  PrintTable(std::cout, "Listening interfaces",
             {"name", "VRF", "kernel name", "port", "redirected to", "in kernel", "why not"},
             Rows(state, "listening-interface", [](const lyd_node* entry) -> Row {
               return {Text(entry, "name"),        Text(entry, "vrf"),
                       Text(entry, "kernel-name"), Text(entry, "udp-port"),
                       Text(entry, "redir-port"),  YesNo(entry, "redirect"),
                       Text(entry, "reason")};
             }));
  std::cout << '\n';
  PrintTable(std::cout, "Notification targets", {"name", "routing rule", "why not"},
             Rows(state, "target", [](const lyd_node* entry) -> Row {
               return {Text(entry, "name"), YesNo(entry, "rule"), Text(entry, "reason")};
             }));
  std::cout << '\n';
  PrintTable(std::cout, "Last faults", {"time", "code", "function", "line", "text"},
             Rows(state, "fault", [](const lyd_node* entry) -> Row {
               return {Text(entry, "time"), Text(entry, "code"), Text(entry, "function"),
                       Text(entry, "line"), Text(entry, "text")};
             }));
}

void PrintJson(const lyd_node* state) {
  char* text = nullptr;
  if (lyd_print_mem(&text, state, LYD_JSON, 0) != LY_SUCCESS) throw std::bad_alloc();
  const std::unique_ptr<char, decltype(&free)> owned(text, free);
  std::cout << text;
}

/// False for words that it does not know.
bool ParseOptions(int count, char** words, Options* options) {
  for (int i = 1; i < count; ++i) {
    const std::string word = words[i];
    if (word == "--json") {
      options->json = true;
    } else if (word == "--socket" && i + 1 < count) {
      options->socket = words[++i];
    } else {
      return false;
    }
  }
  return true;
}

void Show(const Options& options, const host::Folders& folders) {
  const std::string socket = options.socket.empty() ? folders.NetconfSocket() : options.socket;
  const std::string xml = AskForState(socket);
  const host::Schema models(folders.models);
  const host::Tree state = host::ParseState(models.Context(), xml);
  if (state == nullptr) throw std::runtime_error("the daemon tells nothing of its state");
  options.json ? PrintJson(state.get()) : PrintTables(state.get());
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!ParseOptions(argc, argv, &options)) {
    const bool asked = argc == 2 && strcmp(argv[1], "--help") == 0;
    (asked ? std::cout : std::cerr) << kUsage;
    return asked ? 0 : 2;
  }
  try {
    Show(options, host::Folders::OfProcess());
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "snmp-app-show: " << error.what() << '\n';
    return 1;
  }
}

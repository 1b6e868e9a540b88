// Requests of an operator: each gets one reply, whatever is in it, and one that is refused or only
// reads changes nothing.
//
// An input is the messages of one session, with ]]>]]> between them.
#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/engine.h"
#include "config/target_check.h"
#include "netconf/hello.h"
#include "netconf/rpc.h"
#include "property.h"
#include "xml_document.h"

namespace {

constexpr char kBase[] = "urn:ietf:params:xml:ns:netconf:base:1.0";
constexpr char kEnd[] = "]]>]]>";
constexpr host::SessionId kSession = 1;
constexpr host::SessionId kOther = 7;

constexpr char kStart[] = R"({
  "metacli-internal:internal": {"vrf-config": {"stringTOindex": [{"name": "red", "vrf-idx": 100}]}},
  "config:config": {"interface": {"l3": [
    {"name": "eth1", "vrf": "red", "ipv6": {"address": [
      {"index": 1, "ip": "2001:db8::1/64"}, {"index": 2, "ip": "2001:db8::2/64"}]}}]}},
  "snmp:snmp": {"agent": {"listen": {"interface": [{"name": "l3-eth1", "udp-port": 161}]}}},
  "confd_dyncfg:confdConfig": {"snmpAgent": {"enabled": true, "ip": "198.51.100.1"}}
})";

void CheckStored(const std::string& text, const host::CommitRecord& record);

/// Never destroyed: the trees of the last input may still be there when the process ends.
host::Engine& Engine() {
  static host::Engine& engine = *new host::Engine(MODELS_FOLDER, "/proc/not-written", nullptr,
                                                  nullptr, STANDARD_MODELS_FOLDER, CheckStored);
  return engine;
}

/// Takes the place of the file that a commit writes: what would be written is what is read back.
void CheckStored(const std::string& text, const host::CommitRecord& /*record*/) {
  ly_ctx* context = Engine().Models().Context();
  try {
    host::Tree tree = host::ParseTree(context, text);
    host::ValidateTree(context, &tree);
    host::CheckTargets(tree.get());
    Require(host::PrintTree(tree.get()) == text, "what is stored is printed the same");
  } catch (const std::runtime_error& error) {
    Require(false, error.what());
  }
}

/// Puts the start in force unless it still is.
void Start() {
  static const host::Tree& start =
      *new host::Tree(host::ParseTree(Engine().Models().Context(), kStart));
  static host::SharedTree& in_force = *new host::SharedTree;
  if (Engine().Running() == in_force) return;
  Engine().Commit(host::CopyTree(start.get()));
  in_force = Engine().Running();
}

std::string Content(const host::Datastores& datastores) {
  return host::PrintTree(datastores.Copy(host::Datastore::kRunning).get()) +
         host::PrintTree(datastores.Copy(host::Datastore::kCandidate).get());
}

/// The message-id that the reply to a message must have, null for a message that is no request.
std::unique_ptr<std::string> MessageId(const std::string& message) {
  const Document document(message);
  const bool is_request = document.IsWellFormed() && document.HasRoot(kBase, "rpc");
  return is_request ? document.Attribute("message-id") : nullptr;
}

void CheckReply(const std::string& message, const host::RpcReply& reply) {
  const Document document(reply.xml);
  Require(document.IsWellFormed(), "a reply is well-formed");
  Require(document.HasRoot(kBase, "rpc-reply"), "a reply is an rpc-reply");
  const bool has_error = reply.xml.find("<rpc-error>") != std::string::npos;
  Require(has_error || !reply.is_error, "a refusal has an rpc-error");
  const auto id = MessageId(message);
  if (id == nullptr) return;
  const auto echoed = document.Attribute("message-id");
  Require(echoed != nullptr && *echoed == *id, "a reply has the message-id of its request");
}

/// What an rpc-reply of a request that only reads has.
bool HasData(const host::RpcReply& reply) {
  const size_t end = reply.xml.find('>');
  return reply.xml.compare(end + 1, 5, "<data") == 0;
}

/// The messages, without the end marks between them.
std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> messages;
  size_t begin = 0;
  for (size_t end = 0; end != std::string::npos; begin = end + sizeof kEnd - 1) {
    end = text.find(kEnd, begin);
    messages.push_back(text.substr(begin, end - begin));
  }
  return messages;
}

/// Any message may come as a hello.
void Greet(const std::string& message) {
  try {
    host::UsesChunks(Engine().Models().Context(), message);
  } catch (const std::runtime_error& error) {
    Require(*error.what() != '\0', "a refusal has a reason");
  }
}

void Ask(host::RpcHandler* handler, const host::Datastores& datastores,
         const std::string& message) {
  const std::string before = Content(datastores);
  const host::RpcReply reply = handler->Handle(kSession, {"fuzzer", {}, true}, message);
  CheckReply(message, reply);
  if (reply.is_error || HasData(reply)) {
    Require(Content(datastores) == before, "what is refused or only reads changes nothing");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Start();
  boost::asio::io_context loop;
  host::Datastores datastores(loop.get_executor(), &Engine(),
                              host::DatastoreFiles{"/proc/not-written-either", nullptr});
  const host::EventLog events;
  host::RpcHandler handler(
      &datastores,
      {[] { return host::Tree(); },
       [](host::SessionId session, host::SessionId /*killer*/) { return session == kOther; },
       &events,
       [](host::SessionId /*session*/, std::unique_ptr<host::Subscription> subscription) {
         subscription->Take({});
         return true;
       }});
  for (const std::string& message : Split({reinterpret_cast<const char*>(data), size})) {
    Greet(message);
    Ask(&handler, datastores, message);
  }
  return 0;
}

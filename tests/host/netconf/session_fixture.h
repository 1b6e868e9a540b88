// A server of the device's models on a socket in a folder of its own.
#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <memory>
#include <string>

#include "config/engine.h"
#include "netconf/framing.h"
#include "netconf/server.h"
#include "netconf_client.h"
#include "netconf_support.h"
#include "support.h"

namespace host::test {

class SessionTest : public NetconfTest {
 protected:
  void SetUp() override {
    NetconfTest::SetUp();
    if (IsSkipped()) return;
    engine_ = std::make_unique<host::Engine>(MODELS_FOLDER, folder_.Path("running.json"), nullptr,
                                             nullptr, kStandardFolder);
  }

  std::unique_ptr<host::NetconfServer> NewServer(const host::SessionLimits& limits = {},
                                                 const std::string& group = "") {
    return std::make_unique<host::NetconfServer>(loop_, path_, group, engine_.get(), state_, limits,
                                                 host::DatastoreFiles(), &events_);
  }

  std::unique_ptr<NetconfClient> Connect() {
    return std::make_unique<NetconfClient>(&loop_, path_);
  }

  /// One of the server's counters, as a new session sees it.
  std::string Counter(const std::string& name) {
    const std::string statistics =
        R"(<get><filter><netconf-state xmlns="urn:ietf:params:xml:ns:yang:)"
        R"(ietf-netconf-monitoring"><statistics/></netconf-state></filter></get>)";
    const auto client = Connect();
    client->Greet();
    return TextOf(client->Ask(statistics), name);
  }

  boost::asio::io_context loop_;
  TestFolder folder_;
  std::string path_ = folder_.Path("socket");
  std::unique_ptr<host::Engine> engine_;
  std::function<host::Tree()> state_;  ///< Of servers that are made later.
  host::EventLog events_;              ///< The same.
};

}  // namespace host::test

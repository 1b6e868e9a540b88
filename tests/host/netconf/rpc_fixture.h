// Requests to an engine of the device's models, without a connection.
#pragma once

#include <boost/asio/io_context.hpp>
#include <memory>
#include <string>
#include <vector>

#include "config/engine.h"
#include "netconf/rpc.h"
#include "netconf_support.h"
#include "support.h"

namespace host::test {

/// What of a reply tests look at.
struct Reply {
  std::string xml;
  bool closes = false;
  std::string tag;  ///< "ok" for a reply that is no error.
  std::string path;
  std::string message;
  std::string info;
};

class RpcTest : public NetconfTest {
 protected:
  void SetUp() override;

  /// Answers a whole message; its reply must be well-formed.
  Reply Handle(const std::string& message, host::SessionId session = 1);

  /// The same to a client of base:1.0.
  Reply HandleOld(const std::string& message);

  /// Answers an operation.
  Reply Ask(const std::string& operation, host::SessionId session = 1) {
    return Handle(Rpc(operation), session);
  }

  /// <edit-config>; `options` are its other elements.
  Reply Edit(const std::string& content, const std::string& target = "running",
             const std::string& options = "", host::SessionId session = 1);

  /// The content of a datastore, its explicit nodes.
  std::string Config(const std::string& datastore = "running");

  host::Engine& Engine() { return *engine_; }
  host::Datastores& Stores() { return *datastores_; }
  const host::ConfigHistory& History() const { return *history_; }
  const TestFolder& Folder() const { return folder_; }

  /// Who asks: one whom access control does not concern.
  host::Peer peer_ = {"tester", {}, true};

  boost::asio::io_context loop_;

  Reply Told(const host::RpcReply& answer) const;

  host::SessionId killed_ = 0;  ///< The last one that a request has ended; there is none but 7.

  /// What can be subscribed to, and the time that it has.
  host::EventLog::Clock::time_point now_ = host::EventLog::Clock::from_time_t(1800000000);
  host::EventLog events_{[this] { return now_; }};

 private:
  TestFolder folder_;
  std::unique_ptr<host::Engine> engine_;
  std::unique_ptr<host::ConfigHistory> history_;
  std::unique_ptr<host::Datastores> datastores_;
  std::unique_ptr<host::RpcHandler> handler_;

 protected:
  /// The last one that was asked for; the engine's models outlive it.
  std::unique_ptr<host::Subscription> subscription_;
};

/// The agent's settings and targets, as content of a <config>.
std::string Agent(const std::string& content);
std::string Target(const std::string& content);

/// An L3 interface, which needs nothing else.
std::string Interface(const std::string& content);

/// An operation on a datastore: "lock", "unlock".
std::string OnTarget(const std::string& operation, const std::string& datastore);

/// <copy-config>; the source is an element.
std::string Copy(const std::string& target, const std::string& source);

}  // namespace host::test

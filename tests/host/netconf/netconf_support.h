// What the tests of the operators' protocol share.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "config/schema.h"
#include "config/tree.h"
#include "netconf/envelope.h"

namespace host::test {

/// Where the IETF's models of network management are installed.
constexpr char kStandardFolder[] = "/usr/share/yuma/modules/ietf";

/// Skips its tests where these models are missing.
class NetconfTest : public ::testing::Test {
 protected:
  void SetUp() override;
};

/// The device's models and the one of all shapes, each with the IETF's, loaded once.
const host::Schema& NetconfDeviceModels();
const host::Schema& NetconfShapeModels();

/// A request of the NETCONF namespace with the message-id 1; `content` stands in it.
std::string Rpc(const std::string& content, const std::string& attributes = R"(message-id="1")");

/// The content of an <edit-config>'s <config>, or of a <get>'s <filter>, as requests have it.
class Content {
 public:
  static Content OfConfig(const host::Schema& models, const std::string& xml);
  static Content OfFilter(const host::Schema& models, const std::string& xml);

  /// Null for nothing.
  const lyd_node* Nodes() const { return nodes_; }

 private:
  Content(const host::Schema& models, const std::string& request, const char* element);

  host::RpcEnvelope envelope_;
  const lyd_node* nodes_ = nullptr;
};

/// The explicit nodes of a tree in XML without blanks, empty for none.
std::string Xml(const host::Tree& tree);

/// What stands between the first `begin` and the `end` behind it, empty when either is missing.
std::string Between(const std::string& text, const std::string& begin, const std::string& end);

/// The text of the first element of that name, without regard to its attributes.
std::string TextOf(const std::string& xml, const std::string& element);

/// Whether a text is one XML document, as far as libyang tells.
bool IsWellFormed(const host::Schema& models, std::string xml);

}  // namespace host::test

// The rule library: what it knows of interfaces, and the rules that it was asked for.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "libiptools/iptools.h"

namespace fake {

struct InterfaceFacts {
  uint32_t vrf;
  std::string kernel_name;
};

struct RuleCall {
  int cdb_socket;  ///< That the library's object was made with, also below.
  bool add;
  std::string kernel_name;
  unsigned int vrf;
  unsigned int port;
  unsigned int redirect_port;
  ip_proto proto;
  target_action action;
};

struct RoutingCall {
  int cdb_socket;
  bool add;
  unsigned int vrf;
  std::string address;
  unsigned int port;
  ip_proto proto;
};

struct RuleLibrary {
  /// By listening name. What is not there is looked up in the configuration, as addresses are.
  std::map<std::string, InterfaceFacts> interfaces;

  /// What the next calls return or throw, first one first; the ones behind return 0.
  std::deque<std::function<int()>> answers;

  std::vector<RuleCall> calls;
  std::vector<RoutingCall> routing_calls;

  /// What GetVrfSourceInterfaceIP was handed, newest last.
  std::vector<zlog_category_s*> categories;
};

}  // namespace fake

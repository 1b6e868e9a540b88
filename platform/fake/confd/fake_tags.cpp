#include "confd/fake_tags.h"

namespace fake {

namespace {

common::TagTable& DefineTags() {
  common::TagTable& tags = common::TagTable::Global();
  tags.Define("enabled", 0x0BC47BAF);
  tags.Define("extraIpPorts", 0x4F2DD360);
  tags.Define("interface", 0x0D34EE32);
  tags.Define("ip", 0x61FA2CDB);
  tags.Define("port", 0x009E8010);
  tags.Define("redir-port", 0x5A4D4401);
  tags.Define("udp-port", 0x0801C63A);
  tags.Define("vrf", 0x4C5F3E78);
  return tags;
}

}  // namespace

common::TagTable& Tags() {
  static common::TagTable& tags = DefineTags();
  return tags;
}

}  // namespace fake

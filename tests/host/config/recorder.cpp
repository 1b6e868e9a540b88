#include "recorder.h"

#include "confd/value_text.h"
#include "confd_maapi.h"

namespace host::test {

int Recorder::Begin(host::Transaction* /*transaction*/) {
  calls.emplace_back("begin");
  return begin_result;
}

void Recorder::End(host::Transaction* /*transaction*/) { calls.emplace_back("end"); }

int Recorder::Call(host::Transaction* transaction, const host::HookCall& call) {
  static const char* const kKinds[] = {"removed ", "created ", "set "};
  std::string text = kKinds[static_cast<int>(call.kind)] + common::KeyPathText(*call.path);
  if (call.value != nullptr) text += " = " + common::ValueText(*call.value);
  calls.push_back(text);
  return action ? action(transaction->Handle(), call) : CONFD_OK;
}

std::string ListenPath(const std::string& name) {
  return "/snmp/agent/listen/interface{" + name + "}";
}

std::string NameOf(const host::HookCall& call) {
  const int level = call.kind == host::HookKind::kSet ? 1 : 0;
  return common::ValueText(call.path->v[level][0]);
}

std::string ListenJson(const std::vector<std::pair<std::string, int>>& rows,
                       const std::string& settings) {
  std::string text;
  for (const auto& [name, port] : rows) {
    text += (text.empty() ? "" : ",") + (R"({"name": ")" + name) + R"(", "udp-port": )" +
            std::to_string(port) + "}";
  }
  return R"({"snmp:snmp": {"agent": {"listen": {"interface": [)" + text +
         R"(]}}}, "confd_dyncfg:confdConfig": {"snmpAgent": {)" + settings + "}}}";
}

int FollowWithExtraEntries(int handle, const host::HookCall& call) {
  constexpr char kExtra[] = "/confd_dyncfg:confdConfig/snmpAgent/extraIpPorts{0.0.0.0:%s}";
  const std::string name = NameOf(call);
  const std::string port = "6" + name.substr(name.size() - 1) + "000";
  if (call.kind == host::HookKind::kRemoved) return maapi_delete(1, handle, kExtra, port.c_str());
  if (call.kind != host::HookKind::kCreated) return CONFD_OK;
  if (maapi_create(1, handle, kExtra, port.c_str()) != CONFD_OK) return CONFD_ERR;
  return maapi_set_elem2(1, handle, port.c_str(), "%s/redir-port", ListenPath(name).c_str());
}

HookedEngine::HookedEngine(const TestFolder& test_folder)
    : folder(test_folder),
      engine(
          MODELS_FOLDER, test_folder.Path("running.json"),
          [this](auto& changes) { delivered = Describe(changes, "/confdConfig/snmpAgent"); },
          &hooks) {
  process.engine = &engine;
}

host::CommitResult HookedEngine::Replace(const std::string& json) {
  hooks.calls.clear();
  delivered.clear();
  return engine.ReplaceByFile(folder.Write("startup.json", json));
}

}  // namespace host::test

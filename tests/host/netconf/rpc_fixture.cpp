#include "rpc_fixture.h"

#include <utility>

namespace host::test {

void RpcTest::SetUp() {
  NetconfTest::SetUp();
  if (IsSkipped()) return;
  const std::string running = folder_.Path("running.json");
  engine_ = std::make_unique<host::Engine>(
      MODELS_FOLDER, running, nullptr, nullptr, kStandardFolder,
      [this, running](const std::string& text, const host::CommitRecord& record) {
        host::Store(running).Save(text);
        history_->Add(record.author, record.changes);
      });
  history_ = std::make_unique<host::ConfigHistory>(engine_->Models().Context(), running,
                                                   folder_.Path("history"));
  datastores_ = std::make_unique<host::Datastores>(
      loop_.get_executor(), engine_.get(),
      host::DatastoreFiles{folder_.Path("startup.json"), history_.get()});
  const auto kill = [this](host::SessionId session, host::SessionId /*killer*/) {
    killed_ = session == 7 ? session : 0;
    return session == 7;
  };
  const auto subscribe = [this](host::SessionId session,
                                std::unique_ptr<host::Subscription> subscription) {
    if (session == 7) return false;
    subscription_ = std::move(subscription);
    return true;
  };
  handler_ = std::make_unique<host::RpcHandler>(
      datastores_.get(), host::RpcServices{[] { return host::Tree(); }, kill, &events_, subscribe});
}

Reply RpcTest::Handle(const std::string& message, host::SessionId session) {
  return Told(handler_->Handle(session, peer_, message));
}

Reply RpcTest::HandleOld(const std::string& message) {
  return Told(handler_->Handle(1, peer_, message, false));
}

Reply RpcTest::Told(const host::RpcReply& answer) const {
  EXPECT_TRUE(IsWellFormed(engine_->Models(), answer.xml)) << answer.xml;
  Reply reply{answer.xml, answer.closes, "ok", "", "", ""};
  if (!answer.is_error) return reply;
  reply.tag = TextOf(answer.xml, "error-tag");
  reply.path = TextOf(answer.xml, "error-path");
  reply.message = TextOf(answer.xml, "error-message");
  reply.info = TextOf(answer.xml, "error-info");
  return reply;
}

Reply RpcTest::Edit(const std::string& content, const std::string& target,
                    const std::string& options, host::SessionId session) {
  return Ask("<edit-config><target><" + target + "/></target>" + options + "<config>" + content +
                 "</config></edit-config>",
             session);
}

std::string RpcTest::Config(const std::string& datastore) {
  return TextOf(Ask("<get-config><source><" + datastore + "/></source></get-config>").xml, "data");
}

std::string Agent(const std::string& content) {
  return "<confdConfig xmlns=\"urn:snmp-app:dyncfg\"><snmpAgent>" + content +
         "</snmpAgent></confdConfig>";
}

std::string Target(const std::string& content) {
  return "<snmp xmlns=\"urn:snmp-app:snmp\"><target>" + content + "</target></snmp>";
}

std::string Interface(const std::string& content) {
  return "<config xmlns=\"urn:snmp-app:config\"><interface><l3>" + content +
         "</l3></interface></config>";
}

std::string OnTarget(const std::string& operation, const std::string& datastore) {
  return "<" + operation + "><target><" + datastore + "/></target></" + operation + ">";
}

std::string Copy(const std::string& target, const std::string& source) {
  return "<copy-config><target><" + target + "/></target><source>" + source +
         "</source></copy-config>";
}

}  // namespace host::test

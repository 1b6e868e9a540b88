#include "framework/framework.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

#include "delivery/delivery.h"
#include "framework/agent_settings.h"
#include "framework/state.h"
#include "netconf/base_events.h"
#include "runtime/event_loop.h"
#include "runtime/faults.h"
#include "runtime/log.h"
#include "runtime/memory_or_end.h"
#include "runtime/service_manager.h"
#include "vkconfd/cdb_session.h"

namespace host {

namespace {

/// There is one management session, so its number tells nothing.
constexpr int kMaapiSocket = 1;

constexpr char kStandardModel[] = "ietf-netconf@";

/// The record comes first: whoever waits for the notification finds the records of what led to it.
void TellReady(const std::string& how) {
  HOST_LOG(kNotice, "Ready.");
  NotifyReady(how);
}

/// The folder of the IETF's models; empty when there are none, or no place for the socket.
std::string StandardModels(const Folders& folders) try {
  if (folders.runtime.empty()) return "";
  const std::vector<std::string> names = NamesIn(folders.standard_models);
  const auto found = std::lower_bound(names.begin(), names.end(), kStandardModel);
  const bool is_there = found != names.end() && found->rfind(kStandardModel, 0) == 0;
  return is_there ? folders.standard_models : "";
} catch (const std::system_error&) {
  return "";
}

bool MayProbe(const vkconfd::ConfigHandler& handler) {
  const auto& points = handler.GetSubscriptionPoints();
  return std::any_of(points.begin(), points.end(), [](const vkconfd::SubscriptionPoint& point) {
    return std::find(kAgentAddresses.begin(), kAgentAddresses.end(), std::string(point.path)) !=
           kAgentAddresses.end();
  });
}

bool HasAgentAddresses(const std::vector<common::Change>& changes) {
  return std::any_of(kAgentAddresses.begin(), kAgentAddresses.end(),
                     [&changes](const char* path) { return common::IsTouched(changes, path); });
}

void SaveWithRoom(const Store& store, const std::string& text, ConfigHistory* history) {
  try {
    store.Save(text);
  } catch (const NoRoom&) {
    if (!history->GiveWay(text.size())) throw;
    store.Save(text);
  }
}

/// Who changed what, and who tried. A record that there is no memory for must not pass for a
/// refusal of what is in force.
void TellCommit(const CommitRecord& record) {
  try {
    HOST_LOG(kNotice, "%s", RecordText(record).c_str());
  } catch (const std::exception&) {
  }
}

}  // namespace

Framework::Framework(Process& process, AgentCalls& agent, const Folders& folders,
                     std::vector<vkconfd::ConfigHandler*> handlers,
                     std::vector<vkconfd::DataHandler*> data_handlers)
    : process_(process),
      agent_(agent),
      folders_(folders),
      handlers_(std::move(handlers)),
      data_handlers_(std::move(data_handlers)),
      callpoints_(data_handlers_, this),
      engine_(
          folders.models, folders.RunningFile(),
          [this](std::vector<common::Change>& changes) { DeliverOrEnd(changes); }, &callpoints_,
          StandardModels(folders),
          [this](const std::string& text, const CommitRecord& record) { SaveOrEnd(text, record); }),
      configurations_(engine_.Models().Context(), folders.RunningFile(), folders.HistoryFolder()),
      told_(process.loop, &events_),
      configurations_retry_(process.loop,
                            [this] {
                              configurations_.Settle();
                              return configurations_.IsBehind();
                            }),
      listener_retry_(process.loop, [this] { return TryRefusedListeners(); }),
      rules_retry_(process.loop, [this] { return !rules_.Retry(); }),
      monitor_(process.loop, [this] { rules_.Restore(); }) {
  callpoints_.CheckAgainst(engine_.Models());
  MakePrivateFolder(folders.state);
  rules_.SetMarkObserver(
      [this](uint16_t redirect_port, uint32_t mark) { agent_.SetMark(redirect_port, mark); });
  rules_.SetDestinationQuery([this](const DestinationRule& rule) {
    const VkConfdCdbSession session(this, CDB_RUNNING, true);
    return target_rules_.Contain(rule, engine_.Running(), session.Socket());
  });
  rules_.SetRefusalObserver([this] {
    if (!rules_retry_.Runs()) rules_retry_.Follow(true);
  });
  assert(process_.framework == nullptr);
  process_.watchdog_check = [this] { agent_.Wait(); };
  process_.timers->scope = [this] { return std::make_shared<ProbeWindow>(agent_); };
  process_.engine = &engine_;
  process_.rules = &rules_;
  process_.framework = this;
  FollowEvents();
}

/// What sessions are told of, whether one listens or not: it may be asked for later.
void Framework::FollowEvents() {
  engine_.SetCommitObserver([this](const CommitRecord& record) {
    TellCommit(record);
    PublishConfigChange(&events_, engine_.Models().Context(), record);
  });
  history_.SetObserver([this](const Endpoint& listener, bool bound, const std::string& reason) {
    NoteListener(listener, bound, reason);
  });
  rules_.SetOutcomeObserver([this](const RuleOutcome& outcome) { told_.NoteRule(outcome); });
  process_.on_fault = [this](const Fault& fault) { told_.NoteFault(fault); };
  process_.on_role = [this](HaRole role) { told_.NoteRole(role); };
}

Framework::~Framework() {
  const ProcessScope scope(process_);
  if (connected_) {
    for (vkconfd::ConfigHandler* handler : handlers_) Disconnect(handler);
    for (vkconfd::DataHandler* handler : data_handlers_) Disconnect(handler);
  }
  netconf_.reset();
  process_.on_fault = nullptr;
  process_.on_role = nullptr;
  process_.watchdog_check = nullptr;
  process_.timers->scope = nullptr;
  process_.framework = nullptr;
  process_.rules = nullptr;
  process_.engine = nullptr;
}

void Framework::Connect(ELEM_CONFD_PHASE_ET phase) {
  const MemoryOrEnd all;
  const ProcessScope scope(process_);
  // A first start's file may have changes below a callpoint already.
  for (vkconfd::DataHandler* handler : data_handlers_) {
    handler->SetConfdInterface(this);
    handler->ConfdConnected(phase);
  }
  const std::string how = LoadConfiguration();
  SettleAgent();
  connected_ = true;
  for (vkconfd::ConfigHandler* handler : handlers_) ConnectHandler(handler, phase);
  TellWaitingListeners();
  rules_.Settle();
  OpenNetconf();
  TellReady(how);
}

/// A daemon that operators cannot reach by NETCONF still does its job.
void Framework::OpenNetconf() {
  if (StandardModels(folders_).empty()) {
    HOST_LOG(kNotice, "No NETCONF: %s has no model ietf-netconf.",
             folders_.standard_models.c_str());
    return;
  }
  try {
    MakeFolder(folders_.runtime);
    const char* group = getenv("SNMP_APP_NETCONF_GROUP");
    netconf_ = std::make_unique<NetconfServer>(
        process_.loop, folders_.NetconfSocket(), group == nullptr ? "" : group, &engine_,
        [this] { return State(); }, SessionLimits(),
        DatastoreFiles{folders_.StartupFile(), &configurations_}, &events_);
  } catch (const std::exception& exception) {
    HOST_FAULT("no NETCONF: " + std::string(exception.what()));
  }
}

/// Of what is stored and what is in force only one could be told, so neither is: a start has both.
/// The history never keeps a configuration from being stored.
void Framework::SaveOrEnd(const std::string& text, const CommitRecord& record) {
  const Store store(folders_.RunningFile());
  configurations_.Settle();
  try {
    SaveWithRoom(store, text, &configurations_);
  } catch (const UncertainSave& error) {
    HOST_LAST_FAULT("ending, to start with what is stored: " + std::string(error.what()));
  }
  configurations_.Add(record.author, record.changes);
  RunEvent("retry of the history",
           [this] { configurations_retry_.Follow(configurations_.IsBehind()); });
}

/// What cannot be read now may be good all the same, so nothing takes its place.
LoadResult Framework::LoadStored() {
  try {
    return engine_.LoadStored();
  } catch (const std::exception& exception) {
    HOST_LAST_FAULT("the stored configuration cannot be taken, and stays as it is: " +
                    std::string(exception.what()));
  }
}

/// Returns how the configuration came about.
std::string Framework::LoadConfiguration() {
  configurations_.Open();
  const LoadResult stored = LoadStored();
  if (stored.taken_back) {
    HOST_LOG(kNotice, "A commit was not confirmed; the configuration from before it is taken.");
  }
  if (stored.found) {
    configurations_.AddFound({"", 0,
                              stored.taken_back
                                  ? "taking back a commit: not confirmed before the end"
                                  : "found at a start"});
    configurations_retry_.Follow(configurations_.IsBehind());
    HOST_LOG(kProgress, "Running configuration as it was stored; %s is read at SIGHUP.",
             folders_.StartupFile().c_str());
    return "the stored configuration was taken";
  }
  if (stored.refused.empty()) return TakeFirstConfiguration();
  const std::string refused = WithoutSecrets(stored.refused);
  HOST_FAULT(refused);
  return refused + "; " + TakeFirstConfiguration();
}

/// The start-up file at a first start, which may come before there is one.
std::string Framework::TakeFirstConfiguration() {
  std::error_code ignored;
  const auto status = std::filesystem::status(folders_.StartupFile(), ignored);
  if (status.type() != std::filesystem::file_type::not_found) {
    return ReplaceByStartupFile("first start");
  }
  std::string nothing =
      "there is no configuration yet; " + folders_.StartupFile() + " is read at a reload";
  HOST_LOG(kNotice, "%s.", nothing.c_str());
  return nothing;
}

/// Returns what became of it.
std::string Framework::ReplaceByStartupFile(const char* operation) {
  try {
    const CommitResult result = engine_.ReplaceByFile(folders_.StartupFile(), {"", 0, operation});
    HOST_LOG(kProgress, "Start-up configuration %s: %s.", folders_.StartupFile().c_str(),
             result.delivered ? "in force" : "changes nothing");
    return folders_.StartupFile() + " was taken";
  } catch (const std::exception& exception) {
    std::string refusal = "start-up configuration refused, the running one stays: " +
                          WithoutSecrets(exception.what());
    HOST_FAULT(refusal);
    return refusal;
  }
}

void Framework::ConnectHandler(vkconfd::ConfigHandler* handler, ELEM_CONFD_PHASE_ET phase) {
  handler->SetConfdInterface(this);
  handler->ConfdConnected(phase);
  {
    std::optional<ProbeWindow> window;
    if (MayProbe(*handler)) window.emplace(agent_);
    const VkConfdCdbSession session(this, CDB_RUNNING, true);
    handler->LoadInitialConfig(session.Socket());
  }
  handler->ApplyInitialConfig();
}

void Framework::Disconnect(vkconfd::BaseHandler* handler) {
  handler->ConfdDisconnected();
  handler->SetConfdInterface(nullptr);
}

void Framework::Reload() {
  const ProcessScope scope(process_);
  NotifyReloading();
  TellReady(TakeReload());
}

/// Returns what became of it.
std::string Framework::TakeReload() {
  const SessionId holder = netconf_ == nullptr ? 0 : netconf_->RunningLockedBy();
  if (holder == 0) return ReplaceByStartupFile("reload");
  std::string refusal = "start-up configuration not taken, the running one stays: session " +
                        std::to_string(holder) + " has locked it";
  HOST_FAULT(refusal);
  return refusal;
}

/// The changes are stored and in force, so a start delivers what could not be delivered here.
void Framework::DeliverOrEnd(std::vector<common::Change>& changes) {
  const MemoryOrEnd all;
  RunEvent(
      "ending, to start with what is stored, for its delivery failed", [&] { Deliver(changes); },
      EndWithFault);
}

void Framework::Deliver(std::vector<common::Change>& changes) {
  // Before the handlers are connected they have not loaded what the changes are about.
  if (!connected_) return;
  ++commits_;
  SettleAgent();
  {
    std::optional<ProbeWindow> window;
    if (HasAgentAddresses(changes)) window.emplace(agent_);
    common::Deliver(changes, handlers_,
                    [](const std::string& operation, const std::string& reason) {
                      HOST_FAULT(operation + ": " + reason);
                    });
  }
  if (HasAgentAddresses(changes)) TellWaitingListeners();
  // Marks, too, are in force when an operator hears that the change is.
  agent_.Wait();
}

void Framework::SettleAgent() {
  const VkConfdCdbSession session(this, CDB_RUNNING, true);
  agent_.Follow(ReadAgentSettings(session.Socket()));
  if (ReadAgentEnabled(session.Socket())) return;
  agent_.SetListeners({});
  history_.Clear("the agent is disabled");
  listener_retry_.Follow(false);
}

/// The program does not rebind before each address can be bound, so no rebind tells of them.
void Framework::TellWaitingListeners() {
  const VkConfdCdbSession session(this, CDB_RUNNING, true);
  std::set<Endpoint> waiting;
  if (ReadAgentEnabled(session.Socket())) {
    waiting = Normalized(ReadAgentListeners(session.Socket()));
  }
  for (const Endpoint& open : agent_.Listeners()) waiting.erase(open);
  for (auto one = waiting.begin(); one != waiting.end();) {
    one = history_.Find(*one) == nullptr ? std::next(one) : waiting.erase(one);
  }
  for (const Endpoint& listener : waiting) {
    if (waiting_.count(listener) > 0) continue;
    const std::string reason = agent_.WhyNot(listener);
    NoteListener(listener, false, reason.empty() ? "waits for others" : reason);
  }
  waiting_.swap(waiting);
}

Tree Framework::State() {
  const VkConfdCdbSession session(this, CDB_RUNNING, true);
  ly_ctx* context = engine_.Models().Context();
  Tree state = ReadState(context, {session.Socket(), process_, agent_, history_, rules_,
                                   listener_retry_.Runs(), commits_});
  InsertAll(&state, HistoryData(context, configurations_.Entries()));
  return state;
}

std::vector<ListenerFailure> Framework::RebindAgent() {
  const VkConfdCdbSession session(this, CDB_RUNNING, true);
  const std::set<Endpoint> wanted = ReadAgentListeners(session.Socket());
  std::vector<ListenerFailure> failures = agent_.SetListeners(wanted);
  history_.Note(wanted, failures);
  listener_retry_.Follow(!failures.empty());
  return failures;
}

bool Framework::TryRefusedListeners() {
  const VkConfdCdbSession session(this, CDB_RUNNING, true);
  const std::set<Endpoint> wanted = Normalized(ReadAgentListeners(session.Socket()));
  const std::set<Endpoint> refused = history_.Refused();
  std::set<Endpoint> tried;
  std::set_intersection(refused.begin(), refused.end(), wanted.begin(), wanted.end(),
                        std::inserter(tried, tried.end()));
  std::set<Endpoint> listeners = agent_.Listeners();
  listeners.insert(tried.begin(), tried.end());
  const std::vector<ListenerFailure> failures = agent_.SetListeners(listeners);
  history_.NoteRetry(tried, failures);
  return !failures.empty();
}

int Framework::MaapiSocket() { return kMaapiSocket; }

}  // namespace host

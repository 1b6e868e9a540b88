#include "netconf/access_policy.h"

#include <cstring>
#include <sstream>
#include <stdexcept>

#include "config/tree.h"
#include "config/yang_data.h"
#include "netconf/access_door.h"
#include "netconf/secret_elements.h"

namespace host {

namespace {

constexpr char kModel[] = "ietf-netconf-acm";

const lyd_node* Child(const lyd_node* parent, const char* name) {
  return FindNamed(lyd_child(parent), name);
}

std::string Text(const lyd_node* parent, const char* leaf) {
  const lyd_node* found = Child(parent, leaf);
  return found == nullptr ? "" : lyd_get_value(found);
}

bool Permits(const lyd_node* parent, const char* leaf) { return Text(parent, leaf) == "permit"; }

/// Calls `operation` with each entry of a list or leaf-list.
template <typename Operation>
void ForEach(const lyd_node* parent, const char* name, Operation operation) {
  for (const lyd_node* child = lyd_child(parent); child != nullptr; child = child->next) {
    if (strcmp(child->schema->name, name) == 0) operation(child);
  }
}

/// The bits of the model's names.
unsigned OperationsOf(const std::string& text) {
  static const std::map<std::string, unsigned> kNames = {
      {"create", kCreateAccess}, {"read", kReadAccess}, {"update", kUpdateAccess},
      {"delete", kDeleteAccess}, {"exec", kExecAccess}, {"*", kAnyAccess}};
  unsigned operations = 0;
  std::istringstream words(text);
  for (std::string word; words >> word;) operations |= kNames.at(word);
  return operations;
}

AccessRule RuleOf(const ly_ctx* context, const lyd_node* entry) {
  AccessRule rule;
  rule.module = Text(entry, "module-name");
  rule.operations = OperationsOf(Text(entry, "access-operations"));
  rule.permits = Permits(entry, "action");
  if (Child(entry, "rpc-name") != nullptr) {
    rule.kind = AccessRule::Kind::kOperation;
    rule.target = Text(entry, "rpc-name");
  } else if (Child(entry, "notification-name") != nullptr) {
    rule.kind = AccessRule::Kind::kNotification;
    rule.target = Text(entry, "notification-name");
  } else if (Child(entry, "path") != nullptr) {
    rule.kind = AccessRule::Kind::kData;
    rule.path.emplace(context, Text(entry, "path"));
  }
  return rule;
}

AccessRuleList ListOf(const ly_ctx* context, const lyd_node* entry) {
  AccessRuleList list;
  ForEach(entry, "group",
          [&list](const lyd_node* group) { list.groups.insert(lyd_get_value(group)); });
  ForEach(entry, "rule",
          [&](const lyd_node* rule) { list.rules.push_back(RuleOf(context, rule)); });
  return list;
}

/// Of the container of the model, with its defaults.
AccessPolicy Compile(const ly_ctx* context, const lyd_node* nacm) {
  AccessPolicy policy;
  policy.is_enabled = Text(nacm, "enable-nacm") == "true";
  policy.uses_external_groups = Text(nacm, "enable-external-groups") == "true";
  policy.permits_reads = Permits(nacm, "read-default");
  policy.permits_writes = Permits(nacm, "write-default");
  policy.permits_execution = Permits(nacm, "exec-default");
  ForEach(Child(nacm, "groups"), "group", [&policy](const lyd_node* group) {
    ForEach(group, "user-name", [&](const lyd_node* user) {
      policy.groups_of_users[lyd_get_value(user)].insert(Text(group, "name"));
    });
  });
  ForEach(nacm, "rule-list",
          [&](const lyd_node* list) { policy.lists.push_back(ListOf(context, list)); });
  return policy;
}

const lyd_node* FindNacm(const lyd_node* configuration) {
  const lyd_node* node = configuration;
  while (node != nullptr && strcmp(node->schema->module->name, kModel) != 0) node = node->next;
  return node;
}

/// A rule of the built-in policy: its name, what it is about, and what becomes of that.
std::string Rule(const std::string& name, const std::string& about, const char* action) {
  return R"({"name": ")" + name + R"(", )" + about + R"("action": ")" + action + R"("})";
}

std::string RuleList(const char* name, const char* group, const std::string& rules) {
  return std::string(R"({"name": ")") + name + R"(", "group": [")" + group + R"("], "rule": [)" +
         rules + "]}";
}

/// The operations that read, with the models that define them.
constexpr const char* kReadOperations[][2] = {{"ietf-netconf", "get"},
                                              {"ietf-netconf", "get-config"},
                                              {"ietf-netconf-monitoring", "get-schema"},
                                              {"notifications", "create-subscription"}};

std::string ReaderRules(const Schema& models) {
  std::string rules;
  for (const lysc_node* secret : SecretElements(models)) {
    rules += Rule(std::string("no-") + secret->name,
                  R"("path": ")" + ElementPath(secret) + R"(", )", "deny") +
             ", ";
  }
  rules += Rule("data", R"("access-operations": "read", )", "permit");
  for (const auto& operation : kReadOperations) {
    rules += ", " + Rule(operation[1],
                         std::string(R"("module-name": ")") + operation[0] + R"(", "rpc-name": ")" +
                             operation[1] + R"(", "access-operations": "exec", )",
                         "permit");
  }
  return rules;
}

}  // namespace

std::string BuiltInPolicy(const Schema& models) {
  return R"({"ietf-netconf-acm:nacm": {"rule-list": [)" +
         RuleList("operators", kOperatorsGroup, Rule("everything", "", "permit")) + ", " +
         RuleList("readers", kReadersGroup, ReaderRules(models)) + ", " +
         RuleList("others", "*", Rule("nothing", "", "deny")) + "]}}";
}

AccessPolicy PolicyOf(const Schema& models, const lyd_node* configuration) {
  const lyd_node* nacm = FindNacm(configuration);
  Tree built_in;
  if (nacm == nullptr || (nacm->flags & LYD_DEFAULT) != 0) {
    built_in = ParseTree(models.Context(), BuiltInPolicy(models));
    AddDefaults(models.Context(), &built_in);
    nacm = FindNacm(built_in.get());
  }
  AccessPolicy policy = Compile(models.Context(), nacm);
  const std::vector<const lysc_node*> secrets = SecretElements(models);
  policy.secrets.insert(secrets.begin(), secrets.end());
  return policy;
}

}  // namespace host

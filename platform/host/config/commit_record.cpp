#include "config/commit_record.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "confd/value_text.h"
#include "config/device_paths.h"

namespace host {

namespace {

constexpr size_t kToldPaths = 16;

/// Operators name rows of communities after the communities. `path` has no module's name in it.
bool IsSecretEntry(const std::string& path) {
  return std::any_of(
      std::begin(kSecretPaths), std::end(kSecretPaths),
      [&](const std::string& full) { return full.substr(full.find(':') + 1) == path.substr(1); });
}

std::string PathBelow(const std::string& parent, const common::Change& change) {
  std::string path = parent + "/" + common::ValueText(common::MakeTag(change.tag, change.ns));
  if (change.keys.empty()) return path;
  if (IsSecretEntry(path)) return path + "{...}";
  std::string keys;
  for (const common::OwnedValue& key : change.keys) {
    keys += (keys.empty() ? "" : " ") + common::ValueText(key.Value());
  }
  return path + "{" + keys + "}";
}

/// Where the keys end that a path has at `at`, in one pair of brackets or more.
size_t BehindKeys(const std::string& text, size_t at) {
  char quote = '\0';
  for (; at < text.size(); ++at) {
    const char c = text[at];
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else if (c == ']' && text.compare(at + 1, 1, "[") != 0) {
      return at + 1;
    }
  }
  return at;
}

const char* WordFor(const common::Change& change) {
  switch (change.op) {
    case MOP_CREATED:
      return "created ";
    case MOP_DELETED:
      return "deleted ";
    case MOP_VALUE_SET:
      return "set ";
    default:
      return "moved ";
  }
}

/// Collects the paths of changes, and counts those beyond what is told.
class Paths {
 public:
  void Add(const std::vector<common::Change>& changes, const std::string& parent) {
    for (const common::Change& change : changes) {
      const std::string path = PathBelow(parent, change);
      if (change.op == MOP_MODIFIED && !change.children.empty()) {
        Add(change.children, path);
      } else if (++count_ <= kToldPaths) {
        text_ += (text_.empty() ? "" : ", ") + (WordFor(change) + path);
      }
    }
  }

  std::string Text() const {
    if (count_ <= kToldPaths) return text_;
    return text_ + " and " + std::to_string(count_ - kToldPaths) + " more";
  }

 private:
  std::string text_;
  size_t count_ = 0;
};

std::string AuthorText(const Author& author) {
  const std::string user = author.user.empty() ? "the system" : author.user;
  if (author.session == 0) return user + " (" + author.operation + ")";
  return user + " (session " + std::to_string(author.session) + ", " + author.operation + ")";
}

}  // namespace

bool IsSecretList(const lysc_node* element) {
  if (element->nodetype != LYS_LIST) return false;
  std::string path;
  for (; element != nullptr; element = lysc_data_parent(element)) {
    path.insert(0, std::string("/") + element->name);
  }
  return IsSecretEntry(path);
}

std::string ChangesText(const std::vector<common::Change>& changes) {
  Paths paths;
  paths.Add(changes, "");
  return paths.Text();
}

std::string WithoutSecrets(std::string text) {
  for (const char* path : kSecretPaths) {
    const std::string step = std::string(strrchr(path, '/') + 1) + "[";
    for (size_t at = text.find(step); at != std::string::npos; at = text.find(step, at)) {
      at += step.size();
      text.replace(at, BehindKeys(text, at) - at, "...]");
    }
  }
  return text;
}

std::string RecordText(const CommitRecord& record) {
  const std::string begin = "Commit by " + AuthorText(record.author);
  const std::string time = " in " + std::to_string(record.duration.count()) + " ms";
  if (!record.refusal.empty()) {
    return begin + " refused" + time + ": " + WithoutSecrets(record.refusal);
  }
  return begin + time + ": " + (record.changes.empty() ? "no value changed" : record.changes);
}

}  // namespace host

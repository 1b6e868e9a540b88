// What the tests of the configuration engine share.
#pragma once

#include <string>
#include <vector>

#include "confd_cdb.h"
#include "config/schema.h"
#include "config/tree.h"
#include "delivery/change.h"

namespace host::test {

/// A new folder that is removed with the object.
class TestFolder {
 public:
  TestFolder();
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  /// The path of a file of that name.
  std::string Path(const std::string& name) const { return path_ + "/" + name; }
  const std::string& Path() const { return path_; }

  /// Writes a file and returns its path.
  std::string Write(const std::string& name, const std::string& text) const;

  /// The names of all that is in the folder, in alphabetic order.
  std::vector<std::string> Names() const;

 private:
  std::string path_;
};

/// The device's models, loaded once.
const host::Schema& DeviceModels();

/// A model with every shape that the device's own ones do not have, loaded once.
const host::Schema& ShapeModels();

/// A configuration, validated and with defaults.
host::Tree Read(const host::Schema& models, const std::string& json);

/// JSON of the device's models: the agent's settings, "port": 161 for example, and rows of the
/// community table.
std::string AgentJson(const std::string& settings);
std::string CommunityJson(const std::string& rows);

/// One row of the community table.
std::string CommunityRow(const std::string& index, const std::string& security_name);

/// Every change at and below `path` as "operation path old -> new", where old and new are the
/// values that the callback got, "" for none.
std::vector<std::string> Describe(std::vector<common::Change>& changes, const std::string& path,
                                  confd_iter_ret next = ITER_RECURSE,
                                  int32_t flags = ITER_WANT_PREV);

}  // namespace host::test

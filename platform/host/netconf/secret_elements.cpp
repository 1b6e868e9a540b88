#include "netconf/secret_elements.h"

#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "config/device_paths.h"
#include "runtime/memory_or_end.h"

namespace host {

std::vector<const lysc_node*> SecretElements(const Schema& models) {
  std::vector<const lysc_node*> elements;
  for (const char* path : kSecretPaths) {
    try {
      elements.push_back(models.Resolve(common::ParsePath(path)).back());
    } catch (const std::invalid_argument&) {
      // What the models lack keeps no secrets.
    }
  }
  return elements;
}

std::string ElementPath(const lysc_node* element) {
  const std::unique_ptr<char, decltype(&free)> path(lysc_path(element, LYSC_PATH_DATA, nullptr, 0),
                                                    free);
  if (path == nullptr) RefuseMemory();
  return path.get();
}

}  // namespace host

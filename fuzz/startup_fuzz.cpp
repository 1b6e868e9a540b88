// Start-up data: what the device's models accept is printed to a text that reads back to the same.
#include <cstdint>
#include <stdexcept>
#include <string>

#include "config/schema.h"
#include "config/target_check.h"
#include "config/tree.h"
#include "property.h"

namespace {

/// Never destroyed: the trees of the last input may still be there when the process ends.
ly_ctx* Models() {
  static const host::Schema& models = *new host::Schema(MODELS_FOLDER);
  return models.Context();
}

host::Tree Read(const std::string& text) {
  host::Tree tree = host::ParseTree(Models(), text);
  host::ValidateTree(Models(), &tree);
  host::CheckTargets(tree.get());
  return tree;
}

void CheckAccepted(const host::Tree& tree) {
  const std::string printed = host::PrintTree(tree.get());
  host::Tree again;
  try {
    again = Read(printed);
  } catch (const std::runtime_error& error) {
    Require(false, error.what());
  }
  Require(host::PrintTree(again.get()) == printed, "a printed configuration is printed the same");
  Require(lyd_compare_siblings(tree.get(), again.get(),
                               LYD_COMPARE_FULL_RECURSION | LYD_COMPARE_DEFAULTS) == LY_SUCCESS,
          "a printed configuration reads back to the same nodes");
  const host::Tree copy = host::CopyTree(tree.get());
  Require(host::PrintTree(copy.get()) == printed, "a copy is printed as the original");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  host::Tree tree;
  try {
    tree = Read(std::string(reinterpret_cast<const char*>(data), size));
  } catch (const std::runtime_error& error) {
    Require(*error.what() != '\0', "a refusal has a reason");
    return 0;
  }
  CheckAccepted(tree);
  return 0;
}

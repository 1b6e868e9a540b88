#include "config/input_file.h"

#include "config/store.h"
#include "config/system_nodes.h"
#include "config/tree.h"

namespace host {

Tree ReadInput(ly_ctx* context, const std::string& path) {
  const std::string text = ReadFile(path);
  Tree tree;
  TellingFile(path, [&] { tree = ParseTree(context, text); });
  DropMarked(&tree);
  return tree;
}

}  // namespace host

#include "netconf/startup_file.h"

#include "config/input_file.h"
#include "config/system_nodes.h"
#include "config/text_check.h"
#include "config/tree.h"
#include "runtime/memory_or_end.h"

namespace host {

Tree StartupFile::Read(ly_ctx* context) const {
  Tree content;
  if (store_.Exists()) content = ReadInput(context, store_.Path());
  AddDefaults(context, &content);
  return content;
}

void StartupFile::Write(Tree content) const {
  DropMarked(&content);
  const std::string text = PrintTree(content.get());
  if (!Tells(text, content.get())) RefuseMemory();
  store_.Save(text);
}

}  // namespace host

// ConfD's calls that print a value and give it back. They stand apart from the helpers that make
// values: those also go into programs that have ConfD's own library.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "confd/value_text.h"
#include "confd_lib.h"

namespace {

/// Hands out a text as snprintf does; a negative number when it cannot be made.
template <typename MakeText>
int PrintCut(char* buffer, int size, MakeText make_text) {
  if (size > 0) buffer[0] = '\0';
  try {
    const std::string text = make_text();
    if (size > 0) {
      const size_t length = std::min(text.size(), static_cast<size_t>(size) - 1);
      memcpy(buffer, text.data(), length);
      buffer[length] = '\0';
    }
    return static_cast<int>(text.size());
  } catch (const std::exception&) {
    return -1;
  }
}

}  // namespace

int confd_pp_kpath(char* buf, int n, const confd_hkeypath_t* kp) {
  return PrintCut(buf, n, [kp] { return common::KeyPathText(*kp); });
}

int confd_pp_value(char* buf, int n, const confd_value_t* v) {
  return PrintCut(buf, n, [v] { return common::ValueText(*v); });
}

void confd_free_value(confd_value_t* v) {
  if (v->type == C_BUF || v->type == C_BINARY) free(v->val.buf.ptr);
  if (v->type == C_LIST) {
    for (unsigned int i = 0; i < v->val.list.size; ++i) confd_free_value(&v->val.list.ptr[i]);
    free(v->val.list.ptr);
  }
  v->type = C_NOEXISTS;
}

#include "config/choices.h"

namespace host {

bool IsInCase(const lysc_node* element) {
  return element->parent != nullptr && element->parent->nodetype == LYS_CASE;
}

bool AreInTwoCases(const lysc_node* a, const lysc_node* b) {
  for (const lysc_node* of_a = a; IsInCase(of_a); of_a = of_a->parent->parent) {
    for (const lysc_node* of_b = b; IsInCase(of_b); of_b = of_b->parent->parent) {
      const bool is_one_choice = of_a->parent->parent == of_b->parent->parent;
      if (is_one_choice) return of_a->parent != of_b->parent;
    }
  }
  return false;
}

}  // namespace host

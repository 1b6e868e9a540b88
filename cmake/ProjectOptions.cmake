# Warnings for our own code; linked privately by every target of the tree.
add_library(project_options INTERFACE)
target_compile_options(
  project_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                            $<$<BOOL:${SNMP_APP_WERROR}>:-Werror>)

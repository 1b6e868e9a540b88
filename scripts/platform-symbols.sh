#!/usr/bin/env bash
# What a platform defines: the symbols that the program's objects need and neither they nor the C
# and C++ libraries have. Arguments: libapp.a, and the compiler with its flags (c++). Sorted, and
# std::string and std::vector by their short names.
set -euo pipefail

archive=$1
shift
[ $# -gt 0 ] || set -- "${CXX:-c++}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The linker names what nobody defines. Every object takes part, not only those that main() reaches.
echo 'int main() {}' >"$work/main.cpp"
LC_ALL=C "$@" -no-pie -o "$work/main" "$work/main.cpp" -Wl,--whole-archive "$archive" \
  -Wl,--no-whole-archive -Wl,--warn-unresolved-symbols,--demangle 2>"$work/warnings" ||
  { cat "$work/warnings" >&2; exit 1; }
sed -n -e "s/.*undefined references\{0,1\} to \`\(.*\)'\( follow\)\{0,1\}$/\1/p" "$work/warnings" |
  sed -e 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g' \
    -e 's/, std::allocator<[^<>]*> >/>/g' | LC_ALL=C sort -u

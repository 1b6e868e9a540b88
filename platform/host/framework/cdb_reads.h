// Reads of an open CDB session that tell what went wrong.
#pragma once

#include <string>

namespace host {

/// `result` of a cdb_ call; for CONFD_ERR throws std::runtime_error with confd_lasterr().
int Checked(int result);

/// The text of the leaf at `path`; empty where it has no value. Throws as Checked().
std::string ReadLeaf(int cdb_socket, const std::string& path);

/// How many entries a list has. Throws as Checked().
int CountEntries(int cdb_socket, const char* list);

/// The path of the entry at a position, from 0, with a slash behind it.
std::string EntryAt(const char* list, int position);

}  // namespace host

// Declarations of what the program uses of ConfD's configuration database, CDB.
#pragma once

#include "confd_lib.h"

extern "C" {

/// The configuration that a session reads.
enum cdb_db_type {
  CDB_RUNNING = 1,            ///< The configuration in force.
  CDB_PRE_COMMIT_RUNNING = 4  ///< The one before the commit that is being delivered.
};

/// Iterate flags of a subscription point; other bits are the platform's own.
enum {
  ITER_WANT_PREV = 1  ///< Hand over the old value of a changed leaf, too.
};

/// Reads the leaf or leaf-list at the path given by `fmt` and its arguments, as printf has them.
/// `sock` comes from an open session. The path is "/name/list{key}/leaf" or
/// "/name/list[index]/leaf"; names may carry a module prefix.
/// On CONFD_OK the caller owns `*v` and frees it with confd_free_value(). A leaf with a default
/// reads as that default; a leaf-list always reads as C_LIST, without entries as an empty one.
/// CONFD_ERR: CONFD_ERR_NOEXISTS no such leaf or entry; CONFD_ERR_BADPATH not in the schema;
/// CONFD_ERR_NOSESSION no session on `sock`. `*v` is then untouched.
int cdb_get(int sock, confd_value_t* v, const char* fmt, ...) __attribute__((format(printf, 3, 4)));

/// Number of entries of the list at the path; 0 where its parent is absent.
/// CONFD_ERR (-1) as in cdb_get(): CONFD_ERR_BADPATH, CONFD_ERR_NOSESSION.
int cdb_num_instances(int sock, const char* fmt, ...) __attribute__((format(printf, 2, 3)));

/// Reads the children of the list entry or container at the path, in the order that the schema has
/// them, into `values`, of which there are `n`: a leaf's value, C_NOEXISTS where there is none;
/// what is no leaf reads as C_XMLTAG. Children behind the n-th are left out, values behind the last
/// child are C_NOEXISTS. The caller owns the values and frees each with confd_free_value(). Returns
/// how many children the schema has, which may be more than `n`. CONFD_ERR as in cdb_get():
/// CONFD_ERR_NOEXISTS no such entry or container, CONFD_ERR_BADPATH, CONFD_ERR_NOSESSION. `values`
/// are then untouched.
int cdb_get_object(int sock, confd_value_t* values, int n, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

/// The same for `nobj` entries of the list at the path, from the one at position `ix` (the first is
/// 0): the values of an entry stand `n` behind those of the one before. Values of entries that are
/// not there are untouched. Returns how many children the schema has, CONFD_ERR as in
/// cdb_get_object(): CONFD_ERR_NOEXISTS when the list has no entry at `ix`.
int cdb_get_objects(int sock, confd_value_t* values, int n, int ix, int nobj, const char* fmt, ...)
    __attribute__((format(printf, 6, 7)));

/// Reads of a value of one type. As cdb_get(), and CONFD_ERR_BADTYPE when the leaf has another
/// type; the result is untouched then.

/// Text, cut to `n` bytes with its terminating zero.
int cdb_get_str(int sock, char* rval, int n, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));
int cdb_get_u_int16(int sock, uint16_t* rval, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
int cdb_get_u_int32(int sock, uint32_t* rval, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));

int cdb_get_int32(int sock, int32_t* rval, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));

/// A C_BINARY. `*rval` is set to a copy that the caller gives back with free(), and `*n` to its
/// length in bytes.
int cdb_get_binary(int sock, unsigned char** rval, int* n, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

/// 0 or 1.
int cdb_get_bool(int sock, int* rval, const char* fmt, ...) __attribute__((format(printf, 3, 4)));
int cdb_get_ipv4_and_plen(int sock, confd_ipv4_prefix* rval, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
int cdb_get_ipv6_and_plen(int sock, confd_ipv6_prefix* rval, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));

}  // extern "C"

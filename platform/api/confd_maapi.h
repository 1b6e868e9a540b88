// Declarations of what the program uses of ConfD's management agent API, MAAPI.
#pragma once

#include "confd_lib.h"

extern "C" {

/// Listener numbers of maapi_rebind_listener().
enum {
  CONFD_LISTENER_SNMP = 4  ///< The SNMP agent's UDP listeners.
};

/// Closes and opens listeners anew, so that they match the configuration in force. For SNMP these
/// are the agent's address and port and every entry of the extra list; none while it is disabled.
/// `sock` is a connected MAAPI socket. Returns CONFD_OK when every listener is open, and
/// confd_lasterr() is "" then; else CONFD_ERR with confd_errno CONFD_ERR_EXTERNAL and a text that
/// names the listeners that failed; those that could be opened stay open.
int maapi_rebind_listener(int sock, int listener);

/// Reads and writes of the transaction with the handle `thandle`. Paths and results are those of
/// the cdb_ calls; CONFD_ERR_NOSESSION where no transaction has the handle.

/// Text, cut to `n` bytes with its terminating zero.
int maapi_get_str_elem(int sock, int thandle, char* buf, int n, const char* fmt, ...)
    __attribute__((format(printf, 5, 6)));
int maapi_get_u_int16_elem(int sock, int thandle, uint16_t* rval, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));
int maapi_get_u_int32_elem(int sock, int thandle, uint32_t* rval, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

/// 0 or 1.
int maapi_get_bool_elem(int sock, int thandle, int* rval, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));
int maapi_get_ipv4_and_plen_elem(int sock, int thandle, confd_ipv4_prefix* rval, const char* fmt,
                                 ...) __attribute__((format(printf, 4, 5)));

/// Besides printf's conversions the path may have %x, for a `const confd_value_t*` that stands for
/// a key.
int maapi_get_ipv6_and_plen_elem(int sock, int thandle, confd_ipv6_prefix* rval, const char* fmt,
                                 ...);

/// Creates the list entry, leaf-list entry or presence container at the path; what is missing above
/// it is created, too. CONFD_ERR_ALREADY_EXISTS when it is there; CONFD_ERR_BADTYPE when its key is
/// none of its type.
int maapi_create(int sock, int thandle, const char* fmt, ...) __attribute__((format(printf, 3, 4)));

/// Deletes the element at the path. CONFD_ERR_NOEXISTS when it is not there.
int maapi_delete(int sock, int thandle, const char* fmt, ...) __attribute__((format(printf, 3, 4)));

/// Sets the leaf at the path to a value given as text. CONFD_ERR_NOEXISTS when the entry above it
/// is not there, CONFD_ERR_BADTYPE when the text is no value of its type.
int maapi_set_elem2(int sock, int thandle, const char* strval, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

/// A walk over the entries of a list.
struct maapi_cursor {
  confd_value_t keys[MAXKEYLEN];  ///< Of the entry that the cursor stands at; the cursor's.
  int n;                          ///< Number of keys; 0 before the first and behind the last entry.
  void* position;                 ///< The library's own.
};

/// Puts a cursor before the first entry of the list at the path. It is destroyed in any case.
int maapi_init_cursor(int sock, int thandle, maapi_cursor* cursor, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

/// Moves on to the next entry. CONFD_ERR_NOSESSION when the cursor's beginning was refused.
int maapi_get_next(maapi_cursor* cursor);

/// Frees what the cursor holds.
void maapi_destroy_cursor(maapi_cursor* cursor);

}  // extern "C"

// Declarations of what the program uses of the ConfD client library: values, key paths, their
// texts and the error state. Every call is made on the one event thread.
#pragma once

#include <netinet/in.h>
#include <stdint.h>

#include <cassert>

#ifdef NDEBUG
#error "The accessors below are guarded by assertions that are part of the program's behaviour."
#endif

extern "C" {

/// Result codes. A failed call returns CONFD_ERR and sets confd_errno and confd_lasterr().
enum { CONFD_OK = 0, CONFD_ERR = -1 };

/// Values of confd_errno.
enum {
  CONFD_ERR_NOEXISTS = 1,        ///< The element is not in the configuration, or has no value.
  CONFD_ERR_ALREADY_EXISTS = 2,  ///< The element to create is there already.
  CONFD_ERR_BADPATH = 5,         ///< The text is no path of the schema.
  CONFD_ERR_BADTYPE = 6,         ///< The element is not of the type that was asked for.
  CONFD_ERR_EXTERNAL = 19,       ///< A part behind ConfD (socket, kernel, agent) refused.
  CONFD_ERR_NOSESSION = 27       ///< The socket has no open session.
};

/// The type of a confd_value_t, and with it the member of `val` that is set.
enum confd_vtype {
  C_NOEXISTS = 1,        ///< No value.
  C_XMLTAG = 2,          ///< An element name: val.xmltag.
  C_BUF = 5,             ///< Text: val.buf, `size` bytes and a terminating zero behind them.
  C_INT32 = 8,           ///< val.i32
  C_UINT8 = 10,          ///< val.u8
  C_UINT16 = 11,         ///< val.u16
  C_UINT32 = 12,         ///< val.u32
  C_IPV4 = 15,           ///< val.ip
  C_IPV6 = 16,           ///< val.ip6
  C_BOOL = 17,           ///< val.boolean, 0 or 1
  C_IPV4_AND_PLEN = 29,  ///< val.ipv4prefix
  C_IPV6_AND_PLEN = 30,  ///< val.ipv6prefix
  C_LIST = 31,           ///< All entries of a leaf-list: val.list, `size` values.
  C_BINARY = 32          ///< Bytes: val.buf, `size` of them, any value.
};

struct confd_value_t;

/// An address and its prefix length in bits; the address keeps its host bits.
struct confd_ipv4_prefix {
  in_addr ip;
  uint8_t len;
};

struct confd_ipv6_prefix {
  in6_addr ip6;
  uint8_t len;
};

struct confd_xmltag {
  uint32_t tag;  ///< Hash of the element's name.
  uint32_t ns;   ///< Hash of the module.
};

struct confd_buf {
  unsigned int size;
  unsigned char* ptr;
};

struct confd_list {
  unsigned int size;
  confd_value_t* ptr;
};

/// One typed value. C_BUF, C_BINARY and C_LIST own memory that confd_free_value() gives back; a
/// copy of the struct shares it.
struct confd_value_t {
  confd_vtype type;
  union {
    confd_xmltag xmltag;
    confd_buf buf;
    int32_t i32;
    uint8_t u8;
    uint16_t u16;
    uint32_t u32;
    in_addr ip;
    in6_addr ip6;
    confd_ipv4_prefix ipv4prefix;
    confd_ipv6_prefix ipv6prefix;
    int boolean;
    confd_list list;
  } val;
};

enum { MAXDEPTH = 20, MAXKEYLEN = 9 };

/// The place of an element. v[0] is the innermost level, v[len - 1] the root element. A level is
/// either one C_XMLTAG (an element name) or the keys of a list entry; the level behind the keys
/// (v[1] for an entry) then holds the list's name. A level ends at its first C_NOEXISTS.
struct confd_hkeypath_t {
  int len;
  confd_value_t v[MAXDEPTH][MAXKEYLEN];
};

/// Kind of a change that a subscription callback is told of.
enum confd_iter_op {
  MOP_NOP = 0,
  MOP_CREATED = 1,   ///< A list entry or presence container came to be.
  MOP_DELETED = 2,   ///< A list entry, presence container or leaf went away.
  MOP_MODIFIED = 3,  ///< Something below this list entry or container changed.
  MOP_VALUE_SET = 4  ///< A leaf or leaf-list has a new value.
};

/// What a subscription callback asks for next.
enum confd_iter_ret {
  ITER_STOP = 1,     ///< No more changes of this subscription point in this commit.
  ITER_RECURSE = 2,  ///< The changes below this element.
  ITER_CONTINUE = 3  ///< The changes beside this element, none below it.
};

/// Code of the last failed call.
extern int confd_errno;

/// Text of the last failed call, for people; "" when none failed yet. Owned by the library, valid
/// until the next ConfD call.
const char* confd_lasterr(void);

/// Prints a key path as "/a/b{key}/c" into `buf`, cut to `n` bytes with the terminating zero.
/// Returns the length of the whole text, or a negative number when the path cannot be printed.
int confd_pp_kpath(char* buf, int n, const confd_hkeypath_t* kp);

/// Prints a value into `buf`, cut to `n` bytes with the terminating zero; `n` 0 writes nothing. A
/// C_LIST prints as its elements between free-standing brackets: "[ a b ]", empty "[ ]". A C_BINARY
/// prints as two hexadecimal digits a byte with colons between: "0a:00:ff".
/// Returns the length of the whole text, or a negative number when the value cannot be printed.
int confd_pp_value(char* buf, int n, const confd_value_t* v);

/// Gives back what `v` owns; harmless for a value that owns nothing. `v` itself is the caller's.
void confd_free_value(confd_value_t* v);

}  // extern "C"

// Typed reads. The argument is a pointer; a value of another type aborts the process with the
// assertion's text, which contains the argument as it was written.
#define CONFD_GET_XMLTAG(v) (assert((v)->type == C_XMLTAG), (v)->val.xmltag.tag)
#define CONFD_GET_UINT16(v) (assert((v)->type == C_UINT16), (v)->val.u16)
#define CONFD_GET_UINT32(v) (assert((v)->type == C_UINT32), (v)->val.u32)
#define CONFD_GET_BOOL(v) (assert((v)->type == C_BOOL), (v)->val.boolean)
#define CONFD_GET_BUFPTR(v) (assert((v)->type == C_BUF), (v)->val.buf.ptr)
#define CONFD_GET_BUFSIZE(v) (assert((v)->type == C_BUF), (v)->val.buf.size)
#define CONFD_GET_LISTSIZE(v) (assert((v)->type == C_LIST), (v)->val.list.size)

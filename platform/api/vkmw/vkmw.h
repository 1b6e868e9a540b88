// Declarations of what the program uses of the middleware: process records, trace categories,
// faults. Every call is made on the one event thread.
#pragma once

struct zlog_category_s;

extern "C" {

/// The middleware's handle of a process; opaque.
struct vkmw_t;

/// What a process tells of itself to the middleware. The leading text is its name.
struct vkmw_process_signature_t {
  char name[32];
};

/// The signal that a timer of the process uses; the text shows in the platform's diagnostics.
struct vkmw_sig_t {
  char name[32];
};

/// Creates or looks up the log category `name`, which is copied. The category lives as long as the
/// process. Never null.
zlog_category_s* vkmw_trace_register_category(const char* name);

/// Raises a fault record: 0 is reported and processing goes on, 1 tells that the process is about
/// to end. All texts are copied before the call returns. Never fails, never throws.
void vkmw_gen_fault(int code, const char* function, const char* file, int line, const char* text);

/// Logs the current call stack, innermost call first.
void vkmw_print_backtrace(void);

}  // extern "C"

#include <zlog.h>

#ifndef ZLOG_OF_THE_SYSTEM
#error "the header is not the system's"
#endif

int main() { return zlog_level_enabled(nullptr, 12) != 0 ? 0 : 1; }

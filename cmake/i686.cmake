# 32-bit Linux with the cross compiler; its programs run natively on an x86-64 machine. Linked
# statically, so that they need no 32-bit system libraries there.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/env)
set(SNMP_APP_32BIT ON)

# 32-bit Linux with Debian's i386 libraries unpacked in build/i386/root (scripts/i386-root.sh). Its
# programs find them, and the loader, by their paths, so nothing of it is installed.
set(I386_ROOT ${CMAKE_CURRENT_LIST_DIR}/../build/i386/root)
cmake_path(ABSOLUTE_PATH I386_ROOT NORMALIZE)
set(I386_FOLDERS ${I386_ROOT}/usr/lib/i386-linux-gnu:${I386_ROOT}/lib/i386-linux-gnu)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(CMAKE_SYSROOT ${I386_ROOT})
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${I386_ROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${I386_ROOT}/usr/lib/i386-linux-gnu/pkgconfig:${I386_ROOT}/usr/share/pkgconfig)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--dynamic-linker=${I386_ROOT}/lib/ld-linux.so.2 \
-Wl,--disable-new-dtags,-rpath,${I386_FOLDERS} -Wl,-rpath-link,${I386_FOLDERS}")

# Assertions are part of the program's behaviour, so the optimised build types are ours: the stock
# ones would switch assertions off.
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Debug CACHE STRING "Debug or Release" FORCE)
endif()
# What Debian hardens its programs with: all that dpkg-buildflags(1) has for hardening=+all.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -g -fPIE -fstack-protector-strong -D_FORTIFY_SOURCE=2 -Wformat \
-Werror=format-security")
set(CMAKE_EXE_LINKER_FLAGS_RELEASE "-pie -Wl,-z,relro -Wl,-z,now")
set(CMAKE_CXX_FLAGS_DEBUG "-O0 -g")

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Log records, faults and assertions name source files as seen from the top of the tree.
add_compile_options(-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)

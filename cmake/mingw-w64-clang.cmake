# Cross build for x86-64 Windows with clang, on the headers, libstdc++ and winpthreads of Debian's
# posix-thread MinGW-w64 toolchain; tests run under Wine like the GCC build's.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_SYSROOT /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# clang does not recognise Debian's "12-posix" GCC folder name, so the C++ library is named here.
file(GLOB vx_mingw_gcc_dirs LIST_DIRECTORIES true /usr/lib/gcc/x86_64-w64-mingw32/*-posix)
list(SORT vx_mingw_gcc_dirs COMPARE NATURAL ORDER DESCENDING)
list(GET vx_mingw_gcc_dirs 0 vx_mingw_gcc)
set(vx_cxx_include "${vx_mingw_gcc}/include/c++")
# GCC's MinGW-w64 libstdc++ keeps its thread-locals (std::call_once's among them) in emulated
# TLS, so clang's code must reach them the same way.
set(CMAKE_C_FLAGS_INIT "-femulated-tls")
set(CMAKE_CXX_FLAGS_INIT
    "-femulated-tls -nostdinc++ -isystem ${vx_cxx_include} -isystem ${vx_cxx_include}/x86_64-w64-mingw32 -isystem ${vx_cxx_include}/backward")
# Links see the compile flags too; -nostdinc++ means nothing there. lld, because GNU ld warns
# about every type-info record that clang and GCC lay out in different sizes.
set(vx_link_flags "-fuse-ld=lld -L${vx_mingw_gcc} -Wno-unused-command-line-argument")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${vx_link_flags}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${vx_link_flags}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${vx_link_flags}")
# The driver puts its own libraries after the program's: libgcc_eh's thread-local emulation needs
# winpthreads after it, so both are named once more at the end.
set(CMAKE_C_STANDARD_LIBRARIES "-Wl,-Bstatic -lgcc_eh -lpthread")
set(CMAKE_CXX_STANDARD_LIBRARIES "-Wl,-Bstatic -lstdc++ -lgcc_eh -lpthread")

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tools/wine/vxwine)
set(ZLIB_USE_STATIC_LIBS ON)

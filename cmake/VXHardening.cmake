# Hardening of everything this project builds: what ships runs in other people's processes and
# sessions. docs/decisions.md lists each flag and why others were left out.
#
# Windows (MinGW-w64, GCC with GNU ld or clang with lld):
#   -fstack-protector-strong   canary in every function with an array or an address-taken local;
#                              the driver links libssp statically (the build links with -static),
#                              so no libssp-0.dll ships
#   _FORTIFY_SOURCE=2          bounds-checked string and memory calls where the size is known
#                              (MinGW-w64's headers route them to libssp, linked in as above)
#   --dynamicbase --high-entropy-va --nxcompat   ASLR with 64-bit entropy (the image base is
#                              above 4 GB by the linkers' default for x86-64) and DEP
#   --build-id                 a CodeView record, so a dump names the exact build of each module
# Both keep DWARF debug information: clang 14's CodeView refers to the emulated thread-locals by
# names that do not exist, so -gcodeview cannot link (docs/decisions.md).
# Linux: PIE, -fstack-protector-strong, stack-clash protection, CET end-branch markers,
#   _FORTIFY_SOURCE=2 (optimised builds only: glibc refuses it at -O0), full RELRO and a
#   non-executable stack.
# Sanitizer and fuzzer builds are left alone: the sanitizers replace what these flags do and
# _FORTIFY_SOURCE hides calls from their interceptors.

if(MSVC OR VX_SANITIZE OR VX_LIBFUZZER)
  return()
endif()

set(vx_optimised "$<NOT:$<CONFIG:Debug>>")
add_compile_options(-fstack-protector-strong)
add_compile_definitions($<${vx_optimised}:_FORTIFY_SOURCE=2>)
# The driver adds the stack protector's library only when it sees the flag at link time.
add_link_options(-fstack-protector-strong)

if(VX_WINDOWS)
  add_link_options(LINKER:--dynamicbase LINKER:--high-entropy-va LINKER:--nxcompat LINKER:--build-id)
else()
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES C CXX)
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
  add_compile_options(-fstack-clash-protection -fcf-protection)
  add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endif()

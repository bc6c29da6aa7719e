# The installed layout and the packages on Linux (included by VXInstall.cmake, which installs the
# headers for both platforms):
#   bin/                 vistrel (the server), vistrel-grab
#   lib/                 libvistrel_host.so.<version> with its SONAME and development links, and
#                        the static libraries of the C++ interface
#   include/vistrel/     vistrel_host.h and the headers the C++ library needs
#   lib/cmake/Vistrel/   VistrelConfig.cmake, its version file and the exported targets
#   share/doc/vistrel/   README.md, host-api.md, protocol.md
# The library finds the server beside itself or in the bin/ beside its lib/, so the layout holds
# in any prefix: /usr for the Debian package, the tarball's own folder, a cmake --install prefix.
set(vx_install_programs vistrel)
if(TARGET vistrel-grab)
  list(APPEND vx_install_programs vistrel-grab)
endif()
install(TARGETS ${vx_install_programs} RUNTIME DESTINATION bin COMPONENT sdk)
install(TARGETS vistrel_host_c ${vx_cpp_libraries} EXPORT VistrelTargets COMPONENT sdk
        LIBRARY DESTINATION lib
        ARCHIVE DESTINATION lib)
# A stripped install (--strip, and CPack's) strips the programs and the shared library; the
# static libraries lose their debug sections too, which are most of their size.
foreach(lib ${vx_cpp_libraries})
  install(CODE "if(CMAKE_INSTALL_DO_STRIP)
  execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-debug
                          \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/lib/$<TARGET_FILE_NAME:${lib}>\"
                  COMMAND_ERROR_IS_FATAL ANY)
endif()" COMPONENT sdk)
endforeach()
install(EXPORT VistrelTargets NAMESPACE Vistrel:: DESTINATION ${VX_INSTALL_CMAKEDIR} COMPONENT sdk)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VistrelConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/VistrelConfig.cmake
                              INSTALL_DESTINATION ${VX_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VistrelConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VistrelConfig.cmake ${PROJECT_BINARY_DIR}/VistrelConfigVersion.cmake
        DESTINATION ${VX_INSTALL_CMAKEDIR} COMPONENT sdk)
install(FILES ${PROJECT_SOURCE_DIR}/docs/package-readme-linux.md DESTINATION share/doc/vistrel RENAME README.md
        COMPONENT sdk)
install(FILES ${PROJECT_SOURCE_DIR}/docs/protocol.md ${PROJECT_SOURCE_DIR}/docs/host-api.md
        DESTINATION share/doc/vistrel COMPONENT sdk)

# scripts/package: cpack -G TGZ (out/vistrel-<version>-linux-x86_64.tar.gz, the layout above in a
# folder of that name) and cpack -G DEB (out/vistrel_<version>_amd64.deb, the layout under /usr).
set(CPACK_GENERATOR TGZ DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_NAME vistrel)
set(CPACK_PACKAGE_VENDOR Vistrel)
set(CPACK_PACKAGE_CONTACT "Vistrel developers <vistrel@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Windowless screen capture that leaves listed windows out")
set(CPACK_PACKAGE_DESCRIPTION "A capture server for X11 desktops and the library that drives it: a\n\
screen-sharing host asks for captures of a screen rectangle that leave out the\n\
windows it lists (its own toolbars, say). Holds the server, the C library, the\n\
headers and the CMake package.")
set(CPACK_PACKAGE_FILE_NAME vistrel-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};Vistrel;sdk;/")
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_SOURCE_DIR}/out)
# Debian's own names for the file and the fields; the run-time libraries (libc, libstdc++, zlib,
# libxcb and its extensions) come from dpkg-shlibdeps, which reads what the binaries link.
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION x11)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The C++ library is static: a program that links it links these too.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "zlib1g-dev, libxcb1-dev, libxcb-randr0-dev")
include(CPack)

# What the packages hold, built without the tests and benchmarks: scripts/package builds this
# target, then runs cpack, which installs without building anything itself.
add_custom_target(vx_install_linux)
add_dependencies(vx_install_linux ${vx_install_programs} vistrel_host_c ${vx_cpp_libraries})
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

# The installed layout and the package:
#   bin/                 Vistrel.exe, vistrel_host.dll, vistrel-grab.exe, vistrel-mdump.exe
#                        and the debug file of each (<name>.debug, named by its debug link)
#   include/vistrel/     vistrel_host.h and the headers the C++ library needs
#   lib/                 the DLL's import library and the static libraries of the C++ interface
#   lib/cmake/Vistrel/   VistrelConfig.cmake, its version file and the exported targets
# The magnifier stand-in is a test fixture and is never installed.
include(CMakePackageConfigHelpers)

set(VX_INSTALL_CMAKEDIR lib/cmake/Vistrel)
set(VX_INSTALL_INCLUDEDIR include/vistrel)
# The C++ library with the static libraries under it, in link order.
if(WIN32)
  set(vx_cpp_libraries vistrel_host vx_server_win32 vx_server vx_image vx_runtime)
else()
  set(vx_cpp_libraries vistrel_host vx_server_posix vx_server vx_image vx_runtime)
endif()

# Headers are installed side by side in one folder; the build tree's folders hold only there.
set(vx_header_dirs)
foreach(lib ${vx_cpp_libraries})
  get_target_property(dirs ${lib} INTERFACE_INCLUDE_DIRECTORIES)
  list(APPEND vx_header_dirs ${dirs})
  set(wrapped "$<INSTALL_INTERFACE:${VX_INSTALL_INCLUDEDIR}>")
  foreach(dir ${dirs})
    list(APPEND wrapped "$<BUILD_INTERFACE:${dir}>")
  endforeach()
  set_property(TARGET ${lib} PROPERTY INTERFACE_INCLUDE_DIRECTORIES "${wrapped}")
endforeach()
list(REMOVE_DUPLICATES vx_header_dirs)
foreach(dir ${vx_header_dirs})
  file(GLOB headers ${dir}/*.h)
  install(FILES ${headers} DESTINATION ${VX_INSTALL_INCLUDEDIR} COMPONENT sdk)
endforeach()

# Linux has its own layout and packages (a tarball and a Debian package).
if(NOT WIN32)
  include(${CMAKE_CURRENT_LIST_DIR}/VXInstallLinux.cmake)
  return()
endif()

# The static libraries carry the stack protector's and _FORTIFY_SOURCE's calls (cmake/VXHardening.cmake):
# a MinGW program linking them needs libssp, which the project's own links get from the driver
# (glibc has these calls itself).
if(MINGW)
  set_property(TARGET vx_runtime APPEND PROPERTY INTERFACE_LINK_LIBRARIES $<INSTALL_INTERFACE:ssp>)
endif()

install(TARGETS Vistrel vistrel-grab vistrel-mdump RUNTIME DESTINATION bin COMPONENT sdk)
install(TARGETS vistrel_host_c ${vx_cpp_libraries} EXPORT VistrelTargets COMPONENT sdk
        RUNTIME DESTINATION bin
        LIBRARY DESTINATION lib
        ARCHIVE DESTINATION lib)
include(${PROJECT_SOURCE_DIR}/cmake/VXInstallSymbols.cmake)
install(EXPORT VistrelTargets NAMESPACE Vistrel:: DESTINATION ${VX_INSTALL_CMAKEDIR} COMPONENT sdk)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VistrelConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/VistrelConfig.cmake
                              INSTALL_DESTINATION ${VX_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VistrelConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VistrelConfig.cmake ${PROJECT_BINARY_DIR}/VistrelConfigVersion.cmake
        DESTINATION ${VX_INSTALL_CMAKEDIR} COMPONENT sdk)
install(FILES ${PROJECT_SOURCE_DIR}/docs/package-readme.md DESTINATION . RENAME README.md COMPONENT sdk)
install(FILES ${PROJECT_SOURCE_DIR}/docs/protocol.md ${PROJECT_SOURCE_DIR}/docs/host-api.md
        DESTINATION doc COMPONENT sdk)

set(CPACK_GENERATOR ZIP)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_NAME vistrel)
set(CPACK_PACKAGE_VENDOR Vistrel)
set(CPACK_PACKAGE_FILE_NAME vistrel-${PROJECT_VERSION}-win64)
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};Vistrel;sdk;/")
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_SOURCE_DIR}/out)
include(CPack)

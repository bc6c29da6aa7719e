# Symbols for the shipped binaries, beside them in bin/, so that a customer's debugger can read a
# dump of them: separate debug files that the stripped binaries name through their debug link.
# (Both compilers emit DWARF here; see cmake/VXHardening.cmake for why clang makes no PDB.)
#
# The debug file is taken from the unstripped build output and the link is added to the installed
# copy after the install (and `--strip`) has written it, so a stripped install and the package
# both keep a link whose checksum matches the file beside it.

set(vx_shipped_binaries Vistrel vistrel-grab vistrel-mdump vistrel_host_c)

if(NOT CMAKE_OBJCOPY)
  message(FATAL_ERROR "objcopy is needed to ship separate debug files")
endif()
foreach(target ${vx_shipped_binaries})
  install(CODE "
    set(vx_binary \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/bin/$<TARGET_FILE_NAME:${target}>\")
    message(STATUS \"Installing: \${vx_binary}.debug\")
    execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --only-keep-debug \"$<TARGET_FILE:${target}>\"
                            \"\${vx_binary}.debug\" COMMAND_ERROR_IS_FATAL ANY)
    # A link left by an earlier install into the same folder is replaced, not doubled.
    execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --remove-section=.gnu_debuglink
                            \"--add-gnu-debuglink=\${vx_binary}.debug\" \"\${vx_binary}\"
                    COMMAND_ERROR_IS_FATAL ANY)
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${vx_binary}.debug\")
    " COMPONENT sdk)
endforeach()

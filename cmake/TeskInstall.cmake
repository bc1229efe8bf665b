# Installs the programs, the library with its public headers, and what other builds find it by.
# Components: runtime, dev, tools, plugin.
include(CMakePackageConfigHelpers)

install(TARGETS tesk RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
# A build of the program alone may lack them.
install(TARGETS tesk-measure tesk-oversampler-check tesk-decimation-check
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools OPTIONAL)
install(TARGETS teskengine EXPORT TeskEngineTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT dev)
install(TARGETS tesk_public EXPORT TeskEngineTargets)
install(FILES public/tesk_engine.h public/inproc_ctl.h public/tesk_ext_decoder.h public/tesk_host.hpp
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/teskengine/public" COMPONENT dev)
if(TARGET tesk_ext_ffmpeg)
  install(TARGETS tesk_ext_ffmpeg LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/tesk" COMPONENT plugin)
endif()

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/TeskEngine")
install(EXPORT TeskEngineTargets NAMESPACE TeskEngine:: DESTINATION "${package_dir}" COMPONENT dev)
file(WRITE "${CMAKE_BINARY_DIR}/TeskEngineConfig.cmake"
  "include(\"\${CMAKE_CURRENT_LIST_DIR}/TeskEngineTargets.cmake\")\n")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/TeskEngineConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/TeskEngineConfig.cmake" "${CMAKE_BINARY_DIR}/TeskEngineConfigVersion.cmake"
  DESTINATION "${package_dir}" COMPONENT dev)

# Relative to the .pc file, so that the tree may be installed anywhere.
file(RELATIVE_PATH TESK_PC_INCLUDE "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  "/prefix/${CMAKE_INSTALL_INCLUDEDIR}/teskengine")
set(TESK_PC_INCLUDE "\${pcfiledir}/${TESK_PC_INCLUDE}")
configure_file(cmake/teskengine.pc.in "${CMAKE_BINARY_DIR}/teskengine.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/teskengine.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)

# What the build wrote about itself for shells and for man; nothing where it wrote nothing.
foreach(folder IN ITEMS bash-completion zsh fish)
  install(DIRECTORY "${CMAKE_BINARY_DIR}/share/${folder}" DESTINATION "${CMAKE_INSTALL_DATADIR}"
    COMPONENT runtime OPTIONAL)
endforeach()
function(tesk_install_manual section component)
  install(CODE "set(from \"${CMAKE_BINARY_DIR}/share/man/man${section}\")
    set(to \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man${section}\")
    include(\"${PROJECT_SOURCE_DIR}/cmake/InstallManual.cmake\")" COMPONENT ${component})
endfunction()
tesk_install_manual(1 runtime)
tesk_install_manual(3 dev)
tesk_install_manual(5 runtime)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/libteskengine-dev"
  COMPONENT dev OPTIONAL)

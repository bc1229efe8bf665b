# Installs the programs, the library with its public headers, and what other builds find it by.
include(CMakePackageConfigHelpers)

install(TARGETS tesk tesk-measure RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
install(TARGETS teskengine EXPORT TeskEngineTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS tesk_public EXPORT TeskEngineTargets)
install(FILES public/tesk_engine.h public/inproc_ctl.h public/tesk_ext_decoder.h
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/teskengine/public" COMPONENT development)
if(TARGET tesk_ext_ffmpeg)
  install(TARGETS tesk_ext_ffmpeg LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/tesk" COMPONENT runtime)
endif()

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/TeskEngine")
install(EXPORT TeskEngineTargets NAMESPACE TeskEngine:: DESTINATION "${package_dir}" COMPONENT development)
file(WRITE "${CMAKE_BINARY_DIR}/TeskEngineConfig.cmake"
  "include(\"\${CMAKE_CURRENT_LIST_DIR}/TeskEngineTargets.cmake\")\n")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/TeskEngineConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/TeskEngineConfig.cmake" "${CMAKE_BINARY_DIR}/TeskEngineConfigVersion.cmake"
  DESTINATION "${package_dir}" COMPONENT development)

# Relative to the .pc file, so that the tree may be installed anywhere.
file(RELATIVE_PATH TESK_PC_INCLUDE "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  "/prefix/${CMAKE_INSTALL_INCLUDEDIR}/teskengine")
set(TESK_PC_INCLUDE "\${pcfiledir}/${TESK_PC_INCLUDE}")
configure_file(cmake/teskengine.pc.in "${CMAKE_BINARY_DIR}/teskengine.pc" @ONLY)
install(FILES "${CMAKE_BINARY_DIR}/teskengine.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

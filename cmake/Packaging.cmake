# Debian packages: what cpack needs to know. Only a build configured for /usr makes them, because the folder of the
# libraries and the program's way to them hang on it.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  return()
endif()
set(TESK_MAINTAINER "Tesk Engine maintainers <maintainers@tesk-engine.example>" CACHE STRING
  "Name and address in the packages' control files")
set(TESK_DEBIAN_REVISION 1 CACHE STRING "What follows the version's hyphen in the packages")

# Debian's linker searches its folder of libraries anyway. Resolving every symbol at the start takes well under a
# millisecond and leaves no writable table of addresses behind.
set_target_properties(tesk PROPERTIES INSTALL_RPATH "")
foreach(target IN ITEMS tesk teskengine tesk-measure tesk-oversampler-check tesk-decimation-check tesk_ext_ffmpeg)
  if(TARGET ${target})
    target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now)
  endif()
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # every package brings its own
set(CPACK_PACKAGE_CONTACT "${TESK_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_THREADS 2)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE "${TESK_DEBIAN_REVISION}")
set(CPACK_DEBIAN_PACKAGE_SOURCE tesk)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
# Who links the library depends on the package that holds it, at this version or a later one.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

# changelog.Debian.gz from CHANGELOG.md, whose sections are "## VERSION, YYYY-MM-DD" over a list; the newest stands
# first and must be this version's.
function(tesk_debian_changelog file)
  file(STRINGS "${PROJECT_SOURCE_DIR}/CHANGELOG.md" lines)
  set(text "")
  set(signed "")
  foreach(line IN LISTS lines)
    if(line MATCHES "^## ([0-9.]+), ([0-9-]+)$")
      set(version "${CMAKE_MATCH_1}")
      execute_process(COMMAND date -Ru -d "${CMAKE_MATCH_2}" OUTPUT_VARIABLE day OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
      if(signed STREQUAL "" AND NOT version STREQUAL PROJECT_VERSION)
        message(FATAL_ERROR "CHANGELOG.md begins with version ${version}; this is ${PROJECT_VERSION}")
      endif()
      string(APPEND text "${signed}tesk (${version}-${TESK_DEBIAN_REVISION}) bookworm; urgency=medium\n\n")
      set(signed "\n -- ${TESK_MAINTAINER}  ${day}\n\n")
    elseif(line MATCHES "^- (.*)")
      string(APPEND text "  * ${CMAKE_MATCH_1}\n")
    elseif(line MATCHES "^  (.*)")
      string(APPEND text "    ${CMAKE_MATCH_1}\n")
    endif()
  endforeach()
  string(REGEX REPLACE "\n\n$" "\n" signed "${signed}")
  file(WRITE "${file}" "${text}${signed}")
  execute_process(COMMAND gzip -9nf "${file}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()
tesk_debian_changelog("${CMAKE_BINARY_DIR}/debian/changelog.Debian")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)

# tesk_package(COMPONENT NAME SECTION SYNOPSIS TEXT): one package for one component.
function(tesk_package component name section synopsis text)
  string(TOUPPER ${component} key)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_COMPONENTS_ALL "${CPACK_COMPONENTS_ALL}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${synopsis}\n${text}" PARENT_SCOPE)
  install(FILES "${PROJECT_SOURCE_DIR}/cmake/copyright" "${CMAKE_BINARY_DIR}/debian/changelog.Debian.gz"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${name}" COMPONENT ${component})
endfunction()

set(CPACK_COMPONENTS_ALL "")
tesk_package(runtime tesk sound "Converter between PCM recordings and one-bit DSD"
"Turns FLAC, WAV, AIFF, Wave64, WavPack and TTA files into one-bit DSD: DSF,
DSDIFF (also losslessly compressed with DST) and WSD, from DSD64 up, with
tags and cover. Turns DSD files and SACD images back into WAV, Wave64 or
FLAC. This package holds the program tesk and the library that it calls.")
tesk_package(dev libteskengine-dev libdevel "Converter between PCM and one-bit DSD - development files"
"C headers, CMake package and pkg-config file for programs that call the
conversion engine, and the header for those who write decoder plugins.")
tesk_package(tools tesk-tools sound "Measuring tools for PCM and one-bit DSD streams"
"tesk-measure makes test signals and reads level, noise and spectrum of DSD
and PCM files; tesk-oversampler-check and tesk-decimation-check compute what
the filters of the conversion engine let through.")
if(TARGET tesk_ext_ffmpeg)
  tesk_package(plugin tesk-decoder-ffmpeg sound "Decoder plugin of tesk that reads through FFmpeg's libraries"
"Lets tesk read M4A with ALAC or AAC, APE, CAF, MP3, Opus, Matroska and
whatever else the installed FFmpeg libraries decode.")
endif()
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS tesk-decoder-ffmpeg)
# The linker's cache is brought up to date by a trigger, as Debian wants it. CPack would write scripts that call
# ldconfig; naming them here, without a file behind the names, leaves them out.
file(WRITE "${CMAKE_BINARY_DIR}/debian/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  "${CMAKE_BINARY_DIR}/debian/triggers;${CMAKE_BINARY_DIR}/debian/none/postinst;${CMAKE_BINARY_DIR}/debian/none/postrm")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "tesk (= ${PROJECT_VERSION}-${TESK_DEBIAN_REVISION})")
set(CPACK_DEBIAN_PLUGIN_PACKAGE_ENHANCES tesk)
include(CPack)

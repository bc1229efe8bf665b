# Language, warnings, sanitizers and the helper that declares a room.

option(TESK_TESTS "Build the tests" ON)
option(TESK_BENCH "Build the benchmarks" OFF)
option(TESK_FUZZ "Build the fuzz targets (clang only)" OFF)
option(TESK_OPENMP "Use OpenMP in the filter design" ON)
option(TESK_FLAC_ENCODER "Write FLAC files; OFF builds a writer that refuses them" ON)
set(TESK_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize= takes them; empty for none")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O3 -DNDEBUG")

find_program(TESK_CCACHE ccache)
if(TESK_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${TESK_CCACHE}")
  set(CMAKE_C_COMPILER_LAUNCHER "${TESK_CCACHE}")
endif()

# A modulator's bits hang on every rounding: products are never fused behind our back.
add_compile_options(-ffp-contract=off)
add_compile_definitions(_FILE_OFFSET_BITS=64)
set(TESK_WARNINGS -Wall -Wextra -Wpedantic -Werror -Wshadow -Wundef
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>)

if(TESK_SANITIZE)
  add_compile_options(-fsanitize=${TESK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TESK_SANITIZE})
endif()

if(TESK_OPENMP)
  find_package(OpenMP COMPONENTS CXX)
endif()

# tesk_room(NAME SOURCES ... LINKS ...): one static library per room, seen by its includes
# as "room/header.h" from the root.
function(tesk_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;LINKS" ${ARGN})
  add_library(tesk_${name} STATIC ${ROOM_SOURCES})
  target_include_directories(tesk_${name} PUBLIC "${PROJECT_SOURCE_DIR}")
  target_compile_options(tesk_${name} PRIVATE ${TESK_WARNINGS})
  target_link_libraries(tesk_${name} PUBLIC ${ROOM_LINKS})
endfunction()

# tesk_test(ROOM SOURCES ... LINKS ... [LABELS ...]): the room's GoogleTest program.
function(tesk_test room)
  cmake_parse_arguments(T "" "" "SOURCES;LINKS;LABELS" ${ARGN})
  add_executable(test_${room} ${T_SOURCES})
  target_include_directories(test_${room} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_compile_options(test_${room} PRIVATE ${TESK_WARNINGS})
  target_link_libraries(test_${room} PRIVATE ${T_LINKS} GTest::gtest_main)
  add_test(NAME ${room} COMMAND test_${room})
  set_tests_properties(${room} PROPERTIES LABELS "${T_LABELS}" TIMEOUT 600
    ENVIRONMENT "TEMP=${CMAKE_BINARY_DIR}/Testing/tmp")
endfunction()
file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/Testing/tmp")

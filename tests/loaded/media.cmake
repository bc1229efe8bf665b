# media_stub.c as a media library in one file, as one that the loader has to refuse for each reason, and as a family of
# libraries that need each other. A symbol is left out by giving the function another name.
target_sources(test_loaded PRIVATE media_library_test.cpp)
set(media_folder "${CMAKE_CURRENT_BINARY_DIR}/media")
target_compile_definitions(test_loaded PRIVATE "TEST_MEDIA=\"${media_folder}/\"")

function(media_stub name)
  add_library(media_stub_${name} MODULE fakes/media_stub.c)
  target_compile_options(media_stub_${name} PRIVATE -Wall -Wextra -Werror)
  target_compile_definitions(media_stub_${name} PRIVATE ${ARGN})
  target_link_libraries(media_stub_${name} PRIVATE m)
  set_target_properties(media_stub_${name} PROPERTIES PREFIX "" OUTPUT_NAME ${name}
    LIBRARY_OUTPUT_DIRECTORY "${media_folder}")
  add_dependencies(test_loaded media_stub_${name})
endfunction()
media_stub(whole)
media_stub(other)
media_stub(versionless STUB_VERSION=0)
media_stub(version_58 STUB_VERSION=58)
media_stub(version_56 STUB_VERSION=56)
set(media_symbols
  avformat_open_input avformat_find_stream_info avcodec_find_decoder avcodec_open2 avcodec_decode_audio4
  av_read_frame av_seek_frame av_init_packet av_packet_unref av_frame_unref avformat_close_input avcodec_close
  av_get_bytes_per_sample av_sample_fmt_is_planar av_strerror av_find_input_format av_register_all
  avcodec_flush_buffers av_log_set_level)
foreach(symbol IN LISTS media_symbols)
  media_stub(without_${symbol} ${symbol}=left_out)
endforeach()
list(JOIN media_symbols " " media_symbols)
target_compile_definitions(test_loaded PRIVATE "TEST_MEDIA_SYMBOLS=\"${media_symbols}\"")

# No run path: the siblings are found only by whoever loads them first.
function(media_sibling name part)
  add_library(media_${part} SHARED fakes/media_stub.c)
  target_compile_definitions(media_${part} PRIVATE STUB_${part})
  target_link_options(media_${part} PRIVATE -Wl,--no-as-needed)
  target_link_libraries(media_${part} PRIVATE ${ARGN} m)
  set_target_properties(media_${part} PROPERTIES PREFIX "" SUFFIX "" OUTPUT_NAME ${name}
    BUILD_WITH_INSTALL_RPATH ON LIBRARY_OUTPUT_DIRECTORY "${media_folder}/family")
  add_dependencies(test_loaded media_${part})
endfunction()
media_sibling(libavutil.so.55 UTIL)
media_sibling(libavcodec.so.57 CODEC media_UTIL)
media_sibling(libavformat.so.57 FORMAT media_CODEC media_UTIL)

# The page is assembled from web/page/ and, with the other asset files, compiled into the
# executable's read-only data by the assembler (.incbin).
set(TVN_PAGE_BYTES 55773)

add_executable(inline_page tools/inline_page.cpp tools/sha256.cpp picture/base64.cpp)
target_link_libraries(inline_page PRIVATE tvn_options)

set(TVN_PAGE ${CMAKE_BINARY_DIR}/assets/index.html)
file(GLOB page_sources CONFIGURE_DEPENDS web/page/*)
add_custom_command(
  OUTPUT ${TVN_PAGE}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/assets
  COMMAND inline_page ${CMAKE_SOURCE_DIR}/web/page ${TVN_PAGE} ${TVN_PAGE_BYTES}
  DEPENDS inline_page ${page_sources}
  COMMENT "Assembling the page"
  VERBATIM)

# symbol name -> file; the table of keys is in assets/assets.cpp.
set(TVN_ASSETS_DIR ${CMAKE_SOURCE_DIR}/assets)
set(embed_source ${CMAKE_BINARY_DIR}/assets/embedded_files.S)
configure_file(assets/embedded_files_${TVN_PLATFORM}.S.in ${embed_source} @ONLY)
set_source_files_properties(${embed_source} PROPERTIES OBJECT_DEPENDS
  "${TVN_PAGE};${TVN_ASSETS_DIR}/ball.png;${TVN_ASSETS_DIR}/piano.wav;${TVN_ASSETS_DIR}/report_logo.jpg;${TVN_ASSETS_DIR}/Sample 1.txt;${TVN_ASSETS_DIR}/Sample 2.txt")

add_library(tvn_assets STATIC assets/assets.cpp ${embed_source})
target_link_libraries(tvn_assets PUBLIC tvn_options)

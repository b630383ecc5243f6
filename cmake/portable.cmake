# The programs once more, for other Linuxes than the one they are built on: with zlib and the C++
# library linked in, which differ between distributions more than the system's own libraries do.
# Only the linking is another one; the objects are the same.
add_library(tvn_zlib INTERFACE)
if(APPLE)
  target_link_libraries(tvn_zlib INTERFACE ZLIB::ZLIB)
  return()
endif()

# Each executable says for itself which zlib the rooms below it get.
find_library(TVN_ZLIB_ARCHIVE libz.a)
target_link_libraries(tvn_zlib INTERFACE
  $<IF:$<BOOL:$<TARGET_PROPERTY:TVN_PORTABLE>>,${TVN_ZLIB_ARCHIVE},ZLIB::ZLIB>)

function(tvn_portable program)
  get_target_property(sources ${program} SOURCES)
  get_target_property(libraries ${program} LINK_LIBRARIES)
  add_executable(${program}-portable EXCLUDE_FROM_ALL ${sources})
  set_target_properties(${program}-portable PROPERTIES TVN_PORTABLE ON)
  target_link_libraries(${program}-portable PRIVATE ${libraries})
  target_link_options(${program}-portable PRIVATE
    -static-libstdc++ -static-libgcc -Wl,--as-needed)
endfunction()

# cmake -DSOURCE=<repository> -P rooms_test.cmake
#
# Includes run one way: a file may include its own room and those that cmake/rooms.cmake opens to
# it. Since a room can only name rooms that stand above it in that table, no two can include each
# other.

cmake_minimum_required(VERSION 3.20)

set(rooms "")

# The table's line for a room: opens_<room> is every room that its files may include.
function(tvn_room room)
  set(opens ${room})
  foreach(included IN LISTS ARGN)
    if(NOT included IN_LIST rooms)
      message(SEND_ERROR "${room} includes ${included}, which does not stand above it")
    endif()
    list(APPEND opens ${opens_${included}})
  endforeach()
  list(REMOVE_DUPLICATES opens)
  set(opens_${room} ${opens} PARENT_SCOPE)
  set(rooms ${rooms} ${room} PARENT_SCOPE)
endfunction()

include(${SOURCE}/cmake/rooms.cmake)

function(check_file file room)
  file(STRINGS ${SOURCE}/${file} includes REGEX "^ *# *(include|import) *[\"<][^>\"]*/")
  foreach(line IN LISTS includes)
    string(REGEX REPLACE "^[^\"<]*[\"<]([^\">]*)[\">].*" "\\1" included "${line}")
    cmake_path(GET included PARENT_PATH included_room)
    if(line MATCHES "<" AND NOT included_room IN_LIST rooms)
      continue()  # the system's
    endif()
    if(NOT included_room IN_LIST opens_${room})
      message(SEND_ERROR "${file} may not include ${included}")
    endif()
    if(NOT EXISTS ${SOURCE}/${included})
      message(SEND_ERROR "${file}: ${included} is not written from the root")
    endif()
  endforeach()
endfunction()

set(files_seen 0)
file(GLOB_RECURSE files RELATIVE ${SOURCE} ${SOURCE}/*.h ${SOURCE}/*.cpp ${SOURCE}/*.mm)
list(FILTER files EXCLUDE REGEX "^(build|tests|benchmarks|tools|\\.[^/]*)/|/node_modules/")
foreach(file IN LISTS files)
  math(EXPR files_seen "${files_seen} + 1")
  cmake_path(GET file PARENT_PATH room)
  if(NOT room IN_LIST rooms)
    message(SEND_ERROR "${file} stands in no room of cmake/rooms.cmake")
  else()
    check_file(${file} ${room})
  endif()
endforeach()

if(files_seen LESS 100)
  message(SEND_ERROR "Only ${files_seen} source files found below ${SOURCE}")
endif()

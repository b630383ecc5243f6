# cmake -DSOURCE=<repository> -P layers_test.cmake
#
# Includes run one way: host -> web -> batch -> export -> session -> analysis -> base. The sensor
# link stands alone; the recording readers in web/ are leaf code that needs base/ only.

cmake_minimum_required(VERSION 3.20)

set(allowed_base base)
set(allowed_assets assets)
set(allowed_sensor sensor base)
set(allowed_analysis analysis base)
set(allowed_session session analysis sensor base web/recording_readers.h)
set(allowed_export export session analysis sensor base)
set(allowed_batch batch export session analysis sensor base web/recording_readers.h)
set(allowed_web web batch export session analysis sensor base assets)
set(allowed_host host web batch export session analysis sensor base assets)

set(files_seen 0)

function(check_file layer file allowed)
  file(STRINGS ${SOURCE}/${file} includes REGEX "^#include \"")
  foreach(line IN LISTS includes)
    string(REGEX REPLACE "^#include \"([^\"]*)\".*" "\\1" included "${line}")
    string(REGEX REPLACE "/.*" "" folder "${included}")
    if(NOT folder IN_LIST allowed AND NOT included IN_LIST allowed)
      message(SEND_ERROR "${file} may not include ${included}")
    endif()
    if(NOT EXISTS ${SOURCE}/${included})
      message(SEND_ERROR "${file}: ${included} is not written from the root")
    endif()
  endforeach()
endfunction()

foreach(layer base assets sensor analysis session export batch web host)
  file(GLOB_RECURSE files RELATIVE ${SOURCE} ${SOURCE}/${layer}/*.h ${SOURCE}/${layer}/*.cpp
       ${SOURCE}/${layer}/*.mm)
  foreach(file IN LISTS files)
    math(EXPR files_seen "${files_seen} + 1")
    if(file MATCHES "^web/recording_readers\\.")
      check_file(${layer} ${file} "base;web/recording_readers.h")
    else()
      check_file(${layer} ${file} "${allowed_${layer}}")
    endif()
  endforeach()
endforeach()

if(files_seen LESS 40)
  message(SEND_ERROR "Only ${files_seen} source files found below ${SOURCE}")
endif()

# Flags that every target shares. No fast-math and no contraction into fused multiply-adds: the
# same recording must give the same numbers from every compiler, at every optimisation level.
add_library(tvn_options INTERFACE)
target_compile_options(tvn_options INTERFACE
  $<$<COMPILE_LANGUAGE:CXX,OBJCXX>:-Wall;-Wextra;-Wpedantic;-Wconversion;-Wshadow>
  $<$<COMPILE_LANGUAGE:CXX,OBJCXX>:-ffp-contract=off>)

# A release does not tell by its bytes in which folder it was built (tests/packages).
target_compile_options(tvn_options INTERFACE
  $<$<AND:$<CONFIG:Release>,$<COMPILE_LANGUAGE:CXX,OBJCXX>>:-ffile-prefix-map=${CMAKE_BINARY_DIR}=build>
  $<$<AND:$<CONFIG:Release>,$<COMPILE_LANGUAGE:CXX,OBJCXX>>:-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.>)

if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(tvn_options INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety;-Werror=thread-safety>)
endif()

# Line numbers are all of the debug information that a sanitizer's report shows.
if(TVN_SANITIZE)
  target_compile_options(tvn_options INTERFACE
    -fsanitize=${TVN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  target_link_options(tvn_options INTERFACE -fsanitize=${TVN_SANITIZE})
endif()

if(TVN_COVERAGE)
  target_compile_options(tvn_options INTERFACE --coverage -O0 -g)
  target_link_options(tvn_options INTERFACE --coverage)
endif()

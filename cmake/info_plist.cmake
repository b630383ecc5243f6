# On a Mac the system ends a process that uses Bluetooth without saying why in its Info.plist. The
# program without a bundle carries it in a section of its own; `cmake -DTVN_BUNDLE=ON` makes a
# bundle, which carries it as a file.
option(TVN_BUNDLE "On a Mac: build talvern-live.app" OFF)
set(TVN_INFO_PLIST ${CMAKE_SOURCE_DIR}/host/Info.plist)

if(TVN_BUNDLE)
  set_target_properties(talvern-live PROPERTIES MACOSX_BUNDLE ON
    MACOSX_BUNDLE_INFO_PLIST ${TVN_INFO_PLIST})
else()
  target_link_options(talvern-live PRIVATE
    "LINKER:-sectcreate,__TEXT,__info_plist,${TVN_INFO_PLIST}")
endif()
set_target_properties(talvern-live PROPERTIES LINK_DEPENDS ${TVN_INFO_PLIST})

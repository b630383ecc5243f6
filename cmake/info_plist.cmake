# On a Mac the system ends a process that uses Bluetooth without saying why in its Info.plist. The
# program has no bundle around it and carries it in a section of its own.
set(TVN_INFO_PLIST ${CMAKE_SOURCE_DIR}/host/Info.plist)
target_link_options(talvern-live PRIVATE
  "LINKER:-sectcreate,__TEXT,__info_plist,${TVN_INFO_PLIST}")
set_target_properties(talvern-live PROPERTIES LINK_DEPENDS ${TVN_INFO_PLIST})

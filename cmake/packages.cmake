# What ./package puts into the packages. `cmake --install` lays out a tree of bin, lib and share:
#   tree       what all packages have
#   system     the programs as they are built here: the .deb, and what `cmake --install` gives
#   portable   the programs for other Linuxes (cmake/portable.cmake): the .tar.gz
#   debian     what Debian asks for beside
include(GNUInstallDirs)
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# talvern-live in bin is the launcher. The program has a folder of its own, where no page lies: one
# beside it would be taken for the page.
set(program_folder lib/talvern-live)
set(launcher ${CMAKE_BINARY_DIR}/packages/talvern-live)
configure_file(packaging/talvern-live.in ${launcher} @ONLY)
install(PROGRAMS ${launcher} DESTINATION bin COMPONENT tree)
install(TARGETS talvern-live DESTINATION ${program_folder} COMPONENT system)
install(TARGETS talvern-batch DESTINATION bin COMPONENT system)

# Made by ./package, as they are compressed or carry the date.
set(made ${CMAKE_BINARY_DIR}/packages)
set(documents share/doc/talvern-live)
install(FILES ${made}/talvern-live.1.gz ${made}/talvern-batch.1.gz
  DESTINATION share/man/man1 COMPONENT tree EXCLUDE_FROM_ALL)
install(FILES packaging/copyright SECURITY.md ARCHITECTURE.md CHANGELOG.md
  DESTINATION ${documents} COMPONENT tree)
install(FILES doc/method.md doc/troubleshooting.md doc/many-machines.md doc/http_api.md
  DESTINATION ${documents}/doc COMPONENT tree)
install(DIRECTORY doc/formats DESTINATION ${documents}/doc COMPONENT tree)

if(APPLE)
  install(PROGRAMS "packaging/Talvern Live.command" DESTINATION . COMPONENT tree)
  install(FILES packaging/README-macos.txt DESTINATION . RENAME README.txt COMPONENT tree)
  return()
endif()

tvn_portable(talvern-live)
tvn_portable(talvern-batch)
foreach(program talvern-live talvern-batch)
  set(folder bin)
  if(program STREQUAL "talvern-live")
    set(folder ${program_folder})
  endif()
  install(PROGRAMS $<TARGET_FILE:${program}-portable> DESTINATION ${folder} RENAME ${program}
    COMPONENT portable EXCLUDE_FROM_ALL)
endforeach()
install(FILES packaging/README-linux.txt DESTINATION . RENAME README.txt COMPONENT portable
  EXCLUDE_FROM_ALL)

install(FILES packaging/talvern-live.desktop DESTINATION share/applications COMPONENT tree)
install(FILES ${made}/org.talvern.live.metainfo.xml DESTINATION share/metainfo COMPONENT tree
  EXCLUDE_FROM_ALL)
foreach(size 48x48 64x64 128x128 256x256)
  install(FILES packaging/icons/${size}.png DESTINATION share/icons/hicolor/${size}/apps
    RENAME talvern-live.png COMPONENT tree)
endforeach()
install(FILES packaging/icons/scalable.svg DESTINATION share/icons/hicolor/scalable/apps
  RENAME talvern-live.svg COMPONENT tree)
install(FILES ${made}/changelog.gz DESTINATION ${documents} COMPONENT debian EXCLUDE_FROM_ALL)

# The .deb, made by `cpack -G DEB`.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME talvern-live)
set(CPACK_PACKAGE_CONTACT "Talvern Live maintainers <maintainers@talvern-live.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "heart-rate biofeedback during paced breathing")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"A page in the browser shows, ten times a second, how closely your heart
follows a paced breath, as a value from -1 (decoupled) to +1 (coupled).
.
It records live from a Polar H10 chest strap through BlueZ or replays
recordings, and turns each into a report with texts and an EDF+ file.
talvern-batch makes such reports of thousands of recordings. Everything
stays on the computer. It is not a medical device.")
set(CPACK_COMPONENTS_ALL tree system debian)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "bluez, xdg-utils, zenity | kdialog")
include(CPack)

# The sensor link: what both platforms share, and the platform's own folder. On Linux it talks to
# BlueZ over the system bus with systemd's sd-bus, on a Mac to CoreBluetooth.
file(GLOB sensor_sources CONFIGURE_DEPENDS sensor/*.cpp)
if(APPLE)
  file(GLOB platform_sources CONFIGURE_DEPENDS sensor/macos/*.mm)
  # A delegate is told more than it needs.
  set_source_files_properties(${platform_sources} PROPERTIES
    COMPILE_OPTIONS "-fobjc-arc;-Wno-unused-parameter")
else()
  file(GLOB platform_sources CONFIGURE_DEPENDS sensor/linux/*.cpp)
endif()
add_library(tvn_sensor STATIC ${sensor_sources} ${platform_sources})
target_link_libraries(tvn_sensor PUBLIC tvn_base)

if(APPLE)
  target_link_libraries(tvn_sensor PUBLIC "-framework CoreBluetooth" "-framework Foundation")
elseif(NOT CMAKE_CROSSCOMPILING)  # of another processor there is no libsystemd at hand
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(LIBSYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
  target_link_libraries(tvn_sensor PRIVATE PkgConfig::LIBSYSTEMD)
endif()

# The sensor link: what both platforms share, and the platform's own folder. On Linux it talks to
# BlueZ over the system bus with systemd's sd-bus.
file(GLOB sensor_sources CONFIGURE_DEPENDS sensor/*.cpp sensor/${TVN_PLATFORM}/*)
add_library(tvn_sensor STATIC ${sensor_sources})
target_link_libraries(tvn_sensor PUBLIC tvn_base)
if(NOT APPLE)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(LIBSYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
  target_link_libraries(tvn_sensor PRIVATE PkgConfig::LIBSYSTEMD)
endif()

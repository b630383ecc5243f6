# host -> web -> batch -> export -> session -> analysis -> base. Beside the line stand the sensor
# link, which knows nothing of the program, and the recording readers: files of web/ that need
# only base/, so that sessions and batches can read recordings without knowing the web.
include(cmake/sensor.cmake)

add_library(tvn_recording_readers STATIC web/recording_readers.cpp)
target_link_libraries(tvn_recording_readers PUBLIC tvn_base)

tvn_layer(session tvn_analysis tvn_sensor tvn_recording_readers)
tvn_layer(export tvn_session ZLIB::ZLIB)
tvn_layer(batch tvn_export tvn_recording_readers)
tvn_layer(web tvn_batch tvn_assets)
tvn_layer(host tvn_web)

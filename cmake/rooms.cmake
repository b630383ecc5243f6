# The rooms of the program, from the ground up: each folder of sources, and the rooms that it may
# include. Those open the way to what they include themselves. The build makes one library per room
# from this table (assets and the sensor's three rooms are one each, in files of their own), and a
# test holds every #include against it (tests/tools/rooms_test.cmake).

tvn_room(base)
tvn_room(assets)
tvn_room(picture base)
tvn_room(recording base)

tvn_room(analysis base)
tvn_room(analysis/beats analysis)
tvn_room(analysis/rhythm analysis/beats)
tvn_room(analysis/tfr analysis/rhythm picture)

tvn_room(sensor base)
tvn_room(sensor/linux sensor)
tvn_room(sensor/macos sensor)

tvn_room(session analysis/tfr recording sensor)

tvn_room(export/pdf picture)
tvn_room(export/report export/pdf analysis/tfr)
tvn_room(export export/report session)
tvn_room(batch export)

tvn_room(host/setup assets export/report)
tvn_room(batch/command host/setup batch)

tvn_room(web/http assets base)
tvn_room(web/handlers web/http batch)
tvn_room(host host/setup web/handlers sensor/linux sensor/macos)

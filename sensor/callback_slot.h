// Where the current live run's callbacks are kept: one slot for the process, so that the decoder
// on the Bluetooth thread reaches whatever run there is. The slot's mutex is held during a call;
// once remove_callbacks() has returned, none runs. Lock order: this mutex, then the session's.
#pragma once

#include <string>
#include <vector>

#include "sensor/sensor_driver.h"

namespace tvn {

// Puts the callbacks of a run into the slot, in place of any others.
void install_callbacks(SamplesCallback samples, StatusCallback status);

// Empties the slot, after waiting for a callback that is running. Not to be called by a callback.
void remove_callbacks();

// Hands samples (microvolts) to the run; dropped when there are none or no run. An exception of
// the callback goes no further: the Bluetooth thread has nobody to give it to.
void hand_on_samples(const std::vector<double>& samples);

// Shows the run a status text (UTF-8); dropped when there is no run. Exceptions as above.
void report_status(const std::string& text);

}  // namespace tvn

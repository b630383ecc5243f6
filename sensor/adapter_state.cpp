#include "sensor/adapter_state.h"

#include "sensor/callback_slot.h"
#include "sensor/link_texts.h"
#include "sensor/sensor_log.h"

namespace tvn {

void announce_adapter_state(AdapterState state) {
  sensor_log(adapter_state_line(static_cast<long>(state), state == AdapterState::powered_on));
  report_adapter_state(state);
}

void report_adapter_state(AdapterState state) {
  if (state == AdapterState::unauthorized) report_status(k_status_denied);
  if (state == AdapterState::powered_off) report_status(k_status_turned_off);
}

}  // namespace tvn

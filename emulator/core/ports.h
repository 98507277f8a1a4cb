// Ports and their parameters. Each operation returns 0 or the status with which the switch refuses.
#pragma once

#include "platform/brgfdb.h"

namespace emulator {

bool port_exists(int64_t port);

int32_t create_port(int32_t port, int32_t ether, int32_t type);
int32_t delete_port(int32_t port);
int32_t check_stream_in_port(int32_t port);
int32_t enable_port(int32_t port);
int32_t disable_port(int32_t port);
int32_t set_param_to_port(int32_t port, const PortParameters& parameters, uint32_t aging, uint32_t loop_breaker,
                          uint32_t fields, uint32_t flag_bit);
int32_t set_default_class(int32_t port, int32_t stream, int32_t traffic_class, int32_t color);
int32_t set_port_cosmap(int32_t port, uint32_t entry_mask, const uint32_t* entries);
int32_t set_port_class_policing(int32_t port, int32_t traffic_class, int32_t rate, int32_t burst, int32_t color);
int32_t set_port_bandwidth_calc_mode(int32_t port, int32_t mode);
int32_t set_port_link_frames(int32_t port, int32_t kind, int32_t action);
int32_t set_link_mode(int32_t port, int32_t mode);
int32_t set_link_depend(int32_t port, int32_t type, uint32_t port_mask);
int32_t set_ph_shaping(int32_t ether, int32_t rate, int32_t burst);
int32_t stream_shaping_rate_update(int32_t port);

} // namespace emulator

// Streams. Each operation returns 0 or the status with which the switch refuses.
#pragma once

#include "platform/brgfdb.h"

namespace emulator {

bool stream_exists(int64_t stream_index);

int32_t create_stream(int32_t stream_index);
int32_t delete_stream(int32_t stream_index);
int32_t add_stream_to_port(int32_t stream_index, int32_t port, int32_t stream);
int32_t rem_stream_from_port(int32_t stream_index, int32_t port, int32_t stream);
int32_t check_queue_in_stream(int32_t port, int32_t stream);
int32_t set_qostype_in_stream(int32_t stream_index, int32_t type, int32_t first_parameter, int32_t second_parameter);
int32_t get_stream_info(int32_t stream_index, StreamInfo& info);
int32_t set_shaping_in_stream(int32_t stream_index, int32_t min_rate, int32_t min_burst, int32_t max_rate,
                              int32_t max_burst);
int32_t set_stream_priority(int32_t stream_index, int32_t priority);
int32_t set_stream_tosmap(int32_t stream_index, uint32_t present, const uint32_t* values, const uint32_t* masks);
int32_t set_red_in_stream(int32_t stream_index, int32_t traffic_class, int32_t color, int32_t min_threshold,
                          int32_t min_drop, int32_t max_threshold, int32_t max_drop);

} // namespace emulator

// Queues. Each operation returns 0 or the status with which the switch refuses.
#pragma once

#include <cstdint>

namespace emulator {

int32_t create_queue(int32_t queue_index, int32_t blocks, int32_t length);
int32_t delete_queue(int32_t queue_index);
int32_t add_queue_to_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class, int32_t stream_type,
                            int32_t priority, int32_t weighted);
int32_t rem_queue_from_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class);
int32_t set_queue_qos(int32_t queue_index, int32_t stream_index, int32_t priority, int32_t ratio);
int32_t set_queue_size(int32_t queue_index, int32_t stream_index, int32_t traffic_class, int32_t blocks,
                       int32_t length);

} // namespace emulator

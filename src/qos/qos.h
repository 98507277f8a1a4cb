// The sentences about streams, class queues and their drop policies.
#pragma once

#include <cstdint>

void create_stream(int32_t count, char** words);
void delete_stream(int32_t count, char** words);
void set_stream_shaping(int32_t count, char** words);
void set_stream_priority(int32_t count, char** words);
void set_stream_tosmap(int32_t count, char** words);

void create_queue(int32_t count, char** words);
void delete_queue(int32_t count, char** words);
void set_queue_pri(int32_t count, char** words);
void set_queue_length(int32_t count, char** words);
void set_queue_color(int32_t count, char** words);
void set_color(int32_t count, char** words);

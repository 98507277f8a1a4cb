// The sentences about ports and physical interfaces.
#pragma once

#include <cstdint>

void create_port(int32_t count, char** words);
void delete_port(int32_t count, char** words);
void enable_port(int32_t count, char** words);
void disable_port(int32_t count, char** words);

void set_port_parameter(int32_t count, char** words);

void set_port_default_class(int32_t count, char** words);
void set_port_cosmap(int32_t count, char** words);
void set_port_class_policing(int32_t count, char** words);
void set_port_bandwidth(int32_t count, char** words);

void set_port_link_frame(int32_t count, char** words);
void set_port_link_mode(int32_t count, char** words);
void set_port_link_depend(int32_t count, char** words);

void set_ether_shaping(int32_t count, char** words);
void set_ether_share(int32_t count, char** words);

// The sentences about VLANs, their members and protocol groups.
#pragma once

#include <cstdint>

void create_vlan(int32_t count, char** words);
void delete_vlan(int32_t count, char** words);

void add_port(int32_t count, char** words);
void remove_port(int32_t count, char** words);

void set_vlan_simple_loop_detection(int32_t count, char** words);
void set_vlan_learninglimit(int32_t count, char** words);
void set_vlan_ignorefdb(int32_t count, char** words);
void set_vlan_learning(int32_t count, char** words);

void create_protgroup(int32_t count, char** words);
void delete_protgroup(int32_t count, char** words);
void add_protocol(int32_t count, char** words);
void remove_protocol(int32_t count, char** words);

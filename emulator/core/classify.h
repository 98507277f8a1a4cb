// Classification lists, their bindings and rules. Each operation returns 0 or the status with which the switch refuses.
#pragma once

#include "platform/brgfdb.h"

namespace emulator {

int32_t create_classify_profile(int32_t list);
int32_t delete_classify_profile(int32_t list);
int32_t add_classify_profile_to_pv(int32_t list, int32_t port, uint32_t vid, const ExtractionPoint* points);
int32_t rem_classify_profile_from_pv(int32_t port, uint32_t vid);
int32_t add_classify_action_to_profile(int32_t list, int32_t line, const ClassifyRule& rule);
int32_t rem_classify_action_from_profile(int32_t list, int32_t line);
int32_t rem_classify_all_from_profile(int32_t list);

} // namespace emulator

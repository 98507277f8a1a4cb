// What the robustness tests begin with: one sentence of each command that is accepted, from the transcripts.
#pragma once

#include "contract/result.h"
#include "contract/session.h"
#include "contract/transcript.h"

#include <string>
#include <vector>

std::string usage_text();

// The longest accepted one of each verb, object and keyword.
const std::vector<Case>& accepted_sentences();

// What holds for any words whatsoever: one outcome, exit status 0, nothing on standard error, no message that is too
// long.
void expect_sound(const Outcome& outcome, const std::vector<std::string>& words);

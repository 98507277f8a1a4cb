// Writing JSON. Names are bytes: the library's own writer would refuse those that are no UTF-8, or write different ones
// alike. docs/json.md tells the convention that all of it follows.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace dataplane {
struct Count;
}

// Texts in it are bytes as they were typed. Whoever makes such values includes <nlohmann/json.hpp>, which takes long.
using Json = nlohmann::ordered_json;

Json or_null(std::optional<int64_t> number);
Json or_null(const std::optional<std::string>& text);
Json count_json(const dataplane::Count& count); // its frames and bytes

// On lines of their own, two blanks a level, without a line feed at the end.
void append_json(std::string& out, const Json& value, size_t indent);

void append_json_text(std::string& out, const std::string& bytes);

// A time of the store, which is UTC: 2026-11-21T22:30:50.059Z.
std::string json_time(std::string at);

// With the line feed at the end: as one line, for what streams, and as indented lines.
std::string json_line(const Json& value);
std::string json_lines(const Json& value);

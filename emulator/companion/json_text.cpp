// Writing JSON.
#include "companion/json_text.h"

#include "companion/names.h"
#include "dataplane/egress.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>

namespace {

void append_number(std::string& out, int64_t number) {
    char digits[24];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

// What stands between the values of an object or array: a line feed and blanks, or nothing.
class Layout {
public:
    Layout(std::string& target, bool is_in_lines) : out_(target), in_lines_(is_in_lines) {}

    void add(const Json& value, size_t indent) {
        switch (value.type()) {
        case Json::value_t::object: return add_object(value.get_ref<const Json::object_t&>(), indent);
        case Json::value_t::array: return add_array(value.get_ref<const Json::array_t&>(), indent);
        case Json::value_t::string: return append_json_text(out_, value.get_ref<const std::string&>());
        case Json::value_t::number_integer: return append_number(out_, value.get<int64_t>());
        default: out_ += value.dump();
        }
    }

private:
    void add_object(const Json::object_t& object, size_t indent) {
        out_ += '{';
        for (const auto& [key, value] : object) {
            begin_item(indent + 2);
            append_json_text(out_, key);
            out_ += in_lines_ ? ": " : ":";
            add(value, indent + 2);
        }
        end('}', object.empty(), indent);
    }
    void add_array(const Json::array_t& array, size_t indent) {
        out_ += '[';
        for (const Json& value : array) {
            begin_item(indent + 2);
            add(value, indent + 2);
        }
        end(']', array.empty(), indent);
    }
    void begin_item(size_t indent) {
        if (out_.back() != '{' && out_.back() != '[') out_ += ',';
        if (in_lines_) out_.append(1, '\n').append(indent, ' ');
    }
    void end(char bracket, bool is_empty, size_t indent) {
        if (in_lines_ && !is_empty) out_.append(1, '\n').append(indent, ' ');
        out_ += bracket;
    }

    std::string& out_;
    bool in_lines_;
};

} // namespace

Json or_null(std::optional<int64_t> number) {
    return number ? Json(*number) : Json(nullptr);
}

Json or_null(const std::optional<std::string>& text) {
    return text ? Json(*text) : Json(nullptr);
}

Json count_json(const dataplane::Count& count) {
    return {{"frames", count.frames}, {"bytes", count.bytes}};
}

void append_json_text(std::string& out, const std::string& bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    out += '"';
    for (const char c : as_utf8(bytes)) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            out += {'\\', c};
        else if (byte < 0x20)
            out += {'\\', 'u', '0', '0', digits[byte >> 4U], digits[byte & 15U]};
        else
            out += c;
    }
    out += '"';
}

void append_json(std::string& out, const Json& value, size_t indent) {
    Layout(out, true).add(value, indent);
}

std::string json_time(std::string at) {
    std::replace(at.begin(), at.end(), ' ', 'T');
    return at + "Z";
}

std::string json_line(const Json& value) {
    std::string line;
    Layout(line, false).add(value, 0);
    return line + "\n";
}

std::string json_lines(const Json& value) {
    std::string lines;
    append_json(lines, value, 0);
    return lines + "\n";
}

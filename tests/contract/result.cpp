// Taking documents apart.
#include "contract/result.h"

#include "contract/transcript.h"

#include <charconv>
#include <string_view>

namespace {

Result read_refusal(std::string_view document) {
    constexpr std::string_view opening = "<response>\n  <result>NG</result>\n  <error>\n    <errcode>";
    constexpr std::string_view middle = "</errcode>\n    <errmsg>";
    constexpr std::string_view closing = "</errmsg>\n  </error>\n</response>\n";
    if (!document.starts_with(opening) || !document.ends_with(closing)) return {};
    document.remove_prefix(opening.size());
    document.remove_suffix(closing.size());

    Result result;
    const auto number = std::from_chars(document.data(), document.data() + document.size(), result.code);
    if (number.ec != std::errc()) return {};
    document.remove_prefix(static_cast<size_t>(number.ptr - document.data()));
    if (!document.starts_with(middle)) return {};
    result.kind = ResultKind::refusal;
    result.message = document.substr(middle.size());
    return result;
}

} // namespace

Result read_result(const std::string& output, const std::string& usage) {
    if (output.empty()) return {ResultKind::nothing, 0, ""};
    if (output == ok_document()) return {ResultKind::ok, 0, ""};
    if (output == usage) return {ResultKind::usage, 0, ""};
    if (output == "no more argument\n") return {ResultKind::surplus, 0, ""};
    return read_refusal(output);
}

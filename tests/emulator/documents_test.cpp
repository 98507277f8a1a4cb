// The table of functions in the documents.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

std::vector<std::string> find_names(const std::string& file, const std::regex& form) {
    std::vector<std::string> names;
    std::ifstream lines(std::string(SOURCE) + "/" + file);
    for (std::string line; std::getline(lines, line);)
        if (std::smatch match; std::regex_search(line, match, form)) names.push_back(match[1]);
    return names;
}

TEST(Documents, name_every_function_once) {
    std::set<std::string> declared;
    for (const char* header : {"brgfdb", "portshm", "qual", "trapevent"})
        for (const std::string& name :
             find_names("src/platform/" + std::string(header) + ".h", std::regex(R"(^int32_t (\w+)\()")))
            declared.insert(name);
    const std::vector<std::string> told = find_names("docs/emulator-functions.md", std::regex(R"(^\| `(\w+)` \|)"));
    EXPECT_EQ(declared.size(), 80U);
    EXPECT_EQ(std::set<std::string>(told.begin(), told.end()), declared);
    EXPECT_EQ(told.size(), declared.size());
}

} // namespace

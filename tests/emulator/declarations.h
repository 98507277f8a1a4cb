// The functions of the libraries, as their headers declare them.
#pragma once

#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <vector>

// What the first group of `form` finds in the lines of a file of the source tree.
inline std::vector<std::string> find_names(const std::string& file, const std::regex& form) {
    std::vector<std::string> names;
    std::ifstream lines(std::string(SOURCE) + "/" + file);
    for (std::string line; std::getline(lines, line);)
        if (std::smatch match; std::regex_search(line, match, form)) names.push_back(match[1]);
    return names;
}

inline std::set<std::string> declared_functions() {
    std::set<std::string> declared;
    for (const char* library : {"brgfdb", "portshm", "qual", "trapevent"})
        for (const std::string& name :
             find_names("src/platform/" + std::string(library) + ".h", std::regex(R"(^int32_t (\w+)\()")))
            declared.insert(name);
    return declared;
}

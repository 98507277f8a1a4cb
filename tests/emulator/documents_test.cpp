// The table of functions in the documents.
#include "declarations.h"

#include <gtest/gtest.h>

namespace {

TEST(Documents, name_every_function_once) {
    const std::vector<std::string> told = find_names("docs/emulator-functions.md", std::regex(R"(^\| `(\w+)` \|)"));
    EXPECT_FALSE(told.empty());
    EXPECT_EQ(std::set<std::string>(told.begin(), told.end()), declared_functions());
    EXPECT_EQ(told.size(), declared_functions().size());
}

} // namespace

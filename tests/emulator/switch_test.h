// A switch of its own for each test: an empty store in a temporary folder, which the libraries find in EMUSWITCH.
#pragma once

#include "core/store.h"
#include "platform/brgfdb.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

// Makes the call and answers 0 or the status of its refusal.
template <typename... Parameters, typename... Arguments>
int32_t refusal(int32_t (*function)(Parameters...), Arguments... arguments) {
    int32_t status = 0;
    const int32_t result = function(arguments..., &status);
    EXPECT_EQ(result, status == 0 ? 0 : -1);
    return status;
}

class SwitchTest : public testing::Test {
protected:
    SwitchTest() {
        std::string name = testing::TempDir() + "emulator-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error(name + " cannot be made");
        folder = name;
        store = folder / "switch.db";
        setenv("EMUSWITCH", store.c_str(), 1);
    }
    ~SwitchTest() override {
        emulator::store::close();
        std::filesystem::remove_all(folder);
    }
    SwitchTest(const SwitchTest&) = delete;
    SwitchTest& operator=(const SwitchTest&) = delete;

    // What a statement finds: columns divided by |, rows by line feeds.
    std::string ask(const std::string& sql) const {
        sqlite3* database = nullptr;
        sqlite3_open(store.c_str(), &database);
        sqlite3_busy_timeout(database, 3'600'000);
        sqlite3_exec(database, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
        std::string answer;
        char* problem = nullptr;
        const auto add_row = [](void* text, int count, char** values, char**) {
            auto& rows = *static_cast<std::string*>(text);
            if (!rows.empty()) rows += '\n';
            for (int i = 0; i < count; ++i) {
                if (i > 0) rows += '|';
                rows += values[i] != nullptr ? values[i] : "NULL";
            }
            return 0;
        };
        sqlite3_exec(database, sql.c_str(), add_row, &answer, &problem);
        if (problem != nullptr) answer += std::string("error: ") + problem;
        sqlite3_free(problem);
        sqlite3_close(database);
        return answer;
    }

    void set_limit(const std::string& name, int64_t value) const {
        ask("UPDATE limits SET value = " + std::to_string(value) + " WHERE name = '" + name + "'");
    }

    // All that has to hold of a store at any time; empty when it does.
    std::string find_contradiction() const {
        if (const std::string found = ask("PRAGMA integrity_check"); found != "ok") return found;
        if (const std::string found = ask("PRAGMA foreign_key_check"); !found.empty()) return found;
        return ask("SELECT name, in_use, counted FROM limits JOIN ("
                   " SELECT 'fdb_entries' AS name, (SELECT count(*) FROM static_entry) +"
                   "  (SELECT count(*) FROM local_entry) + (SELECT count(*) FROM learned_entry) AS counted"
                   " UNION SELECT 'frame_buffers',"
                   "  64 * (SELECT count(*) FROM stream) + (SELECT coalesce(sum(blocks), 0) FROM queue)"
                   ") USING (name) WHERE in_use <> counted");
    }

    std::filesystem::path folder;
    std::filesystem::path store;
};

constexpr uint8_t some_mac[] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};

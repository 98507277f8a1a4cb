// Tables copied page by page are what they were in the store, however their rows lie in its pages.
#include "companion/store_image.h"

#include "companion/statement.h"
#include "emulator/switch_test.h"

#include <sqlite3.h>

using namespace std::string_literals;

namespace {

constexpr const char* copied[] = {"vlan", "static_entry", "port"};

class StoreImageTest : public SwitchTest {};

// All values of a table, in the order of its key.
std::string rows_of(Database& database, const char* table) {
    std::string rows;
    const std::string sql = "SELECT * FROM "s + table + " ORDER BY 1, 2";
    Statement statement(database, sql.c_str());
    statement.for_each([&] {
        for (int column = 0; column < 4; ++column)
            rows += std::string(statement.text(column)) + "|";
        rows += "\n";
    });
    return rows;
}

// A store with pages of that size, and with rows of all lengths: some go on in pages of their own.
void fill(Database& database, int page_size) {
    database.script("PRAGMA foreign_keys = OFF; PRAGMA ignore_check_constraints = ON");
    database.script("DELETE FROM vlan; DELETE FROM static_entry");
    database.script("PRAGMA journal_mode = DELETE; PRAGMA page_size = " + std::to_string(page_size) + "; VACUUM");
    database.script("WITH RECURSIVE n (n) AS (VALUES (1) UNION ALL SELECT n + 1 FROM n WHERE n < 3000)"
                    " INSERT INTO vlan (vid, name) SELECT n, n || hex(zeroblob(n * n / 2000)) FROM n");
    database.script("INSERT INTO static_entry SELECT vid, name, 1, 1, 0 FROM vlan");
}

void expect_same(Database& database, StoreImage& image) {
    database.script("BEGIN");
    database.number("SELECT count(*) FROM port"); // begins to read
    image.take(copied);
    database.script("COMMIT");
    for (const char* const table : copied)
        EXPECT_EQ(rows_of(image.database(), table), rows_of(database, table)) << table;
}

TEST_F(StoreImageTest, has_the_tables_that_were_taken_as_they_were) {
    Database database(store);
    for (const int page_size : {512, 1024, 4096, 65536}) {
        SCOPED_TRACE(page_size);
        fill(database, page_size);
        EXPECT_EQ(database.number("SELECT page_size FROM pragma_page_size"), page_size);
        StoreImage image(database);
        expect_same(database, image);
        database.script(
            "UPDATE vlan SET name = 'x' || vid WHERE vid % 3 = 0; DELETE FROM static_entry WHERE vid % 7 = 0");
        expect_same(database, image);
        database.script("INSERT INTO static_entry SELECT vid, 'again ' || name, 1, 1, 0 FROM vlan");
        expect_same(database, image);
    }
}

TEST_F(StoreImageTest, holds_nobody_up_while_it_is_read) {
    Database database(store);
    StoreImage image(database);
    database.script("BEGIN");
    database.number("SELECT count(*) FROM port");
    image.take(copied);
    database.script("COMMIT");
    Statement rows(image.database(), "SELECT count(*) FROM vlan");
    rows.for_each([&] {
        Database other(store);
        other.script("INSERT INTO vlan (vid, name) VALUES (10, 'office')");
        EXPECT_EQ(rows.number(0), 0);
    });
    EXPECT_EQ(rows.only_number(), 0);
    expect_same(database, image);
    EXPECT_EQ(rows.only_number(), 1);
}

TEST_F(StoreImageTest, takes_no_writes) {
    Database database(store);
    StoreImage image(database);
    expect_same(database, image);
    EXPECT_THROW(image.database().script("INSERT INTO vlan (vid, name) VALUES (10, 'office')"), Failure);
}

} // namespace

// Stores that cannot be used: refused with a line that says why, and left as they are.
#include "child_process.h"
#include "switch_test.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

class Trouble : public SwitchTest {
protected:
    std::string content() const {
        std::stringstream text;
        text << std::ifstream(store, std::ios::binary).rdbuf();
        return text.str();
    }
    void write(const std::string& text) const { std::ofstream(store, std::ios::binary) << text; }

    // A refused sentence prints NG with the status, says one line about the file, and changes nothing.
    void expect_refusal(int status, const std::string& reason) const {
        const std::string before = content();
        const Finished finished = run_tool({"create", "vlan", "sales"});
        EXPECT_NE(finished.output.find("<errcode>" + std::to_string(status) + "</errcode>"), std::string::npos)
            << finished.output;
        EXPECT_EQ(finished.errors, "emuswitch: " + store.string() + ": " + reason + "\n");
        EXPECT_EQ(content(), before);
    }
};

TEST_F(Trouble, with_a_file_that_is_no_database) {
    for (const std::string& text : {std::string("hello"), std::string(5000, 'x')}) {
        write(text);
        expect_refusal(9104, "not the store of an emulated switch; name another file in EMUSWITCH");
    }
}

TEST_F(Trouble, with_a_database_of_something_else) {
    ask("CREATE TABLE vlan (vid, name)");
    expect_refusal(9104, "not the store of an emulated switch; name another file in EMUSWITCH");
    ask("PRAGMA journal_mode = WAL");
    expect_refusal(9104, "not the store of an emulated switch; name another file in EMUSWITCH");
}

TEST_F(Trouble, with_a_later_version) {
    run_tool({"create", "vlan", "office"});
    ask("PRAGMA user_version = 99");
    expect_refusal(9105, "made by a later emuswitch (version 99, this one knows " +
                             std::to_string(emulator::store::version) +
                             "); use that one, or name another file in EMUSWITCH");
}

TEST_F(Trouble, with_damage) {
    run_tool({"create", "vlan", "office"});
    std::string text = content();
    // All but the first page, which has the header.
    text.replace(4096, text.size() - 4096, text.size() - 4096, '\x55');
    write(text);
    expect_refusal(9103,
                   "damaged (database disk image is malformed); move it away, the next sentence makes an empty switch");
}

TEST_F(Trouble, with_a_cut_file) {
    run_tool({"create", "vlan", "office"});
    std::filesystem::resize_file(store, 8192);
    expect_refusal(9103,
                   "damaged (database disk image is malformed); move it away, the next sentence makes an empty switch");
}

TEST_F(Trouble, with_a_folder_in_its_place) {
    std::filesystem::create_directory(store);
    const Finished finished = run_tool({"create", "vlan", "sales"});
    EXPECT_NE(finished.output.find("<errcode>9101</errcode>"), std::string::npos);
    EXPECT_EQ(finished.errors,
              "emuswitch: " + store.string() + ": is a folder, not a file; name another file in EMUSWITCH\n");
}

// A pipe would keep the sentence waiting for good, and /dev/null would take everything and keep nothing.
TEST_F(Trouble, with_an_odd_file_in_its_place) {
    const auto expect_odd = [](const std::string& path, const std::string& reason) {
        setenv("EMUSWITCH", path.c_str(), 1);
        const Finished finished = run_tool({"create", "vlan", "sales"});
        EXPECT_NE(finished.output.find("<errcode>9101</errcode>"), std::string::npos) << finished.output;
        EXPECT_EQ(finished.errors, "emuswitch: " + path + ": " + reason + "\n");
    };
    expect_odd("/dev/null", "is a device, not a file; name another file in EMUSWITCH");
    ASSERT_EQ(mkfifo(store.c_str(), 0600), 0);
    expect_odd(store, "is a pipe, not a file; name another file in EMUSWITCH");
    const std::filesystem::path link = folder / "link.db";
    std::filesystem::create_symlink(store, link);
    expect_odd(link, "is a pipe, not a file; name another file in EMUSWITCH");
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = ""};
    const std::string socket_path = folder / "socket.db";
    ASSERT_LT(socket_path.size(), sizeof address.sun_path);
    strcpy(address.sun_path, socket_path.c_str());
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    expect_odd(socket_path, "is a socket, not a file; name another file in EMUSWITCH");
    close(listener);
    for (const char* suffix : {"journal", "wal"}) {
        const std::string other = folder / (std::string("with-") + suffix + ".db");
        ASSERT_EQ(mkfifo((other + "-" + suffix).c_str(), 0600), 0);
        expect_odd(other, "its " + std::string(suffix) + " is a pipe, not a file; remove that");
        EXPECT_FALSE(std::filesystem::exists(other));
    }
}

TEST_F(Trouble, with_a_path_that_is_too_long) {
    const auto expect_too_long = [](const std::string& path, const std::string& line) {
        setenv("EMUSWITCH", path.c_str(), 1);
        const Finished finished = run_tool({"create", "vlan", "sales"});
        EXPECT_NE(finished.output.find("<errcode>9101</errcode>"), std::string::npos) << finished.output;
        EXPECT_EQ(finished.errors, "emuswitch: " + line + "\n");
    };
    expect_too_long("/" + std::string(5000, 'x'),
                    "the path of the switch is too long; name a shorter one in EMUSWITCH");
    const std::string long_name = folder / std::string(300, 'x');
    expect_too_long(long_name, long_name + ": cannot be opened (File name too long); name a shorter path in EMUSWITCH");
    std::filesystem::path deep = folder;
    while (deep.string().size() < 600)
        deep /= std::string(100, 'x');
    expect_too_long(deep, deep.string() + ": its path is longer than 504 bytes; name a shorter one in EMUSWITCH");
}

// The document goes to a standard output that is closed, not into the store that would be opened in its place.
TEST_F(Trouble, with_closed_standard_streams) {
    run_tool({"create", "vlan", "office"});
    const Finished finished = run_copy([] {
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
        int32_t vid = -1;
        int32_t status = 0;
        brgfdb_create_vlan("sales", &vid, &status);
        const bool is_mixed_up = ::write(STDOUT_FILENO, "document", 8) > 0;
        _exit(status != 0 || is_mixed_up ? 1 : 0);
    });
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(ask("SELECT count(*) FROM vlan"), "2");
    EXPECT_EQ(find_contradiction(), "");
}

// As somebody who may read but not write. Root may write everything, so it becomes nobody.
TEST_F(Trouble, with_a_store_of_somebody_else) {
    run_tool({"create", "vlan", "office"});
    chmod(folder.c_str(), 0555);
    chmod(store.c_str(), 0444);
    const std::string before = content();
    const Finished finished = run_copy([] {
        constexpr uid_t nobody = 65534;
        if (getuid() == 0 && setuid(nobody) != 0) _exit(1);
        int32_t vid = -1;
        int32_t status = 0;
        brgfdb_create_vlan("sales", &vid, &status);
        dprintf(STDOUT_FILENO, "%d", status);
    });
    EXPECT_EQ(finished.output, "9106");
    EXPECT_EQ(finished.errors, "emuswitch: " + store.string() +
                                   ": cannot be written (Permission denied); let this user write the file and its "
                                   "folder\n");
    EXPECT_EQ(content(), before);
    chmod(folder.c_str(), 0755);
}

TEST_F(Trouble, with_a_folder_of_somebody_else) {
    chmod(folder.c_str(), 0555);
    const auto create_as_nobody = [](const std::string& path) {
        return run_copy([&] {
            constexpr uid_t nobody = 65534;
            if (getuid() == 0 && setuid(nobody) != 0) _exit(1);
            setenv("EMUSWITCH", path.c_str(), 1);
            int32_t vid = -1;
            int32_t status = 0;
            brgfdb_create_vlan("sales", &vid, &status);
            dprintf(STDOUT_FILENO, "%d", status);
        });
    };
    const Finished file = create_as_nobody(store);
    EXPECT_EQ(file.output, "9101");
    EXPECT_EQ(file.errors, "emuswitch: " + store.string() +
                               ": cannot be made (Permission denied); let this user write its folder, or name another "
                               "file in EMUSWITCH\n");
    const std::string below = folder / "new/switch.db";
    const Finished in_folder = create_as_nobody(below);
    EXPECT_EQ(in_folder.output, "9101");
    EXPECT_EQ(in_folder.errors, "emuswitch: " + below +
                                    ": its folder cannot be made (Permission denied); name another file in "
                                    "EMUSWITCH\n");
    chmod(folder.c_str(), 0755);
}

TEST_F(Trouble, with_no_room) {
    run_tool({"create", "vlan", "office"});
    const auto size = std::filesystem::file_size(store);
    const Finished finished = run_copy([size] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{.rlim_cur = size, .rlim_max = size};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(1);
        int32_t status = 0;
        int taken = 0;
        while (status == 0 && taken < 4000) {
            int32_t vid = -1;
            if (brgfdb_create_vlan(("v" + std::to_string(taken)).c_str(), &vid, &status) == 0) ++taken;
        }
        dprintf(STDOUT_FILENO, "%d %d", taken, status);
    });
    std::istringstream answer(finished.output);
    int taken = 0;
    int status = 0;
    answer >> taken >> status;
    EXPECT_EQ(status, 9107);
    EXPECT_EQ(finished.errors.substr(0, 11 + store.string().size()), "emuswitch: " + store.string());
    EXPECT_EQ(std::count(finished.errors.begin(), finished.errors.end(), '\n'), 1);
    EXPECT_EQ(ask("SELECT count(*) - 1 FROM vlan"), std::to_string(taken)); // what was accepted, and no more
    EXPECT_EQ(find_contradiction(), "");
    EXPECT_TRUE(run_tool({"create", "vlan", "sales"}).is_accepted());
}

class Place : public SwitchTest {
protected:
    Place() { unsetenv("EMUSWITCH"); }
    ~Place() override { unsetenv("XDG_STATE_HOME"); }
};

TEST_F(Place, is_in_the_state_folder_of_the_user) {
    setenv("HOME", folder.c_str(), 1);
    unsetenv("XDG_STATE_HOME");
    EXPECT_TRUE(run_tool({"create", "vlan", "sales"}).is_accepted());
    EXPECT_TRUE(std::filesystem::exists(folder / ".local/state/emuswitch/switch.db"));
    setenv("XDG_STATE_HOME", "relative", 1); // does not count
    EXPECT_FALSE(run_tool({"create", "vlan", "sales"}).is_accepted());
    setenv("XDG_STATE_HOME", (folder / "state").c_str(), 1);
    EXPECT_TRUE(run_tool({"create", "vlan", "sales"}).is_accepted());
    EXPECT_TRUE(std::filesystem::exists(folder / "state/emuswitch/switch.db"));
    setenv("EMUSWITCH", "", 1); // as good as none
    EXPECT_FALSE(run_tool({"create", "vlan", "sales"}).is_accepted());
}

TEST_F(Place, may_have_any_name) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder);
    for (const char* name : {":memory:", "file:a?mode=memory", "new/folder/x y"}) {
        setenv("EMUSWITCH", name, 1);
        EXPECT_TRUE(run_tool({"create", "vlan", "sales"}).is_accepted()) << name;
        EXPECT_TRUE(std::filesystem::exists(folder / name)) << name;
    }
    std::filesystem::current_path(before);
}

TEST_F(Place, has_to_be_known) {
    unsetenv("XDG_STATE_HOME");
    for (const char* home : {"", "relative"}) {
        setenv("HOME", home, 1);
        const Finished finished = run_tool({"create", "vlan", "sales"});
        EXPECT_NE(finished.output.find("<errcode>9101</errcode>"), std::string::npos);
        EXPECT_EQ(finished.errors, "emuswitch: no place for the switch; name a file in EMUSWITCH, or set HOME\n");
    }
    setenv("EMUSWITCH", ("/" + std::string(5000, 'x')).c_str(), 1);
    EXPECT_NE(run_tool({"create", "vlan", "sales"}).output.find("<errcode>9101</errcode>"), std::string::npos);
    setenv("EMUSWITCH", "/proc/none/switch.db", 1);
    EXPECT_EQ(
        run_tool({"create", "vlan", "sales"}).errors,
        "emuswitch: /proc/none/switch.db: its folder cannot be made (No such file or directory); name another file "
        "in EMUSWITCH\n");
}

} // namespace

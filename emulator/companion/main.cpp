// emuswitch: the companion of the emulated switch.
#include "companion/commands.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <iostream>

namespace {

constexpr int exit_failure = 1;
constexpr int exit_usage = 2;

const std::map<std::string, bool> on_and_off{{"on", true}, {"off", false}};

void add_looking(CLI::App& app, int& status) {
    auto* show_command = app.add_subcommand("show", "Show the switch: an overview, or one kind of object");
    auto show_options = std::make_shared<ShowOptions>();
    std::vector<std::string> names = show_topics();
    show_command->add_option("what", show_options->what, "What to show")->check(CLI::IsMember(names));
    show_command->add_flag("--json", show_options->as_json, "For programs: an object with stable keys");
    show_command->add_flag("--all", show_options->with_system, "The switch's own FDB entries too");
    show_command->footer("Examples:\n  emuswitch show\n  emuswitch show vlans\n  emuswitch show --json");
    show_command->callback([&status, show_options] { status = show(*show_options); });

    auto* config = app.add_subcommand("config", "Print the configuration as sentences that rebuild it");
    config->footer("Example:\n  emuswitch config > switch.play");
    config->callback([&status] { status = print_config(); });

    auto* log = app.add_subcommand("log", "Print every library call, in the notation of the contract tests");
    auto follow_log = std::make_shared<bool>(false);
    log->add_flag("-f,--follow", *follow_log, "Go on as calls come, until interrupted");
    log->callback([&status, follow_log] { status = print_log(*follow_log); });

    auto* events = app.add_subcommand("events", "Print the trap events");
    auto follow_events = std::make_shared<bool>(false);
    events->add_flag("-f,--follow", *follow_events, "Go on as events come, until interrupted");
    events->callback([&status, follow_events] { status = print_events(*follow_events); });

    auto* graph = app.add_subcommand("graph", "Print a drawing of the switch for Graphviz");
    auto qos_port = std::make_shared<int64_t>(0);
    graph->add_option("--qos", *qos_port, "Draw the streams and queues of this port instead")
        ->check(CLI::PositiveNumber);
    graph->footer("Example:\n  emuswitch graph | dot -Tpng -o switch.png");
    graph->callback([&status, qos_port] { status = print_graph(*qos_port); });
}

void add_running(CLI::App& app, int& status) {
    auto* play_command = app.add_subcommand("play", "Run a file of sentences, one a line, through tolvane");
    auto play_options = std::make_shared<PlayOptions>();
    play_command->add_option("file", play_options->file, "The file, or - for standard input")->required();
    play_command->add_flag("-k,--keep-going", play_options->keep_going, "Go on after a refusal");
    play_command->add_flag("-n,--dry-run", play_options->dry_run, "Play on a copy of the switch that is then removed");
    play_command->footer(
        "A line is a sentence, or blank, or a comment behind #. The exit status is 0 only when the switch\n"
        "took every sentence.\n\nExample:\n  emuswitch play service.play");
    play_command->callback([&status, play_options] { status = play(*play_options); });

    auto* exec = app.add_subcommand("exec", "Run a command on the switch");
    exec->prefix_command();
    exec->footer("Example:\n  emuswitch exec tolvane create vlan sales vid 10");
    exec->callback([&status, exec] {
        if (exec->remaining().empty()) throw CLI::RequiredError("COMMAND");
        status = run_on_switch(exec->remaining());
    });

    auto* run = app.add_subcommand("run", "Run a command on a private, empty switch, removed afterwards");
    run->prefix_command();
    run->footer("Example:\n  emuswitch run sh -c 'tolvane create vlan sales; emuswitch show vlans'");
    run->callback([&status, run] {
        if (run->remaining().empty()) throw CLI::RequiredError("COMMAND");
        status = run_on_private_switch(run->remaining());
    });
}

void add_port_flag(CLI::App& app, int& status, const char* name, const char* description, int (*set)(int64_t, bool)) {
    auto* command = app.add_subcommand(name, description);
    auto port = std::make_shared<int64_t>();
    auto on = std::make_shared<bool>();
    command->add_option("port", *port, "The port")->required();
    command->add_option("state", *on, "on or off")->required()->transform(CLI::CheckedTransformer(on_and_off));
    command->callback([&status, port, on, set] { status = set(*port, *on); });
}

void add_doing(CLI::App& app, int& status) {
    app.add_subcommand("reset", "Empty the switch: objects, limits, faults, log and events")->callback([&status] {
        status = reset();
    });

    auto* learn_command = app.add_subcommand("learn", "Have the switch learn an address, as from a frame");
    auto mac = std::make_shared<std::string>();
    auto vlan = std::make_shared<std::string>();
    auto port = std::make_shared<int64_t>();
    learn_command->add_option("mac", *mac, "The address, 00:11:22:33:44:55")->required();
    learn_command->add_option("vlan", *vlan, "The name of the VLAN")->required();
    learn_command->add_option("port", *port, "The port")->required();
    learn_command->callback([&status, mac, vlan, port] { status = learn(*mac, *vlan, *port); });

    add_port_flag(app, status, "lag", "Put a port into a link-aggregation group, or out of it", set_lag);
    add_port_flag(app, status, "ipif", "Give a port an IP interface, or take it away", set_ip_interface);

    auto* limit = app.add_subcommand("limit", "Change how many of something the switch has room for");
    auto limit_name = std::make_shared<std::string>();
    auto limit_value = std::make_shared<int64_t>();
    limit->add_option("name", *limit_name, "One of emuswitch show limits")->required();
    limit->add_option("value", *limit_value, "The new limit")->required()->check(CLI::NonNegativeNumber);
    limit->footer("Example:\n  emuswitch limit vlans 10");
    limit->callback([&status, limit_name, limit_value] { status = set_limit(*limit_name, *limit_value); });

    auto* fail = app.add_subcommand("fail", "Have the next calls of a library function refused");
    auto function = std::make_shared<std::string>();
    auto code = std::make_shared<int64_t>(0);
    auto at = std::make_shared<int64_t>(1);
    auto times = std::make_shared<int64_t>(1);
    auto is_list = std::make_shared<bool>(false);
    auto is_clear = std::make_shared<bool>(false);
    auto is_functions = std::make_shared<bool>(false);
    auto* function_option = fail->add_option("function", *function, "The function, brgfdb_create_port for one");
    auto* code_option =
        fail->add_option("status", *code, "The status to refuse with")->check(CLI::TypeValidator<int32_t>());
    fail->add_option("--at", *at, "Beginning with its Nth call from now on")->check(CLI::PositiveNumber);
    fail->add_option("--times", *times, "So many calls")->check(CLI::PositiveNumber);
    auto* list_option = fail->add_flag("--list", *is_list, "List what is still to fail");
    auto* clear_option = fail->add_flag("--clear", *is_clear, "Forget all of it");
    auto* functions_option = fail->add_flag("--functions", *is_functions, "List the functions that can fail");
    list_option->excludes(clear_option)->excludes(function_option);
    clear_option->excludes(function_option);
    functions_option->excludes(list_option)->excludes(clear_option)->excludes(function_option);
    fail->footer("Examples:\n  emuswitch fail brgfdb_create_lfil 2002 --at 10\n  emuswitch fail --list");
    fail->callback([=, &status] {
        if (*is_list)
            status = list_faults();
        else if (*is_clear)
            status = clear_faults();
        else if (*is_functions)
            status = list_functions();
        else if (code_option->count() == 0)
            throw CLI::RequiredError("function and status");
        else
            status = add_fault(*function, *code, *at, *times);
    });
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Looks at the emulated switch that tolvane configures, and steers it.", "emuswitch");
    app.set_version_flag("--version", PROJECT_VERSION);
    app.require_subcommand(1);
    app.footer("The switch is the file that EMUSWITCH names, else that of the user\n"
               "(${XDG_STATE_HOME:-~/.local/state}/emuswitch/switch.db), made on first use.\n\n"
               "Examples:\n"
               "  emuswitch play service.play      run a file of sentences\n"
               "  emuswitch show                   what there is now\n"
               "  emuswitch config > saved.play    save the switch\n"
               "  emuswitch run ./my-test          a test on a switch of its own\n\n"
               "Exit status: 0 done, 1 failed, 2 used wrongly; exec and run: that of the command.");

    int status = 0;
    add_looking(app, status);
    add_running(app, status);
    add_doing(app, status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : exit_usage;
    } catch (const Failure& failure) {
        if (failure.what()[0] != '\0') std::cerr << "emuswitch: " << failure.what() << "\n";
        return exit_failure;
    } catch (const std::exception& error) {
        std::cerr << "emuswitch: " << error.what() << "\n";
        return exit_failure;
    }
    if (!std::cout.flush()) {
        std::cerr << "emuswitch: standard output cannot be written\n";
        return exit_failure;
    }
    return status;
}

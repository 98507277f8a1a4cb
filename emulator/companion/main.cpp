// emuswitch: the companion of the emulated switch.
#include "companion/command_line.h"
#include "companion/commands.h"

int main(int argc, char** argv) {
    CommandLine line;
    add_commands(line);
    return line.run(argc, argv);
}

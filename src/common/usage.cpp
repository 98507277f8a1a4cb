// The usage text and the line for surplus words. The slips of the text ("nname", the bracket of "show clslist") and its
// gaps are known to those who read it and stay as they are.
#include "common/usage.h"

#include "common/output.h"
#include "common/result.h"

namespace {

// clang-format off
constexpr char usage_text[] =
    "Usage:tolvane\n"
    "    set ether <ether> shaping {off|on rate <rate> [burst <burst>] [{byte|kbyte}]}\n"
    "    set ether <ether> share {off|on rate <rate> [burst <burst>] [{byte|kbyte}]}\n"
    "    create port <port> npport <ether> portType <type>\n"
    "    delete port <port>\n"
    "    set port <port> aging <time>\n"
    "    set port <port> aftype {tagonly|all}\n"
    "    set port <port> ignoretag {on|off}\n"
    "    set port <port> ignoreptag {on|off}\n"
    "    set port <port> tagtype <ethertype>\n"
    "    set port <port> bandwidth {frame_only|frame_gap}\n"
    "    set port <port> link_frame {bpdu|lag|pae} {discard|forward}\n"
    "    set port <port> cosedit {on|off}\n"
    "    set port <port> cosmap [bit <bit>] val <map>\n"
    "    set port <port> default_class <stream/class/color>\n"
    "    set port <port> class_policing class <class>\n"
    "                    {off|on rcolor <color> rate <rate> [burst <burst>] [{byte|kbyte}]}\n"
    "    set port <port> link_mode {or|and}\n"
    "    set port <port> link_depend {vlan|port <list>}\n"
    "    set port <port> ignorefdb {on|off}\n"
    "    enable port <port>\n"
    "    disable port <port>\n"
    "    create vlan <name> [vid <VLANID>]\n"
    "    delete vlan <name>\n"
    "    set vlan <name> simple_loop_detection {on|off}\n"
    "    set vlan <name> ignorefdb {on|off}\n"
    "    set vlan <name> learning {on|off}\n"
    "    add port <port> to vlan <name> [tag off [protgroup <gid>]]\n"
    "    add port <port> to vlan <name> tag on [tagtype <type>]\n"
    "    remove port <port> from vlan <name>\n"
    "    create protgroup <gid>\n"
    "    delete protgroup <gid>\n"
    "    add protocol <protocol> to protgroup <gid>\n"
    "    remove protocol <protocol> from protgroup <gid>\n"
    "    create mirror <num>\n"
    "    delete mirror <num>\n"
    "    set mirror <num> source port <port> {in|out} [vlan <name>]\n"
    "    set mirror <num> source vlan <name>\n"
    "    set mirror <num> dest port <port>\n"
    "    set mirror <num> classify <stream/class/color>\n"
    "    set mirror <num> tag {on [tagtype <tagtype>] vid <vid>|off}\n"
    "    enable mirror <num>\n"
    "    disable mirror <num>\n"
    "    create stream <port/stream> qostype {wfq|pq}\n"
    "    delete stream <port/stream>\n"
    "    set stream <port/stream> shaping {off|on rate <min-max> [burst <min-max>] [{byte|kbyte}]}\n"
    "    set stream <port/stream> priority <pri>\n"
    "    set stream <port/stream> tosmap <map>\n"
    "    create queue <port/stream/class>\n"
    "    delete queue <port/stream/class>\n"
    "    set queue <port/stream/class> pri <pri> [ratio <ratio>]\n"
    "    set queue <port/stream/class> queue_length <length>\n"
    "    set queue <port/stream/class> color <color> drop_type {taildrop|\n"
    "\t\t\t     wred thresh <min-max> drop <min-max>}\n"
    "    create clslist <listno>\n"
    "    delete clslist <listno>\n"
    "    add clslist <listno> to port <port> vlan <name> [<ext>]\n"
    "    remove clslist <listno> from port <port> vlan <nname>\n"
    "    add classify <stream/class/color> {normal|dscp|dot1p}\n"
    "                 <da> <sa> <tos> <prot> <dp> <sp> <vid> <cos> <etype> <ext>\n"
    "                 to clslist <listno> [line <line_no>]\n"
    "    remove classify from clslist <listno> line {all|<line_no>}\n"
    "    show clslist [<listno | all]>\n"
    "    create sfdbentry <mac> in vlan <name> {discard|port <port> flag <flag>}\n"
    "    create lfdbentry <mac> in port <port> discard\n"
    "    delete sfdbentry <mac> in vlan <name>\n"
    "    delete lfdbentry <mac> in port <port>\n"
    "    delete dfdbentry all in {all | vlan <name>}\n";
// clang-format on

constexpr auto packed_usage =
    packing::pack_with([](packing::Buffer& buffer) { packing::append_text(buffer, usage_text); });

} // namespace

void show_usage() {
    char text[sizeof usage_text];
    print(text, fill(text, sizeof text, packed_usage.bytes, nullptr));
    end_process();
}

void no_more_argument() {
    static constexpr char line[] = "no more argument\n";
    print(line, sizeof line - 1);
    end_process();
}

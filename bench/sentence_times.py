"""Times sentences on two emulated switches beside a bare program. For bench/emulator, which builds what is timed.

sentence_times.py TOOL LIBRARIES BARE EMPTY FULL: the last two are stores.
"""

import os
import statistics
import sys
import time

ROUNDS = int(os.environ.get("ROUNDS", "300"))

# Pairs that leave the switch as it was, so that each run finds the same.
SENTENCES = (
    "create vlan bench",
    "delete vlan bench",
    "set port 1 aging 600",
    "set vlan vlan1 learninglimit 100",
    "add port 3 to vlan vlan1 tag on",
    "remove port 3 from vlan vlan1",
    "create sfdbentry 00:aa:00:00:00:01 in vlan vlan1 port 1 flag 1",
    "delete sfdbentry 00:aa:00:00:00:01 in vlan vlan1",
    "set stream 1/1 shaping on rate 64-100000 burst 8-16 kbyte",
    "set queue 1/1/3 pri 2 ratio 5",
    "set queue 1/1/3 queue_length 65536",
    "add classify 1/0/green normal 10.0.0.0/8 x x tcp 80 x 10 x x x to clslist 1 line 5000",
    "remove classify from clslist 1 line 5000",
    "create clslist 5000",
    "delete clslist 5000",
)
LONG = ("delete port 5", "create port 5 npport 5 portType none")  # of twenty calls


def run(program, environment, output):
    """Milliseconds from before its start to behind its end."""
    actions = [(os.POSIX_SPAWN_OPEN, 1, output, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600)]
    begin = time.perf_counter_ns()
    child = os.posix_spawn(program[0], program, environment, file_actions=actions)
    _, status = os.waitpid(child, 0)
    end = time.perf_counter_ns()
    if status != 0:
        sys.exit(f"{' '.join(program)}: ended with status {status}")
    return (end - begin) / 1e6


def say(tool, environment, sentence, output):
    taken = run([tool, *sentence.split()], environment, output)
    with open(output, encoding="utf-8") as document:
        if "<result>OK" not in document.read():
            sys.exit(f"{environment['EMUSWITCH']}: not accepted: {sentence}")
    return taken


def main():
    tool, libraries, bare, empty, full = sys.argv[1:]
    stores = {"empty": empty, "full": full}
    environments = {name: {"EMUSWITCH": store, "LD_LIBRARY_PATH": libraries} for name, store in stores.items()}
    output = empty + ".output"
    times = {name: {sentence: [] for sentence in (*SENTENCES, *LONG)} for name in stores}
    bare_times = []
    # One after the other in turn, so that all of them meet the same weather.
    for _ in range(ROUNDS):
        for sentence in (*SENTENCES, *LONG):
            bare_times.append(run([bare], {}, output))
            for name in stores:
                times[name][sentence].append(say(tool, environments[name], sentence, output))
    os.unlink(output)

    base = statistics.median(bare_times)
    print(f"{'median of a run, ms':72} {'empty':>8} {'full':>8} {'ratio':>6}")
    print(f"{'a bare program':72} {base:8.3f}")
    for sentence in (*SENTENCES, *LONG):
        on_empty, on_full = (statistics.median(times[name][sentence]) for name in stores)
        print(f"{sentence:72} {on_empty:8.3f} {on_full:8.3f} {on_full / on_empty:6.2f}")
    medians = {name: statistics.median(taken for sentence in SENTENCES for taken in times[name][sentence])
               for name in stores}
    print(f"\na sentence on an empty switch  {medians['empty']:.3f} ms, {medians['empty'] / base:.2f} times a bare program"
          " (goal: 4.5)")
    print(f"a sentence on a full switch    {medians['full']:.3f} ms, {medians['full'] / medians['empty']:.2f} times the"
          " empty one (goal: 1.2)")


if __name__ == "__main__":
    main()

"""Times `emuswitch trace`, by the processor's time. For bench/trace, which builds what is timed.

trace_times.py EMUSWITCH SERVICE FULL: the last two are stores.
"""

import os
import random
import statistics
import sys

ROUNDS = int(os.environ.get("ROUNDS", "50"))
FRAMES = 200_000
ADDRESSES = 2_000


def spent(program, words, store, standard_input=os.devnull):
    """Seconds of the processor, the program's own and those with the kernel's."""
    actions = [(os.POSIX_SPAWN_OPEN, 0, standard_input, os.O_RDONLY, 0),
               (os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)]
    child = os.posix_spawn(program, [program, *words], {"EMUSWITCH": store}, file_actions=actions)
    _, status, usage = os.wait4(child, 0)
    if status != 0:
        sys.exit(f"{' '.join(words)}: ended with status {status}")
    return usage.ru_utime, usage.ru_utime + usage.ru_stime


def medians(program, sentences, store):
    """Of each sentence in turn, so that whatever else the machine does meets all of them."""
    times = {words: [] for words in sentences}
    for _ in range(ROUNDS):
        for words in sentences:
            times[words].append(spent(program, words.split(), store))
    return {words: [statistics.median(values) * 1e3 for values in zip(*taken)] for words, taken in times.items()}


def write_frames(path, count):
    """Between random ones of the addresses, each of which stays on one port; all of them speak at first."""
    chance = random.Random(1)
    with open(path, "w", encoding="ascii") as file:
        for place in range(count):
            source = place if place < ADDRESSES else chance.randrange(ADDRESSES)
            destination = chance.randrange(ADDRESSES)
            if source % 2 == destination % 2:
                destination ^= 1
            frame = f"{0x020000000000 + destination:012x}{0x020000000000 + source:012x}8100000a0800".ljust(128, "0")
            file.write(f"{1 + source % 2} {frame}\n")


def tell_many(companion, folder):
    store = folder + "/many.db"
    for words in ("create port 1 npport 1 portType ether", "create port 2 npport 2 portType ether",
                  "create vlan office vid 10", "add port 1 to vlan office tag on", "add port 2 to vlan office tag on",
                  "enable port 1", "enable port 2"):
        with open(folder + "/many.play", "a", encoding="ascii") as file:
            file.write(words + "\n")
    spent(companion, ["play", folder + "/many.play"], store)
    write_frames(folder + "/few", ADDRESSES)
    write_frames(folder + "/many", ADDRESSES + FRAMES)
    words = ["trace", "--json", "-"]
    best = [min(spent(companion, words, store, folder + "/many")[i] - spent(companion, words, store, folder + "/few")[i]
                for _ in range(max(3, ROUNDS // 10))) for i in (0, 1)]
    print(f"told as lines of JSON, 64 bytes, {ADDRESSES} addresses: {FRAMES / best[0] / 1e6:.2f} M frames/s of its own "
          f"time, {FRAMES / best[1] / 1e6:.2f} with the kernel's")


def main():
    companion, service, full = sys.argv[1:]
    print(f"{'':45}{'own ms':>8}{'all ms':>8}{'times show, own':>17}{'all':>7}")
    for name, store, frame in (("example service", service, "trace 2 tag vid 20 pri 5"),
                               ("full switch", full, "trace 1 tag vid 2001 pri 5"),
                               ("full switch, a list met", full, "trace 1 tag vid 101 pri 5")):
        found = medians(companion, ["show", frame, frame.replace("trace", "trace --json")], store)
        for words, (own, both) in found.items():
            print(f"{name + ': ' + words:45}{own:8.2f}{both:8.2f}{own / found['show'][0]:17.2f}"
                  f"{both / found['show'][1]:7.2f}")
    tell_many(companion, os.path.dirname(full))


if __name__ == "__main__":
    main()

"""Plays sentences in many processes at once on one emulated switch and looks for what was lost. For bench/crowd.

crowd.py TOOL COMPANION LIBRARIES [--readers] [--claim] [PROCESSES ...]
"""

import argparse
import ctypes
import os
import pathlib
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time
import typing

SENTENCES = 2000
CALLS = (2, 1, 1, 20)  # of the libraries, that the kinds of sentences make
ACCEPTED = b"<response>\n  <result>OK</result>\n</response>\n"


def sentence(number):
    """Each worker's own objects, so that every sentence has to be accepted."""
    kind, number = number % 4, number // 4
    if kind == 0:
        return f"create vlan v{number}"
    if kind == 1:
        return f"create clslist {number + 1}"
    if kind == 2:
        return f"create protgroup {number}"
    return f"create port {number + 200} npport 1 portType ether"


def work(tool, environment, numbers, start, report):
    """Says its sentences one after the other; reports milliseconds and outcome of each."""
    os.read(start, 1)
    for number in numbers:
        words = sentence(number).split()
        reader, writer = os.pipe()
        began = time.monotonic()
        child = os.posix_spawn(tool, [tool, *words], environment,
                               file_actions=[(os.POSIX_SPAWN_DUP2, writer, 1), (os.POSIX_SPAWN_DUP2, writer, 2)])
        os.close(writer)
        output = b""
        while chunk := os.read(reader, 65536):
            output += chunk
        os.close(reader)
        os.waitpid(child, 0)
        taken = (time.monotonic() - began) * 1000
        os.write(report, f"{taken:.3f} {int(output == ACCEPTED)} {number}\n".encode())
        if output != ACCEPTED:
            sys.stderr.write(f"{' '.join(words)}: {output.decode()}\n")


def lost(store, accepted):
    """What accepted sentences should have left and did not."""
    database = sqlite3.connect(store)
    having = {table: {row[0] for row in database.execute(f"SELECT {column} FROM {table}")}
              for table, column in (("vlan", "name"), ("qualifier", "name"), ("classify_list", "list"),
                                    ("protgroup", "protgroup"), ("port", "port"), ("trap_event", "port"))}
    entries = dict(database.execute("SELECT port, count(*) FROM local_entry GROUP BY port"))
    missing = []
    for number in accepted:
        kind, own = number % 4, number // 4
        complete = (own + 1 in having["classify_list"] if kind == 1 else
                    own in having["protgroup"] if kind == 2 else
                    f"v{own}" in having["vlan"] and f"v{own}" in having["qualifier"] if kind == 0 else
                    own + 200 in having["port"] and own + 200 in having["trap_event"]
                    and str(own + 200) in having["qualifier"] and entries.get(own + 200) == 16)
        if not complete:
            missing.append(sentence(number))
    calls = database.execute("SELECT count(*) FROM call_log").fetchone()[0]
    database.close()
    return missing, calls


class Processes:
    """So many processes, each with its own number, that begin their job at the same time and report lines of words."""

    def __init__(self, count, job):
        self.start_reader, self.start_writer = os.pipe()
        self.report_reader, report_writer = os.pipe()
        self.children = []
        for number in range(count):
            child = os.fork()
            if child == 0:
                os.close(self.start_writer)
                job(number, self.start_reader, report_writer)
                os._exit(0)
            self.children.append(child)
        os.close(report_writer)

    def run(self):
        """The words of all lines, and the seconds that it took."""
        began = time.monotonic()
        os.write(self.start_writer, b"x" * len(self.children))
        with os.fdopen(self.report_reader) as reports:
            rows = [line.split() for line in reports]
        elapsed = time.monotonic() - began
        for child in self.children:
            os.waitpid(child, 0)
        os.close(self.start_writer)
        os.close(self.start_reader)
        return rows, elapsed


class Figures(typing.NamedTuple):
    calls: float  # in a second
    ratio: float  # of the longest call, its wait included, to what would be fair
    refused: int
    lost: int


def start_watchers(companion, environment):
    """Two readers in a loop, and a follower of the log."""
    loop = 'while :; do "$0" show >/dev/null || exit 1; "$0" config >/dev/null || exit 1; done'
    watchers = [subprocess.Popen(["sh", "-c", loop, companion], env=environment) for _ in range(2)]
    watchers.append(subprocess.Popen([companion, "log", "--follow"], env=environment, stdout=subprocess.DEVNULL))
    return watchers


def stop_watchers(watchers):
    for watcher in watchers:
        if watcher.poll() is not None:
            sys.exit("a reader gave up")
        watcher.terminate()
        watcher.wait()


def crowd(arguments, processes, with_readers):
    """2,000 sentences, each a process, so many at once."""
    with tempfile.TemporaryDirectory() as folder:
        store = f"{folder}/switch.db"
        environment = {"EMUSWITCH": store, "LD_LIBRARY_PATH": arguments.libraries}
        subprocess.run([arguments.companion, "limit", "ports", "10000"], env=environment, check=True)

        def job(number, start, report):
            work(arguments.tool, environment, range(number, SENTENCES, processes), start, report)

        workers = Processes(processes, job)
        watchers = start_watchers(arguments.companion, environment) if with_readers else []
        rows, elapsed = workers.run()
        stop_watchers(watchers)
        times = [float(row[0]) for row in rows]
        missing, calls = lost(store, [int(row[2]) for row in rows if row[1] == "1"])
        refused = sum(row[1] == "0" for row in rows) + SENTENCES - len(rows)
        fair = processes * elapsed / calls * 1000  # ms for a call, if all get the same
        most = max(taken / CALLS[int(row[2]) % 4] for taken, row in zip(times, rows))
        print(f"{processes:9} {calls / elapsed:8.0f} {statistics.median(times):10.1f} {max(times):9.1f} {fair:9.1f} {most:9.1f}"
              f" {most / fair:6.2f} {refused:8} {len(missing):6}", flush=True)
        return Figures(calls / elapsed, most / fair, refused, len(missing))


def call(libraries, count, start, report):
    """The longest of so many calls of the libraries in one process, in ms, and how many went wrong."""
    library = ctypes.CDLL(f"{libraries}/libbrgfdb.so")
    status = ctypes.c_int32()
    library.brgfdb_delete_port(9, ctypes.byref(status))  # opens the store
    os.read(start, 1)
    most, wrong = 0.0, 0
    for _ in range(count):
        began = time.monotonic()
        library.brgfdb_delete_port(9, ctypes.byref(status))
        most = max(most, time.monotonic() - began)
        wrong += status.value != 102
    os.write(report, f"{most * 1000:.3f} {wrong}\n".encode())


def calls_alone(arguments, processes):
    """Calls of processes that run already: the wait for the turn and nothing else. Returns how many went wrong."""
    with tempfile.TemporaryDirectory() as folder:
        os.environ["EMUSWITCH"] = f"{folder}/switch.db"
        count = max(2, 6 * SENTENCES // processes)
        callers = Processes(processes, lambda _, start, report: call(arguments.libraries, count, start, report))
        database = sqlite3.connect(f"{folder}/switch.db", timeout=60)
        while not (os.path.getsize(f"{folder}/switch.db") and
                   database.execute("SELECT count(*) FROM call_log").fetchone()[0] == processes):
            time.sleep(0.1)  # until all have opened it
        database.close()
        rows, elapsed = callers.run()
        fair = elapsed / count * 1000
        most = max(float(row[0]) for row in rows)
        wrong = sum(int(row[1]) for row in rows)
        print(f"{processes:9} {processes * count / elapsed:8.0f} {fair:9.1f} {most:9.1f} {most / fair:6.2f} {wrong:8}",
              flush=True)
        return wrong


def print_heading(with_readers):
    print("\nms of a sentence, and of a call, with the start of its process"
          f"{'; with two readers and a follower' if with_readers else ''}")
    print(f"{'processes':9} {'calls/s':>8} {'sentence':>10} {'longest':>9} {'fair':>9} {'longest':>9} {'ratio':>6}"
          f" {'refused':>8} {'lost':>6}")


def show_claim(arguments):
    """Three runs of 400 at once beside 16, without readers and with them, and what they come to."""
    problems = 0
    for with_readers in (False, True):
        print_heading(with_readers)
        few = crowd(arguments, 16, with_readers)
        runs = [crowd(arguments, 400, with_readers) for _ in range(3)]
        refused, missing = sum(each.refused for each in runs), sum(each.lost for each in runs)
        ratios = ", ".join(f"{each.ratio:.1f}" for each in runs)
        share = ", ".join(f"{each.calls / few.calls:.2f}" for each in runs)
        print(f"400 processes, {SENTENCES} sentences, three runs: {refused} refused, {missing} lost;"
              f" longest wait {ratios} times the fair share (goal: 3); {share} of the calls/s of 16 (goal: 0.5)")
        problems += refused + missing + few.refused + few.lost
    return problems


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("tool")
    parser.add_argument("companion")
    parser.add_argument("libraries")
    parser.add_argument("processes", nargs="*", type=int)
    parser.add_argument("--readers", action="store_true", help="two readers in a loop and a follower of the log besides")
    parser.add_argument("--claim", action="store_true", help="only three runs of 400 at once, with and without readers")
    arguments = parser.parse_args()
    arguments.tool = str(pathlib.Path(arguments.tool).resolve())
    if arguments.claim:
        sys.exit(show_claim(arguments) != 0)
    processes = arguments.processes or (1, 16, 64, 200, 400)
    print("ms of a call, with its wait: what would be fair, and the longest")
    print(f"{'processes':9} {'calls/s':>8} {'fair':>9} {'longest':>9} {'ratio':>6} {'wrong':>8}")
    problems = sum(calls_alone(arguments, each) for each in processes)
    print_heading(arguments.readers)
    for each in processes:
        figures = crowd(arguments, each, arguments.readers)
        problems += figures.refused + figures.lost
    sys.exit(problems != 0)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
"""Measures what a look at the whole process table costs, here and in other programs and libraries, and adds the table
to a page.

    compare_processes.py --ticker PROGRAM --build DIRECTORY --page docs/performance.md [--processes 70,1000,5000]

A tick is one reading of the table, once a second. Its cost is the processor time (user and system) of the whole program:
the difference between a long and a short run, divided by the ticks between them, so that starting up does not count.
Programs that draw on a terminal get one, and their threads' run times are read at two moments. The mean of two is
taken. Programs that are not installed are named in the table as such.
"""
import argparse
import os
import pathlib
import pty
import shutil
import statistics
import subprocess
import sys
import threading
import time
import urllib.request

HERE = pathlib.Path(__file__).resolve().parent
SHORT, LONG = 1, 5
REPETITIONS = 2
MARK = "## The process table beside others\n"


def cpu_and_peak(command):
    """Processor seconds and peak kilobytes of a program that runs to its end."""
    child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    peak = 0
    while True:
        # The kernel's own figure would count this program's memory from before the start of the other.
        peak = max(peak, peak_of(child.pid))
        pid, status, usage = os.wait4(child.pid, os.WNOHANG)
        if pid:
            break
        time.sleep(0.1)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode:
        raise RuntimeError(f"{command[0]} exited with {child.returncode}")
    return usage.ru_utime + usage.ru_stime, peak


def counted(command):
    """Cost of a tick of a program that is told how many to make; `command` gives its arguments for a count."""
    costs, peak = [], 0
    for _ in range(REPETITIONS):
        short, _ = cpu_and_peak(command(SHORT))
        long, peak = cpu_and_peak(command(LONG))
        costs.append((long - short) / (LONG - SHORT))
    return statistics.mean(costs), peak


def run_time(pid):
    """Processor seconds of all threads of a process."""
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{task}/schedstat") as file:
                total += int(file.read().split()[0])
        except FileNotFoundError:
            pass
    return total / 1e9


def peak_of(pid):
    """Kilobytes; 0 for a process that has ended."""
    with open(f"/proc/{pid}/status") as file:
        return next((int(line.split()[1]) for line in file if line.startswith("VmHWM")), 0)


def watched(pid):
    """Cost of a tick of a running program that makes one a second, whatever it is told."""
    time.sleep(3)
    costs = []
    for _ in range(REPETITIONS):
        start, begin = run_time(pid), time.monotonic()
        time.sleep(2)
        costs.append((run_time(pid) - start) / (time.monotonic() - begin))
    return statistics.mean(costs), peak_of(pid)


def on_terminal(command):
    """Cost of a tick of a program that draws on a terminal of 200 columns and 60 lines."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.environ.update(TERM="xterm-256color", COLUMNS="200", LINES="60", LANG="C.UTF-8")
        subprocess.run(["stty", "cols", "200", "rows", "60"], check=False)
        os.execvp(command[0], command)

    def swallow():
        try:
            while os.read(terminal, 65536):
                pass
        except OSError:
            pass

    threading.Thread(target=swallow, daemon=True).start()
    try:
        return watched(pid)
    finally:
        os.kill(pid, 9)
        os.waitpid(pid, 0)
        os.close(terminal)


def btop(program):
    """Cost of a tick of btop, which takes its interval from a file."""
    home = pathlib.Path(program).parent / "home"
    (home / "btop").mkdir(parents=True, exist_ok=True)
    (home / "btop" / "btop.conf").write_text("update_ms = 1000\n")
    return on_terminal(["env", f"XDG_CONFIG_HOME={home}", "btop", "--utf-force"])


def exporter():
    """Cost of a scrape of the exporter's processes collector, one a second."""
    port = 19175
    child = subprocess.Popen(
        ["prometheus-node-exporter", "--collector.disable-defaults", "--collector.processes",
         f"--web.listen-address=127.0.0.1:{port}"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        stop = threading.Event()

        def scrape():
            while not stop.wait(1):
                try:
                    urllib.request.urlopen(f"http://127.0.0.1:{port}/metrics").read()
                except OSError:
                    pass

        thread = threading.Thread(target=scrape)
        thread.start()
        try:
            return watched(child.pid)
        finally:
            stop.set()
            thread.join()
    finally:
        child.kill()
        child.wait()


def compile_tickers(build):
    """Compiles the small programs over libraries; gives the paths of those that compiled."""
    build.mkdir(parents=True, exist_ok=True)
    made = {}
    for name, package in [("sleepers", None), ("libproc2", "libproc2"), ("libstatgrab", "libstatgrab"),
                          ("libgtop", "libgtop-2.0")]:
        flags = []
        if package:
            found = subprocess.run(["pkg-config", "--cflags", "--libs", package], capture_output=True, text=True)
            if found.returncode:
                continue
            flags = found.stdout.split()
        target = build / name
        subprocess.run(["cc", "-O2", "-o", target, HERE / "tickers" / f"{name}.c", *flags], check=True)
        made[name] = str(target)
    return made


def candidates(ticker, made):
    """What to measure: a name, the program it needs, and how."""
    def tool(name, program, measure):
        return name, measure if program and (shutil.which(program) or os.path.exists(program)) else None

    rows = [
        tool("this framework, task iterator", ticker, lambda: counted(lambda n: [ticker, str(n)])),
        tool("this framework, /proc", ticker, lambda: counted(lambda n: [ticker, str(n), "--proc"])),
        tool("libproc2 with I/O", made.get("libproc2"), lambda: counted(lambda n: [made["libproc2"], str(n)])),
        tool("libstatgrab", made.get("libstatgrab"), lambda: counted(lambda n: [made["libstatgrab"], str(n)])),
        tool("libgtop", made.get("libgtop"), lambda: counted(lambda n: [made["libgtop"], str(n)])),
        tool("psutil", "/usr/bin/python3", lambda: counted(
            lambda n: ["/usr/bin/python3", str(HERE / "tickers" / "psutil_ticker.py"), str(n)])),
        tool("top -b", "top", lambda: counted(lambda n: ["top", "-b", "-d", "1", "-n", str(n)])),
        tool("pidstat -u -r -d", "pidstat", lambda: counted(
            lambda n: ["pidstat", "-u", "-r", "-d", "-p", "ALL", "1", str(n)])),
        tool("atop", "atop", lambda: counted(lambda n: ["atop", "-a", "1", str(n)])),
        tool("glances", "glances", lambda: counted(
            lambda n: ["glances", "--stdout", "processcount", "--disable-plugin", "all", "--enable-plugin",
                       "processcount,processlist", "-t", "1", "--stop-after", str(n)])),
        tool("htop", "htop", lambda: on_terminal(["htop", "-d", "10"])),
        tool("btop", "btop", lambda: btop(made["sleepers"])),
        tool("node_exporter, processes collector", "prometheus-node-exporter", exporter),
    ]
    return rows


class Sleepers:
    """Processes that sleep, as long as the block lasts."""
    def __init__(self, program, count):
        self.before = processes_now()
        self.child = subprocess.Popen([program, str(count)], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def __enter__(self):
        if self.child.stdout.readline() != b"ready\n":
            raise RuntimeError("the processes could not be made")
        return self

    def __exit__(self, *_):
        self.child.stdin.close()
        self.child.stdout.close()
        self.child.wait()
        # They end after the one that made them; the next measurement is not to count them.
        deadline = time.monotonic() + 60
        while processes_now() > self.before + 10 and time.monotonic() < deadline:
            time.sleep(0.2)


def processes_now():
    return sum(name.isdigit() for name in os.listdir("/proc"))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--ticker", required=True, help="the program over the framework")
    parser.add_argument("--build", required=True, type=pathlib.Path, help="where the other programs are compiled")
    parser.add_argument("--page", type=pathlib.Path, help="the page whose table is written anew")
    parser.add_argument("--processes", default="70,1000,5000", help="how many processes there shall be")
    arguments = parser.parse_args()

    made = compile_tickers(arguments.build)
    counts = [int(text) for text in arguments.processes.split(",")]
    results, peaks, actual = {}, {}, []
    for count in counts:
        with Sleepers(made["sleepers"], max(0, count - processes_now())):
            actual.append(processes_now())
            for name, measure in candidates(arguments.ticker, made):
                row = results.setdefault(name, [])
                if measure is None:
                    row.append(None)
                    continue
                try:
                    cost, peaks[name] = measure()
                    # A program that starts slowly may hide what a look costs.
                    row.append(cost if cost > 0 else None)
                except (RuntimeError, OSError, StopIteration) as fault:
                    print(f"{name}: {fault}", file=sys.stderr)
                    row.append(None)
                print(f"{actual[-1]} processes: {name}: "
                      + ("not measured" if row[-1] is None else f"{row[-1] * 1e3:.2f} ms"), file=sys.stderr)

    ours = next(iter(results))
    lines = [MARK, "\n",
             "Processor time of one look at the whole table, once a second, in milliseconds, all in one run on one "
             "machine; behind it how many times the first row's. The peak is that of the largest table.\n", "\n",
             "| | " + " | ".join(f"{n} processes" for n in actual) + " | Peak, MB |\n",
             "|---|" + "---:|" * (len(counts) + 1) + "\n"]
    for name, row in results.items():
        cells = []
        for cost, base in zip(row, results[ours]):
            if cost is None:
                cells.append("not measured")
            else:
                cells.append(f"{cost * 1e3:.2f}" + (f" ({cost / base:.1f})" if base else ""))
        peak = f"{peaks[name] / 1024:.1f}" if name in peaks else ""
        lines.append(f"| {name} | " + " | ".join(cells) + f" | {peak} |\n")
    table = "".join(lines)
    if arguments.page:
        text = arguments.page.read_text() if arguments.page.exists() else ""
        arguments.page.write_text(text.split(MARK)[0].rstrip("\n") + "\n\n" + table)
    else:
        print(table)


if __name__ == "__main__":
    main()

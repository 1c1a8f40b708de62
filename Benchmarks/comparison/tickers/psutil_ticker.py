"""Reads the process table COUNT times, once a second, through psutil, with the fields that the framework reads."""
import sys
import time

import psutil

FIELDS = ["pid", "ppid", "uids", "name", "cpu_times", "memory_info", "io_counters"]
for tick in range(int(sys.argv[1])):
    if tick:
        time.sleep(1)
    seen = sum(1 for _ in psutil.process_iter(FIELDS))
print(seen)

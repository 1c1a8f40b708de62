// libproc2.c - reads the process table COUNT times, once a second, through libproc2, with the fields that the framework
// reads: identity, processor time, memory, I/O.
#include <libproc2/pids.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

int main(int argc, char** argv) {
    enum pids_item items[] = {PIDS_ID_PID,  PIDS_ID_PPID,  PIDS_ID_EUID,       PIDS_CMD,
                              PIDS_TICS_ALL, PIDS_MEM_RES, PIDS_IO_READ_BYTES, PIDS_IO_WRITE_BYTES};
    struct pids_info* info = NULL;
    if (argc != 2 || procps_pids_new(&info, items, sizeof items / sizeof *items) < 0) return 1;
    const int count = atoi(argv[1]);
    long seen = 0;
    for (int tick = 0; tick < count; tick++) {
        if (tick != 0) nanosleep(&(struct timespec){1, 0}, NULL);
        const struct pids_fetch* fetched = procps_pids_reap(info, PIDS_FETCH_TASKS_ONLY);
        if (fetched == NULL) return 1;
        seen = fetched->counts->total;
    }
    printf("%ld\n", seen);
    return procps_pids_unref(&info) < 0;
}

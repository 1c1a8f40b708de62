// libgtop.c - reads the process table COUNT times, once a second, through libgtop: state, owner, time and memory of each.
#include <glib.h>
#include <glibtop.h>
#include <glibtop/procio.h>
#include <glibtop/proclist.h>
#include <glibtop/procmem.h>
#include <glibtop/procstate.h>
#include <glibtop/proctime.h>
#include <glibtop/procuid.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

int main(int argc, char** argv) {
    if (argc != 2) return 1;
    const int count = atoi(argv[1]);
    glibtop_proclist list = {0};
    glibtop_init();
    for (int tick = 0; tick < count; tick++) {
        if (tick != 0) nanosleep(&(struct timespec){1, 0}, NULL);
        pid_t* pids = glibtop_get_proclist(&list, GLIBTOP_KERN_PROC_ALL, 0);
        for (unsigned i = 0; i < list.number; i++) {
            glibtop_proc_state state;
            glibtop_proc_uid uid;
            glibtop_proc_time time;
            glibtop_proc_mem memory;
            glibtop_proc_io io;
            glibtop_get_proc_state(&state, pids[i]);
            glibtop_get_proc_uid(&uid, pids[i]);
            glibtop_get_proc_time(&time, pids[i]);
            glibtop_get_proc_mem(&memory, pids[i]);
            glibtop_get_proc_io(&io, pids[i]);
        }
        g_free(pids);
    }
    printf("%lu\n", (unsigned long)list.number);
    glibtop_close();
    return 0;
}

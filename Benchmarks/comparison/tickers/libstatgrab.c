// libstatgrab.c - reads the process table COUNT times, once a second, through libstatgrab.
#include <statgrab.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

int main(int argc, char** argv) {
    if (argc != 2 || sg_init(1) != SG_ERROR_NONE) return 1;
    const int count = atoi(argv[1]);
    size_t seen = 0;
    for (int tick = 0; tick < count; tick++) {
        if (tick != 0) nanosleep(&(struct timespec){1, 0}, NULL);
        if (sg_get_process_stats(&seen) == NULL) return 1;
    }
    printf("%zu\n", seen);
    return sg_shutdown() != SG_ERROR_NONE;
}

// sleepers.c - makes COUNT processes that sleep, says "ready" and waits until its standard input ends.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <unistd.h>

int main(int argc, char** argv) {
    const int count = argc == 2 ? atoi(argv[1]) : -1;
    if (count < 0) return 2;
    signal(SIGCHLD, SIG_IGN);
    const pid_t parent = getpid();
    for (int i = 0; i < count; i++) {
        const pid_t child = fork();
        if (child < 0) {
            perror("fork");
            return 1;
        }
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent) _exit(0);
            for (;;) pause();
        }
    }
    puts("ready");
    fflush(stdout);
    char byte;
    while (read(0, &byte, 1) > 0) {
    }
    return 0;
}

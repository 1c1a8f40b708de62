#include "HVKPlatform/linux/bpf/TaskProgram.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "TaskIterator.lskel.h"

struct HVKTaskProgram {
    int program;
    int link;
};

static int load(const unsigned char* possible, unsigned processors, char* log, unsigned logSize,
                struct HVKTaskProgram* program) {
    struct TaskIterator* skeleton = TaskIterator__open();
    if (skeleton == NULL) return ENOMEM;
    memcpy(skeleton->rodata->possible, possible, processors);
    skeleton->rodata->processors = processors;
    if (log != NULL) {
        skeleton->ctx.log_level = 1;
        skeleton->ctx.log_buf = (__u64)(unsigned long)log;
        skeleton->ctx.log_size = logSize;
    }
    int error = TaskIterator__load(skeleton);
    if (error == 0 && TaskIterator__attach(skeleton) < 0) error = errno != 0 ? errno : EINVAL;
    if (error == 0) {
        // The descriptors are ours from here on: maps live as long as the program that uses them.
        program->program = skeleton->progs.visit.prog_fd;
        program->link = skeleton->links.visit_fd;
        skeleton->progs.visit.prog_fd = 0;
        skeleton->links.visit_fd = 0;
    }
    TaskIterator__destroy(skeleton);
    return error < 0 ? -error : error;
}

int hvkTaskProgramLoad(const unsigned char* possible, unsigned processors, char* log, unsigned logSize,
                       struct HVKTaskProgram** program) {
    log[0] = '\0';
    if (processors > HVKTaskProgramProcessors) return E2BIG;
    struct HVKTaskProgram* made = calloc(1, sizeof *made);
    if (made == NULL) return ENOMEM;
    int error = load(possible, processors, NULL, 0, made);
    if (error == 0) {
        *program = made;
        return 0;
    }
    // Once more, to hear why. Should it work now, so much the better.
    const int again = load(possible, processors, log, logSize, made);
    log[logSize - 1] = '\0';
    if (again == 0) {
        *program = made;
        return 0;
    }
    free(made);
    return error;
}

int hvkTaskProgramRead(const struct HVKTaskProgram* program) {
    union bpf_attr attributes;
    memset(&attributes, 0, sizeof attributes);
    attributes.iter_create.link_fd = program->link;
    const int descriptor = skel_sys_bpf(BPF_ITER_CREATE, &attributes, sizeof attributes);
    return descriptor < 0 ? -errno : descriptor;
}

void hvkTaskProgramUnload(struct HVKTaskProgram* program) {
    if (program == NULL) return;
    close(program->link);
    close(program->program);
    free(program);
}

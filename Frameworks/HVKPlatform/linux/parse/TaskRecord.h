// TaskRecord.h - what the kernel's task iterator hands over of one process.
//
// Written by bpf/TaskIterator.bpf.c inside the kernel and read in place by this program, so both compile this file:
// plain C, fixed sizes, no gaps. Both sides are built together and the record never leaves the machine: it has no
// version.
#pragma once

#ifdef __cplusplus
namespace hvk::parse {
#endif

enum TaskRecordFlags {
    TaskIsKernelThread = 1,  ///< it has no program and no memory of its own
    TaskHasMemory = 2,       ///< anonymousPages holds; unset only on a kernel that keeps the count in an unknown form
    TaskHasIO = 4,           ///< diskRead and diskWritten hold; unset on a kernel built without I/O accounting
};

/// One process. Processor time and bytes are sums over its threads, those that ended included.
struct TaskRecord {
    int pid;                            ///< in the initial pid namespace
    int parent;                         ///< 0 for the first process and for the kernel's own
    unsigned int user;                  ///< effective, as seen from the initial user namespace
    unsigned int flags;                 ///< TaskRecordFlags
    unsigned long long start;           ///< since the machine started, nanoseconds; suspended time included
    unsigned long long cputime;         ///< nanoseconds that it ran
    unsigned long long anonymousPages;  ///< in memory now
    unsigned long long diskRead;        ///< bytes
    unsigned long long diskWritten;     ///< bytes
    unsigned long long wakeups;         ///< voluntary context switches of the main thread
    char name[16];                      ///< ended by a NUL
};

#ifdef __cplusplus
static_assert(sizeof(TaskRecord) == 80, "the kernel's half would disagree");
}  // namespace hvk::parse
#else
_Static_assert(sizeof(struct TaskRecord) == 80, "the program's half would disagree");
#endif

// TaskIterator.bpf.c - the half of the task iterator that runs inside the kernel: one TaskRecord for each process.
//
// The kernel calls `visit` for every task, threads included, in ascending order of their numbers. The threads of a
// process are summed at its leader, under the same sequence lock that the kernel's own sums take: a thread that ends
// meanwhile is counted once, never twice and never not at all. Kernel structures are declared with the few fields that
// are read; where these lie is found out when the program is loaded (CO-RE). Needs Linux 5.17 (bpf_loop), from 6.2 on also what 5.19 brought (bpf_map_lookup_percpu_elem).

typedef unsigned char __u8;
typedef unsigned short __u16;
typedef unsigned int __u32;
typedef unsigned long long __u64;
typedef signed char __s8;
typedef short __s16;
typedef int __s32;
typedef long long __s64;
typedef __u16 __be16;
typedef __u32 __be32;
typedef __u32 __wsum;

#include <bpf/bpf_helpers.h>
// After what defines its words.
#include <bpf/bpf_core_read.h>

#include "HVKPlatform/linux/parse/TaskRecord.h"

#define PF_KTHREAD 0x00200000
#define MM_ANONPAGES 1
#define BPF_MAP_TYPE_PERCPU_ARRAY 6
#define MOST_THREADS (1U << 22)  // the kernel's own limit of task numbers
#define MOST_PROCESSORS 4096

#pragma clang attribute push(__attribute__((preserve_access_index)), apply_to = record)

struct list_head {
    struct list_head* next;
};

struct seqcount {
    unsigned int sequence;
};
struct seqcount_spinlock {
    struct seqcount seqcount;
};
typedef struct {
    struct seqcount_spinlock seqcount;
} seqlock_t;

struct task_io_accounting {
    __u64 read_bytes;
    __u64 write_bytes;
};

struct signal_struct {
    int nr_threads;
    struct list_head thread_head;
    seqlock_t stats_lock;
    unsigned long long sum_sched_runtime;
    struct task_io_accounting ioac;
};

typedef struct {
    unsigned int val;
} kuid_t;

struct cred {
    kuid_t euid;
};

struct sched_entity {
    __u64 sum_exec_runtime;
};

struct percpu_counter {
    __s64 count;
    __s32* counters;
};

struct mm_struct {
    struct percpu_counter rss_stat[4];
};

struct sighand_struct {
    int unused;
};

struct task_struct {
    unsigned int flags;
    int pid;
    int tgid;
    struct sched_entity se;
    struct mm_struct* mm;
    struct task_struct* real_parent;
    struct list_head thread_node;
    unsigned long nvcsw;
    __u64 start_boottime;
    const struct cred* real_cred;
    char comm[16];
    struct signal_struct* signal;
    struct sighand_struct* sighand;
    struct task_io_accounting ioac;
};

struct seq_file;
struct bpf_iter_meta {
    struct seq_file* seq;
};
struct bpf_iter__task {
    struct bpf_iter_meta* meta;
    struct task_struct* task;
};

// Before Linux 6.2 the pages were counted in plain numbers.
typedef struct {
    long counter;
} atomic_long_t;
struct mm_rss_stat {
    atomic_long_t count[4];
};
struct mm_struct___plain {
    struct mm_rss_stat rss_stat;
};

struct bpf_array {
    void* pptrs[1];
};

#pragma clang attribute pop

// Never written. It tells how far the memory of each processor lies from the place that the kernel's pointers to such
// memory name.
struct {
    __uint(type, BPF_MAP_TYPE_PERCPU_ARRAY);
    __uint(max_entries, 1);
    __type(key, __u32);
    __type(value, __u64);
} yardstick SEC(".maps");

// Which processors there may ever be; set before the program is loaded.
const volatile __u32 processors = 1;
const volatile __u8 possible[MOST_PROCESSORS] = {1};

// Where the yardstick lies: as the kernel names it, and for each processor. Noted once.
__u64 yardstickMap = 0;
__u64 origin = 0;
__u64 places[MOST_PROCESSORS] = {};

char LICENSE[] SEC("license") = "Dual BSD/GPL";

static long notePlace(__u32 processor, void* unused) {
    (void)unused;
    if (processor >= MOST_PROCESSORS) return 1;
    const __u32 key = 0;
    places[processor] = (__u64)bpf_map_lookup_percpu_elem(&yardstick, &key, processor);
    return 0;
}

static void notePlaces(void) {
    bpf_loop(processors, notePlace, 0, 0);
    // By way of memory, where an address becomes a number.
    *(volatile __u64*)&yardstickMap = (__u64)&yardstick;
    const void* place = (void*)(*(volatile __u64*)&yardstickMap + bpf_core_field_offset(struct bpf_array, pptrs));
    bpf_probe_read_kernel(&origin, sizeof origin, place);
}

struct PageSum {
    __u64 counters;
    __s64 pages;
};

static long addPages(__u32 processor, struct PageSum* sum) {
    __s32 pages = 0;
    if (processor >= MOST_PROCESSORS) return 1;
    if (possible[processor] &&
        bpf_probe_read_kernel(&pages, sizeof pages, (void*)(sum->counters + places[processor] - origin)) == 0)
        sum->pages += pages;
    return 0;
}

// Shared and file pages are left out, as in the difference of statm's fields 2 and 3. What each processor has not handed
// in yet is added: with many processors it is more than a small process has.
static void noteMemory(struct TaskRecord* record, struct task_struct* task) {
    if (bpf_core_field_exists(struct mm_struct, rss_stat[MM_ANONPAGES].counters)) {
        record->flags |= TaskHasMemory;
        struct mm_struct* mm = task->mm;
        if (!mm || record->flags & TaskIsKernelThread) return;
        if (!origin) notePlaces();
        struct PageSum sum = {(__u64)mm->rss_stat[MM_ANONPAGES].counters, mm->rss_stat[MM_ANONPAGES].count};
        if (sum.counters) bpf_loop(processors, addPages, &sum, 0);
        if (sum.pages > 0) record->anonymousPages = sum.pages;
    } else if (bpf_core_field_exists(struct mm_struct___plain, rss_stat.count)) {
        record->flags |= TaskHasMemory;
        struct mm_struct___plain* mm = (void*)task->mm;
        if (!mm || record->flags & TaskIsKernelThread) return;
        __s64 pages = 0;
        bpf_probe_read_kernel(&pages, sizeof(long), &mm->rss_stat.count[MM_ANONPAGES].counter);
        if (pages > 0) record->anonymousPages = pages;
    }
}

struct ThreadSum {
    __u64 node;  // the thread_node of the thread whose turn it is
    __u64 head;
    __u64 cputime;
    __u64 diskRead;
    __u64 diskWritten;
};

static long addThread(__u32 index, struct ThreadSum* sum) {
    (void)index;
    if (sum->node == sum->head || !sum->node) return 1;
    const struct task_struct* task = (void*)(sum->node - bpf_core_field_offset(struct task_struct, thread_node));
    sum->cputime += BPF_CORE_READ(task, se.sum_exec_runtime);
    if (bpf_core_field_exists(struct task_struct, ioac.read_bytes)) {
        sum->diskRead += BPF_CORE_READ(task, ioac.read_bytes);
        sum->diskWritten += BPF_CORE_READ(task, ioac.write_bytes);
    }
    sum->node = (__u64)BPF_CORE_READ(task, thread_node.next);
    return 0;
}

// The threads that ended, then those that live.
static void addUp(struct ThreadSum* sum, struct task_struct* leader, struct signal_struct* signal) {
    const int hasIO = bpf_core_field_exists(struct task_struct, ioac.read_bytes);
    sum->cputime = signal->sum_sched_runtime;
    sum->diskRead = hasIO ? signal->ioac.read_bytes : 0;
    sum->diskWritten = hasIO ? signal->ioac.write_bytes : 0;
    if (signal->nr_threads > 1) {
        sum->node = (__u64)BPF_CORE_READ(signal, thread_head.next);
        bpf_loop(MOST_THREADS, addThread, sum, 0);
        return;
    }
    sum->cputime += leader->se.sum_exec_runtime;
    if (hasIO) {
        sum->diskRead += leader->ioac.read_bytes;
        sum->diskWritten += leader->ioac.write_bytes;
    }
}

SEC("iter/task")
int visit(struct bpf_iter__task* context) {
    struct task_struct* task = context->task;
    if (!task || task->pid != task->tgid) return 0;
    struct signal_struct* signal = task->signal;
    if (!signal) return 0;

    struct ThreadSum sum = {.head = (__u64)signal + bpf_core_field_offset(struct signal_struct, thread_head)};
    // The sequence is odd while a thread that ends is moved from the living to the sum, and is another one afterwards.
    for (int attempt = 0; attempt < 4; ++attempt) {
        const __u32 before = *(volatile __u32*)&signal->stats_lock.seqcount.seqcount.sequence;
        addUp(&sum, task, signal);
        const __u32 after = *(volatile __u32*)&signal->stats_lock.seqcount.seqcount.sequence;
        if (before == after && !(before & 1)) break;
    }
    // It has just been laid to rest: its figures are in the sum already, and it is no process any more.
    if (!task->sighand) return 0;

    struct TaskRecord record = {.pid = task->pid};
    record.parent = task->real_parent->tgid;
    record.start = task->start_boottime;
    record.cputime = sum.cputime;
    record.wakeups = task->nvcsw;
    if (bpf_core_field_exists(struct task_struct, ioac.read_bytes)) {
        record.flags |= TaskHasIO;
        record.diskRead = sum.diskRead;
        record.diskWritten = sum.diskWritten;
    }
    if (task->flags & PF_KTHREAD)
        record.flags |= TaskIsKernelThread;
    else
        record.user = task->real_cred->euid.val;
    noteMemory(&record, task);
    bpf_probe_read_kernel_str(record.name, sizeof record.name, task->comm);
    bpf_seq_write(context->meta->seq, &record, sizeof record);
    return 0;
}

// TaskIterator.h - the kernel's task iterator: loads the program that runs inside the kernel, and reads what it writes.
//
// Defined by TaskIterator.cpp, or by NoTaskIterator.cpp where the build had no clang, bpftool or libbpf.
#pragma once

#include <memory>
#include <string>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/TaskReader.h"

namespace hvk {

/// What keeps the task iterator from being used, and what a person can do about it.
struct TaskIteratorRefusal {
    Failure failure;
    std::string mend;  ///< empty when nothing helps
};

/// Loads the iterator into the kernel; the reader keeps it there. Nothing but with a refusal: Denied without the
/// privileges CAP_BPF and CAP_PERFMON, Unsupported on a kernel or in a namespace that cannot have it. Takes some
/// milliseconds when the privileges are here, else microseconds.
std::unique_ptr<TaskReader> openTaskIterator(const LinuxRoot& root, TaskIteratorRefusal& refusal);

}  // namespace hvk

// NoTaskIterator.cpp - stands in for TaskIterator.cpp in a build without clang, bpftool or libbpf.

#include "HVKPlatform/linux/bpf/TaskIterator.h"

namespace hvk {

std::unique_ptr<TaskReader> openTaskIterator(const LinuxRoot&, TaskIteratorRefusal& refusal) {
    refusal = {{FailureKind::Unsupported, "task iterator", "this program was built without it"},
               "build where clang, bpftool and libbpf are installed"};
    return nullptr;
}

}  // namespace hvk

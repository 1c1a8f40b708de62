// Tasks.h - children of this process: the system programs whose text is read.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Children of this process: the system programs whose text is read. Thread: the main thread.
class HVK_EXPORT TasksPort {
public:
    virtual ~TasksPort() = default;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedTasksPort : public TasksPort {};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingTasksPort : public TasksPort {
public:
    explicit ForwardingTasksPort(TasksPort& target) : target_(target) {}

protected:
    TasksPort& target_;
};

}  // namespace hvk

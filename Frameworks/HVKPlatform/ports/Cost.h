// Cost.h - what measuring costs: processor time of the calling thread and system calls that the adapter made on it.
//
// A host brackets a module's pass with two readings; `hvkstat doctor` prints the differences.
#pragma once

#include <cstdint>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// The adapter's own cost, of the calling thread.
class HVK_EXPORT CostPort {
public:
    virtual ~CostPort() = default;

    /// Processor seconds that the calling thread has used.
    virtual Result<double> threadProcessorSeconds() = 0;

    /// System calls that this adapter has made on the calling thread, counted by the adapter itself.
    virtual Result<std::uint64_t> systemCalls() = 0;
};

/// Answers Unsupported: the base of a new adapter.
class HVK_EXPORT UnsupportedCostPort : public CostPort {
public:
    Result<double> threadProcessorSeconds() override { return unsupported("thread processor time"); }
    Result<std::uint64_t> systemCalls() override { return unsupported("system call count"); }
};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingCostPort : public CostPort {
public:
    explicit ForwardingCostPort(CostPort& target) : target_(target) {}
    Result<double> threadProcessorSeconds() override { return target_.threadProcessorSeconds(); }
    Result<std::uint64_t> systemCalls() override { return target_.systemCalls(); }

protected:
    CostPort& target_;
};

}  // namespace hvk

// SMART.h - health of drives, by the commands that they answer.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// Health of drives, by the commands that they answer. Thread: the main thread.
class HVK_EXPORT SMARTPort {
public:
    virtual ~SMARTPort() = default;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedSMARTPort : public SMARTPort {};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingSMARTPort : public SMARTPort {
public:
    explicit ForwardingSMARTPort(SMARTPort& target) : target_(target) {}

protected:
    SMARTPort& target_;
};

}  // namespace hvk

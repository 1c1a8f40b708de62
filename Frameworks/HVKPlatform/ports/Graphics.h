// Graphics.h - what the window server and the graphics drivers answer outside the registry.
#pragma once

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// What the window server and the graphics drivers answer outside the registry. Thread: the main thread.
class HVK_EXPORT GraphicsPort {
public:
    virtual ~GraphicsPort() = default;
};

/// Answers Unsupported to everything: the base of a new adapter.
class HVK_EXPORT UnsupportedGraphicsPort : public GraphicsPort {};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingGraphicsPort : public GraphicsPort {
public:
    explicit ForwardingGraphicsPort(GraphicsPort& target) : target_(target) {}

protected:
    GraphicsPort& target_;
};

}  // namespace hvk

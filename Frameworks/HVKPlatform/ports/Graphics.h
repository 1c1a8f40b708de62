// Graphics.h - what a system tells of its graphics outside the registry: the rate at which the screen is drawn, and the
// controller that switches between two graphics processors.
//
// The accelerators themselves, with their figures, are entries of the registry.
#pragma once

#include <cstdint>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// An open connection to the switching controller, e.g. 0x1203; never 0.
using GraphicsControlConnection = std::uint32_t;

/// Graphics. Thread: one at a time.
class HVK_EXPORT GraphicsPort {
public:
    virtual ~GraphicsPort() = default;

    /// Frames a second that the window server draws now. Absent where nobody draws. CGSGetPerformanceData, which is
    /// private and looked up when it is needed.
    virtual Result<float> frameRate() = 0;

    /// Opens the first "AppleGraphicsControl" service. Absent when there is none. IOServiceOpen with type 0.
    virtual Result<GraphicsControlConnection> openControl() = 0;

    /// Registers with the controller. Scalar method 0, which takes and gives nothing.
    virtual Status startControl(GraphicsControlConnection connection) = 0;

    /// One state of the controller. Scalar method 3 with two inputs and one output.
    virtual Result<std::int64_t> controlState(GraphicsControlConnection connection, std::uint64_t first,
                                              std::uint64_t second) = 0;

    /// Closes a connection; one that is not open is left alone.
    virtual void closeControl(GraphicsControlConnection connection) = 0;
};

/// Answers Unsupported to everything: the base of a new adapter, and all of Linux, where switching is the driver's
/// business and no display server counts frames for others.
class HVK_EXPORT UnsupportedGraphicsPort : public GraphicsPort {
public:
    Result<float> frameRate() override { return unsupported("the frame rate"); }
    Result<GraphicsControlConnection> openControl() override { return unsupported("graphics switching"); }
    Status startControl(GraphicsControlConnection) override { return unsupported("graphics switching"); }
    Result<std::int64_t> controlState(GraphicsControlConnection, std::uint64_t, std::uint64_t) override {
        return unsupported("graphics switching");
    }
    void closeControl(GraphicsControlConnection) override {}
};

/// Hands every question on; a test overrides the one it bends.
class HVK_EXPORT ForwardingGraphicsPort : public GraphicsPort {
public:
    explicit ForwardingGraphicsPort(GraphicsPort& target) : target_(target) {}
    Result<float> frameRate() override { return target_.frameRate(); }
    Result<GraphicsControlConnection> openControl() override { return target_.openControl(); }
    Status startControl(GraphicsControlConnection connection) override { return target_.startControl(connection); }
    Result<std::int64_t> controlState(GraphicsControlConnection connection, std::uint64_t first,
                                      std::uint64_t second) override {
        return target_.controlState(connection, first, second);
    }
    void closeControl(GraphicsControlConnection connection) override { target_.closeControl(connection); }

protected:
    GraphicsPort& target_;
};

}  // namespace hvk

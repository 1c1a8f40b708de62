// UserClient.h - connections to a service's user client, and the calls that a connection takes.
//
// The port carries bytes and knows nothing of what they mean; the layout of a request belongs to whoever sends it. A
// call writes into the caller's memory, so that a pass over many sensors allocates nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// An open connection, e.g. 0x1203; never 0.
using UserClientConnection = std::uint32_t;

/// User clients. Thread: one at a time for each connection.
class HVK_EXPORT UserClientPort {
public:
    virtual ~UserClientPort() = default;

    /// Opens the user client of the first service of a class, e.g. ("AppleSMC", 1). Absent when there is no such
    /// service; another kind when there is one and it does not open, Denied when this process may not. IOServiceOpen.
    virtual Result<UserClientConnection> open(const std::string& className, std::uint32_t type) = 0;

    /// Calls a method that takes and gives nothing. IOConnectCallScalarMethod.
    virtual Status callScalar(UserClientConnection connection, std::uint32_t selector) = 0;

    /// Calls a method that takes a structure and writes another into `output`; the answer is how many bytes the service
    /// wrote, the rest keep what they were. Gone when the connection is not open; after a failure the bytes of `output`
    /// mean nothing. IOConnectCallStructMethod.
    virtual Result<std::size_t> callStructure(UserClientConnection connection, std::uint32_t selector,
                                              std::span<const std::uint8_t> input, std::span<std::uint8_t> output) = 0;

    /// Closes a connection; one that is not open is left alone.
    virtual void close(UserClientConnection connection) = 0;
};

/// Answers Unsupported: the base of a new adapter.
class HVK_EXPORT UnsupportedUserClientPort : public UserClientPort {
public:
    Result<UserClientConnection> open(const std::string&, std::uint32_t) override {
        return unsupported("user clients");
    }
    Status callScalar(UserClientConnection, std::uint32_t) override { return unsupported("user clients"); }
    Result<std::size_t> callStructure(UserClientConnection, std::uint32_t, std::span<const std::uint8_t>,
                                      std::span<std::uint8_t>) override {
        return unsupported("user clients");
    }
    void close(UserClientConnection) override {}
};

/// Hands the questions on; a test overrides one.
class HVK_EXPORT ForwardingUserClientPort : public UserClientPort {
public:
    explicit ForwardingUserClientPort(UserClientPort& target) : target_(target) {}
    Result<UserClientConnection> open(const std::string& className, std::uint32_t type) override {
        return target_.open(className, type);
    }
    Status callScalar(UserClientConnection connection, std::uint32_t selector) override {
        return target_.callScalar(connection, selector);
    }
    Result<std::size_t> callStructure(UserClientConnection connection, std::uint32_t selector,
                                      std::span<const std::uint8_t> input, std::span<std::uint8_t> output) override {
        return target_.callStructure(connection, selector, input, output);
    }
    void close(UserClientConnection connection) override { target_.close(connection); }

protected:
    UserClientPort& target_;
};

}  // namespace hvk

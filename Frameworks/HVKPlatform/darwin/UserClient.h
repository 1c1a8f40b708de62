// UserClient.h - user clients, as IOKit opens them. A connection is the IOKit connection's own port name.
#pragma once

#include "HVKPlatform/ports/UserClient.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// UserClientPort of macOS. What a connection's driver refuses is no failure of the source: drivers differ in what they
/// offer.
class DarwinUserClientPort : public UserClientPort {
public:
    explicit DarwinUserClientPort(Diagnostics& diagnostics);

    Result<UserClientConnection> open(const std::string& className, std::uint32_t type) override;
    Status callScalar(UserClientConnection connection, std::uint32_t selector) override;
    Result<std::size_t> callStructure(UserClientConnection connection, std::uint32_t selector,
                                      std::span<const std::uint8_t> input, std::span<std::uint8_t> output) override;
    void close(UserClientConnection connection) override;

private:
    SourceHealth& opening_;
    SourceHealth& calling_;
};

}  // namespace hvk

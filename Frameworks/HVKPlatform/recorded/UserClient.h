// UserClient.h - the management controllers of a recorded machine, as services with a user client.
//
// The layout of the calls is the controller protocol's; this adapter has the keys and the connections.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/UserClient.h"
#include "HVKPlatform/recorded/RecordedPort.h"
#include "HVKPlatform/recorded/RecordingField.h"
#include "HVKPlatform/support/ControllerProtocol.h"

namespace hvk {

/// One key as the recording describes it.
struct RecordedControllerKey {
    std::uint32_t code = 0;
    std::uint32_t type = 0;
    std::uint8_t attributes = 0;
    std::vector<std::uint8_t> bytes;    ///< in the key's own order; a write changes them
    std::optional<Failure> unreadable;  ///< what reading and writing the value answer instead

    bool operator==(const RecordedControllerKey&) const = default;
};

/// The keys of one service, in the order of their indices.
struct RecordedController {
    std::vector<RecordedControllerKey> keys;
    std::unordered_map<std::uint32_t, std::size_t> places;  ///< where in `keys` a code is
};

/// The services by class; a failure is what opening one, and every call of it, answers.
using RecordedServices = std::map<std::string, Result<RecordedController>>;

/// What the port answers. A frame that changes some services, or a write, makes new ones; the others share them.
struct UserClientAnswers {
    Result<std::shared_ptr<const RecordedServices>> services = undescribed("controller.services");
};

/// Reads a section "controller": its "services" by class, null for one that went away. Of a service, "keys" lists all
/// of them anew, "changes" patches some by key (null: it went away). What a patch does not name stays. Throws
/// RecordingFault.
void readUserClient(const RecordingField& section, UserClientAnswers& answers);

/// The port. A connection stays open when its service goes away; its calls are Gone until the service is back.
class HVK_EXPORT RecordedUserClient : public RecordedPort<UserClientPort, UserClientAnswers> {
public:
    explicit RecordedUserClient(Diagnostics& diagnostics);
    Result<UserClientConnection> open(const std::string& className, std::uint32_t type) override;
    Status callScalar(UserClientConnection connection, std::uint32_t selector) override;
    Result<std::size_t> callStructure(UserClientConnection connection, std::uint32_t selector,
                                      std::span<const std::uint8_t> input, std::span<std::uint8_t> output) override;
    void close(UserClientConnection connection) override;

    /// How many connections are open: whoever leaks one learns it here.
    std::size_t connectionCount() const;

private:
    Result<const RecordedController*> service(const std::string& className) const;
    Result<const std::string*> classOf(UserClientConnection connection) const;
    Result<std::size_t> answerCall(UserClientConnection connection, std::uint32_t selector,
                                   std::span<const std::uint8_t> input, std::span<std::uint8_t> output);

    SourceHealth& services_;
    std::map<UserClientConnection, std::string> connections_;  ///< class of each open one
    UserClientConnection lastConnection_ = 0x1000;
};

}  // namespace hvk

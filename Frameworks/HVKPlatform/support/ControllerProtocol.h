// ControllerProtocol.h - the serving side of the management controller's calls: 80 bytes in, 80 bytes out.
//
// It owns the layout of a request and of a reply, the commands and the controller's own refusals. Where keys and values
// come from (a recording, the channels of a hardware monitor) belongs to the adapter that implements ControllerKeys.
//
//     Channels channels;                                   // a ControllerKeys
//     return answerControllerCall(channels, input, output);  // inside UserClientPort::callStructure
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"

namespace hvk {

/// How a client reaches the controller: the class of its service, the type of its user client, and the selectors of the
/// call that opens a session and of the one that carries a structure.
inline constexpr const char* ControllerServiceClass = "AppleSMC";
inline constexpr std::uint32_t ControllerClientType = 1;
inline constexpr std::uint32_t ControllerOpenSelector = 0;
inline constexpr std::uint32_t ControllerCallSelector = 2;

/// Bytes of a request and of a reply, and of the value in them.
inline constexpr std::size_t ControllerCallSize = 80;
inline constexpr std::size_t ControllerValueSize = 32;

/// What a controller says of a key without reading it.
struct ControllerKeyInfo {
    std::uint32_t size = 0;       ///< value bytes; a value of more than 32 is never read
    std::uint32_t type = 0;       ///< four-character code, e.g. of "sp78"
    std::uint8_t attributes = 0;  ///< carried, not enforced

    bool operator==(const ControllerKeyInfo&) const = default;
};

/// The keys of a controller, told apart by their code. An answer is read when it is asked for; what a successful one
/// costs is the adapter's: a pass over the sensors asks `info` and `read` for each of them. Thread: as the port's.
class HVK_EXPORT ControllerKeys {
public:
    virtual ~ControllerKeys() = default;

    /// How many keys there are.
    virtual std::size_t count() = 0;

    /// The code of a key, for each index below `count`; nothing for the others.
    virtual std::optional<std::uint32_t> keyAt(std::size_t index) = 0;

    /// Size and type of a key. Absent when there is no such key.
    virtual Result<ControllerKeyInfo> info(std::uint32_t key) = 0;

    /// Reads the value of a key, in the key's own byte order, into `bytes`, which are as many as `info` said and 0.
    virtual Status read(std::uint32_t key, std::span<std::uint8_t> bytes) = 0;

    /// Writes the value of a key: as many bytes as `info` said.
    virtual Status write(std::uint32_t key, std::span<const std::uint8_t> bytes) = 0;
};

/// Four bytes of text as a code, the first in the most significant byte: "#KEY" is 0x234B4559; nothing for another
/// length.
HVK_EXPORT std::optional<std::uint32_t> controllerCode(std::string_view text);

/// The text of a code: the reverse.
HVK_EXPORT std::string controllerText(std::uint32_t code);

/// Answers one structure call into `reply` and says how many bytes of it were written: 80. Commands: 5 reads a value, 6
/// writes one, 8 gives the key at an index, 9 a key's size and type. A controller that does not list "#KEY" has it all
/// the same, as a "ui32" that counts its keys and cannot be written.
///
/// What the controller itself refuses is a reply whose result code is not 0 and whose other bytes are: a key or an
/// index that is not there, a size that is not the key's, a command of another number. What `keys` fails at fails the
/// call. Malformed when the request is not of 80 bytes or the reply has not room for them; `reply` is then untouched.
HVK_EXPORT Result<std::size_t> answerControllerCall(ControllerKeys& keys, std::span<const std::uint8_t> request,
                                                    std::span<std::uint8_t> reply);

}  // namespace hvk

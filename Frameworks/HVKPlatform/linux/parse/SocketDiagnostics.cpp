#include "HVKPlatform/linux/parse/SocketDiagnostics.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace hvk::parse {

namespace {

// Of netlink: a header of 16 bytes before each message, every message padded to 4 bytes.
constexpr std::size_t HeaderSize = 16;
constexpr std::uint16_t TypeError = 2;
constexpr std::uint16_t TypeDone = 3;
constexpr std::uint16_t TypeSockets = 20;
constexpr std::uint8_t FamilyIPv4 = 2;

// Of a socket's record: family, ports and addresses in network order, inode.
constexpr std::size_t RecordSize = 72;
constexpr std::size_t LocalPortAt = 4;
constexpr std::size_t RemotePortAt = 6;
constexpr std::size_t LocalAddressAt = 8;
constexpr std::size_t RemoteAddressAt = 24;
constexpr std::size_t InodeAt = 68;

Failure malformed(std::string detail) { return {FailureKind::Malformed, "sock_diag", std::move(detail)}; }

/// A number in the machine's own order.
template <class Number>
Number native(std::span<const std::uint8_t> bytes, std::size_t at) {
    Number number;
    std::memcpy(&number, bytes.data() + at, sizeof number);
    return number;
}

FlowEnd flowEnd(std::span<const std::uint8_t> record, std::size_t portAt, std::size_t addressAt) {
    FlowEnd end;
    end.port = static_cast<std::uint16_t>(record[portAt] << 8 | record[portAt + 1]);
    const auto address = record.subspan(addressAt, 16);
    if (record[0] == FamilyIPv4)
        end.address = mappedAddress(std::span<const std::uint8_t, 4>(address.data(), 4));
    else
        std::copy(address.begin(), address.end(), end.address.begin());
    return end;
}

}  // namespace

Result<bool> parseSockets(std::span<const std::uint8_t> datagram, std::uint8_t protocol,
                          const std::function<void(const SocketRecord&)>& use) {
    while (!datagram.empty()) {
        if (datagram.size() < HeaderSize) return malformed("a message was cut short");
        const auto length = native<std::uint32_t>(datagram, 0);
        const auto type = native<std::uint16_t>(datagram, 4);
        if (length < HeaderSize || length > datagram.size()) return malformed("a message has no sensible length");
        const auto body = datagram.subspan(HeaderSize, length - HeaderSize);
        if (type == TypeDone) return true;
        if (type == TypeError) {
            if (body.size() < 4) return malformed("an error was cut short");
            return malformed("the kernel answers error " + std::to_string(-native<std::int32_t>(body, 0)));
        }
        if (type == TypeSockets) {
            if (body.size() < RecordSize) return malformed("a socket was cut short");
            SocketRecord record;
            record.flow = {protocol, flowEnd(body, LocalPortAt, LocalAddressAt),
                           flowEnd(body, RemotePortAt, RemoteAddressAt)};
            record.inode = native<std::uint32_t>(body, InodeAt);
            use(record);
        }
        datagram = datagram.subspan(std::min<std::size_t>(datagram.size(), (length + 3) / 4 * 4));
    }
    return false;
}

}  // namespace hvk::parse

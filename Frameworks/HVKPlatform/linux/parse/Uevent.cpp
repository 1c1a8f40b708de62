#include "HVKPlatform/linux/parse/Uevent.h"

#include <cstring>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

constexpr const char* Source = "device event";
constexpr std::string_view ManagerPrefix{"libudev\0", 8};
/// In network order.
constexpr std::string_view ManagerMagic{"\xfe\xed\xca\xfe", 4};
/// Prefix, magic, size of the header, offset and length of the words.
constexpr std::size_t LeastHeader = 24;

Failure malformed(const char* detail) { return {FailureKind::Malformed, Source, detail}; }

std::uint32_t numberAt(std::string_view bytes, std::size_t offset) {
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

std::string_view takeText(std::string_view& bytes) {
    const std::size_t end = bytes.find('\0');
    const std::string_view text = bytes.substr(0, end);
    bytes.remove_prefix(end == std::string_view::npos ? bytes.size() : end + 1);
    return text;
}

}  // namespace

std::string_view Uevent::name() const { return path.substr(path.rfind('/') + 1); }

Result<Uevent> parseUevent(std::string_view message) {
    Uevent event;
    std::string_view words = message;
    if (message.starts_with(ManagerPrefix)) {
        if (message.size() < LeastHeader || message.substr(8, 4) != ManagerMagic)
            return malformed("the device manager's header is not known");
        const std::uint32_t offset = numberAt(message, 16);
        const std::uint32_t length = numberAt(message, 20);
        if (offset < LeastHeader || offset > message.size() || length > message.size() - offset)
            return malformed("the device manager's words lie outside the message");
        words = message.substr(offset, length);
        event.isManaged = true;
    } else {
        const std::string_view head = takeText(words);
        const std::size_t at = head.find('@');
        if (at == std::string_view::npos || at == 0 || at + 1 == head.size())
            return malformed("it does not begin with an action and a path");
    }
    while (!words.empty()) {
        const std::string_view word = takeText(words);
        const std::size_t equals = word.find('=');
        if (equals == std::string_view::npos) continue;
        const std::string_view key = word.substr(0, equals);
        const std::string_view value = word.substr(equals + 1);
        if (key == "ACTION")
            event.action = value;
        else if (key == "DEVPATH")
            event.path = value;
        else if (key == "SUBSYSTEM")
            event.subsystem = value;
        else if (key == "SEQNUM")
            event.sequence = toUnsigned(value).value_or(0);
    }
    if (event.action.empty()) return malformed("it names no action");
    if (!event.path.starts_with('/') || event.path.ends_with('/')) return malformed("it names no device");
    return event;
}

}  // namespace hvk::parse
